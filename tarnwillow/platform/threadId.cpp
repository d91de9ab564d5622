#include "tarnwillow/platform/threadId.h"

#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tarnwillow::platform::detail {

constinit thread_local std::uint32_t cached_thread_id = 0;

namespace {

// The forking thread goes on in the child under another id.
void forget_id_in_child() { cached_thread_id = 0; }

}  // namespace

std::uint32_t ask_for_thread_id() {
    static const int registered = pthread_atfork(nullptr, nullptr, forget_id_in_child);
    static_cast<void>(registered);
    cached_thread_id = static_cast<std::uint32_t>(syscall(SYS_gettid));
    return cached_thread_id;
}

}  // namespace tarnwillow::platform::detail

namespace tarnwillow::platform {

bool is_thread_of_process(std::uint32_t thread) {
    return syscall(SYS_tgkill, getpid(), static_cast<pid_t>(thread), 0) == 0;
}

void yield_thread() { sched_yield(); }

}  // namespace tarnwillow::platform
