#include "tarnwillow/diagnostics/timeStrings.h"

#include "tarnwillow/diagnostics/crashDumps.h"
#include "tarnwillow/platform/format.h"
#include "tarnwillow/platform/localTime.h"

namespace tarnwillow {

namespace detail {

char16_t* TimeStringRing::take() {
    CAutoSectionLock hold(section, nullptr, nullptr);
    if (next == kEntries) next = 0;
    return entries[next++];
}

TimeStringRing& time_string_ring() {
    static TimeStringRing ring;
    return ring;
}

}  // namespace detail

char16_t const* Get_Current_Time_String() {
    constexpr char16_t const* kDays[] = {u"Sun", u"Mon", u"Tue", u"Wed", u"Thu", u"Fri", u"Sat"};
    SYSTEMTIME now{};
    GetLocalTime(&now);
    char16_t* const text = detail::time_string_ring().take();
    platform::format_text(text, detail::TimeStringRing::kEntryRoom,
                          u"%.2d.%.2d.%d (%s) %02u.%02u.%02u.%04u", now.wMonth, now.wDay, now.wYear,
                          kDays[now.wDayOfWeek % 7], now.wHour, now.wMinute, now.wSecond,
                          now.wMilliseconds);
    return text;
}

}  // namespace tarnwillow
