// Time for measuring: a tick count in milliseconds, and a sleep.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Milliseconds of the monotonic clock in 32 bits. It wraps after 49.7 days: subtract two ticks in
/// 32 bits and the difference is right.
TARNWILLOW_API std::uint32_t GetTickCount();

/// Sleeps at least `milliseconds`, signals or not.
TARNWILLOW_API void Sleep(std::uint32_t milliseconds);

}  // namespace tarnwillow
