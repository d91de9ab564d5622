// The identity of the calling thread, cheap enough to ask at every lock.
#pragma once

#include <cstdint>

namespace tarnwillow::platform {

namespace detail {

/// 0 until the thread asks for the first time.
extern constinit thread_local std::uint32_t cached_thread_id
    __attribute__((tls_model("initial-exec")));

[[gnu::cold, gnu::noinline]] std::uint32_t ask_for_thread_id();

}  // namespace detail

/// The kernel's thread id; never 0. Cached for each thread, and right in a forked child too.
inline std::uint32_t current_thread_id() {
    const std::uint32_t cached = detail::cached_thread_id;
    return cached != 0 ? cached : detail::ask_for_thread_id();
}

/// The same, or 0 if this thread has not asked yet.
inline std::uint32_t known_thread_id() { return detail::cached_thread_id; }

/// Whether that is the id of a running thread of this process.
bool is_thread_of_process(std::uint32_t thread);

/// Lets other threads run that wait for this processor.
void yield_thread();

}  // namespace tarnwillow::platform
