#include "tarnwillow/platform/localTime.h"

#include <ctime>

namespace tarnwillow {

namespace {

/// The minute that this thread last looked up. A local time changes its distance to the world's
/// time at full minutes only.
struct KnownMinute {
    std::time_t number;
    SYSTEMTIME calendar;  ///< of its first second
};
[[gnu::tls_model("initial-exec")]] constinit thread_local KnownMinute known_minute{-1, {}};

SYSTEMTIME calendar_of(std::time_t seconds) {
    std::tm local{};
    localtime_r(&seconds, &local);
    const auto field = [](int value) { return static_cast<std::uint16_t>(value); };
    return {field(local.tm_year + 1900), field(local.tm_mon + 1),
            field(local.tm_wday),        field(local.tm_mday),
            field(local.tm_hour),        field(local.tm_min),
            field(local.tm_sec),         0};
}

}  // namespace

void GetLocalTime(SYSTEMTIME* time) {
    std::timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::time_t minute = now.tv_sec / 60;
    if (known_minute.number != minute) known_minute = {minute, calendar_of(minute * 60)};
    *time = known_minute.calendar;
    time->wSecond = static_cast<std::uint16_t>(time->wSecond + now.tv_sec % 60);
    time->wMilliseconds = static_cast<std::uint16_t>(now.tv_nsec / 1'000'000);
}

}  // namespace tarnwillow
