// The identity of the calling thread, cheap enough to ask at every lock.
#pragma once

#include <cstdint>

namespace tarnwillow::platform {

/// The kernel's thread id; never 0. Cached for each thread, and right in a forked child too.
std::uint32_t current_thread_id();

}  // namespace tarnwillow::platform
