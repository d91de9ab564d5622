// Times of files as the callers keep them.
#pragma once

#include <cstdint>

namespace tarnwillow {

/// Hundreds of nanoseconds since the first day of 1601, universal time.
struct FILETIME {
    /// The low half, and the high half.
    std::uint32_t dwLowDateTime;
    std::uint32_t dwHighDateTime;
};
static_assert(sizeof(FILETIME) == 8);

namespace platform {

/// Whole seconds since the first day of 1970; negative before.
constexpr std::int64_t seconds_of(const FILETIME& time) {
    constexpr std::int64_t kPerSecond = 10'000'000;
    constexpr std::int64_t kSecondsBefore1970 = 11'644'473'600;
    const std::uint64_t ticks =
        static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
    return static_cast<std::int64_t>(ticks / kPerSecond) - kSecondsBefore1970;
}

}  // namespace platform
}  // namespace tarnwillow
