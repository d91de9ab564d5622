// Time for measuring: a tick count in milliseconds, and a sleep.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Milliseconds of the monotonic clock in 32 bits. It wraps after 49.7 days: subtract two ticks in
/// 32 bits and the difference is right.
TARNWILLOW_API std::uint32_t GetTickCount();

namespace platform {

/// The same count as of the system's last timer interrupt, a few milliseconds late. A quarter of
/// the time to read: for what is measured every time and needed hardly ever.
std::uint32_t coarse_tick_count();

}  // namespace platform

/// Sleeps at least `milliseconds`, signals or not.
TARNWILLOW_API void Sleep(std::uint32_t milliseconds);

}  // namespace tarnwillow
