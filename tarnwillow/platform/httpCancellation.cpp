#include "tarnwillow/platform/httpCancellation.h"

#include <sys/eventfd.h>
#include <unistd.h>

namespace tarnwillow::platform {

HttpCancellation::HttpCancellation() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

HttpCancellation::HttpCancellation(const HttpCancellation& other) : HttpCancellation() {
    if (other.cancelled()) cancel();
}

// The descriptor stays: it can be made readable, but not be waited for and replaced at once.
HttpCancellation& HttpCancellation::operator=(const HttpCancellation& other) {
    if (other.cancelled()) cancel();
    return *this;
}

HttpCancellation::~HttpCancellation() {
    if (descriptor_ >= 0) close(descriptor_);
}

void HttpCancellation::cancel() {
    cancelled_.store(true, std::memory_order_release);
    if (descriptor_ >= 0) static_cast<void>(eventfd_write(descriptor_, 1));
}

}  // namespace tarnwillow::platform
