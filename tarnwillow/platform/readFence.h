// Reading what others may be writing, and seeing afterwards whether they were.
#pragma once

#include <atomic>

#include "tarnwillow/platform/raceChecker.h"

namespace tarnwillow::platform {

/// The checker of races sees only the race.
inline constexpr bool kReadersMayRace = !kRaceChecker;

/// What was read before is not read behind it.
inline void read_fence() {
#if !defined(TARNWILLOW_RACE_CHECKER)
    std::atomic_thread_fence(std::memory_order_acquire);
#endif
}

}  // namespace tarnwillow::platform
