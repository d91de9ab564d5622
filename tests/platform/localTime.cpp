#include "tarnwillow/platform/localTime.h"

#include <gtest/gtest.h>

#include <ctime>

namespace tarnwillow {
namespace {

/// The calendar's second, as one number.
long second_of(const SYSTEMTIME& time) {
    std::tm local{};
    local.tm_year = time.wYear - 1900;
    local.tm_mon = time.wMonth - 1;
    local.tm_mday = time.wDay;
    local.tm_hour = time.wHour;
    local.tm_min = time.wMinute;
    local.tm_sec = time.wSecond;
    local.tm_isdst = -1;
    const std::time_t second = std::mktime(&local);
    EXPECT_EQ(local.tm_wday, time.wDayOfWeek);
    return second;
}

}  // namespace

TEST(LocalTime, IsThatOfTheCalendar) {
    SYSTEMTIME first, second;
    const std::time_t before = std::time(nullptr);
    GetLocalTime(&first);
    GetLocalTime(&second);  // from what is known of the minute
    const std::time_t after = std::time(nullptr);
    EXPECT_LE(before, second_of(first));
    EXPECT_LE(second_of(first), second_of(second));
    EXPECT_LE(second_of(second), after + 1);  // whose clock may be a tick behind
    EXPECT_LT(first.wMilliseconds, 1000);
}

}  // namespace tarnwillow
