#include "tarnwillow/platform/windowProvider.h"

#include <atomic>

#include "tarnwillow/platform/x11Windows.h"

namespace tarnwillow::platform {

namespace {
constinit std::atomic<const WindowProvider*> in_use{nullptr};
}

const WindowProvider& window_provider() {
    const WindowProvider* const provider = in_use.load(std::memory_order_acquire);
    return provider != nullptr ? *provider : x11_windows();
}

void set_window_provider(const WindowProvider* provider) {
    in_use.store(provider, std::memory_order_release);
}

}  // namespace tarnwillow::platform
