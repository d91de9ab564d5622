// Reading what others may be writing, and seeing afterwards whether they were.
#pragma once

#include <atomic>

namespace tarnwillow::platform {

#if defined(__SANITIZE_THREAD__)
inline constexpr bool kReadersMayRace = false;  // the sanitizer sees only the race
inline void read_fence() {}
#else
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
inline constexpr bool kReadersMayRace = false;
#else
inline constexpr bool kReadersMayRace = true;
#endif
#else
inline constexpr bool kReadersMayRace = true;
#endif

/// What was read before is not read behind it.
inline void read_fence() { std::atomic_thread_fence(std::memory_order_acquire); }
#endif

}  // namespace tarnwillow::platform
