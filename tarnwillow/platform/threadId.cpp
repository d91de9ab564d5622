#include "tarnwillow/platform/threadId.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tarnwillow::platform {

namespace {

[[gnu::tls_model("initial-exec")]] thread_local std::uint32_t cached_id = 0;

// The forking thread goes on in the child under another id.
void forget_id_in_child() { cached_id = 0; }

std::uint32_t ask_kernel() {
    static const int registered = pthread_atfork(nullptr, nullptr, forget_id_in_child);
    static_cast<void>(registered);
    cached_id = static_cast<std::uint32_t>(syscall(SYS_gettid));
    return cached_id;
}

}  // namespace

std::uint32_t current_thread_id() { return cached_id != 0 ? cached_id : ask_kernel(); }

}  // namespace tarnwillow::platform
