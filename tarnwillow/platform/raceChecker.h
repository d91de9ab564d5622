// What the checker of data races has to be told, since it does not see it by itself.
#pragma once

#if defined(__SANITIZE_THREAD__)
#define TARNWILLOW_RACE_CHECKER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define TARNWILLOW_RACE_CHECKER 1
#endif
#endif

#if defined(TARNWILLOW_RACE_CHECKER)
extern "C" void __tsan_mutex_pre_lock(void* mutex, unsigned flags);
extern "C" void __tsan_mutex_post_lock(void* mutex, unsigned flags, int recursion);
#endif

namespace tarnwillow::platform {

/// Whether the program runs under the checker.
#if defined(TARNWILLOW_RACE_CHECKER)
inline constexpr bool kRaceChecker = true;
#else
inline constexpr bool kRaceChecker = false;
#endif

/// A mutex of the system was taken by a call that the checker does not know.
inline void tell_race_checker_locked([[maybe_unused]] void* mutex) {
#if defined(TARNWILLOW_RACE_CHECKER)
    constexpr unsigned kTryLock = 1U << 4;
    __tsan_mutex_pre_lock(mutex, kTryLock);
    __tsan_mutex_post_lock(mutex, kTryLock, 0);
#endif
}

}  // namespace tarnwillow::platform
