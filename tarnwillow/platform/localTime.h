// The time of day, as a calendar and a clock on the wall show it.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// 16 bytes, which travel in records as they are.
struct SYSTEMTIME {
    /// All four digits.
    std::uint16_t wYear;
    std::uint16_t wMonth;      ///< from 1
    std::uint16_t wDayOfWeek;  ///< from 0, a Sunday
    std::uint16_t wDay;        ///< from 1
    /// From 0.
    std::uint16_t wHour;
    std::uint16_t wMinute;
    std::uint16_t wSecond;
    std::uint16_t wMilliseconds;
};
static_assert(sizeof(SYSTEMTIME) == 16);

/// The local time now. The calendar is asked once a minute for each thread, so a change of the time
/// zone shows within a minute.
TARNWILLOW_API void GetLocalTime(SYSTEMTIME* time);

}  // namespace tarnwillow
