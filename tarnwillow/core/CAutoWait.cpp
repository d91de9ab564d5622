#include "tarnwillow/core/CAutoWait.h"

#include <algorithm>
#include <cstdint>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/waits.h"

namespace tarnwillow {

namespace {

// More than any wait takes: it will then say so.
constexpr unsigned long kMostCounted = MAXIMUM_WAIT_OBJECTS + 1;

unsigned long count_of(HANDLE const* handles) {
    unsigned long count = 0;
    while (handles != nullptr && count < kMostCounted && handles[count] != nullptr)
        ++count;
    return count;
}

std::uint32_t narrowed(unsigned long milliseconds) {
    return static_cast<std::uint32_t>(std::min<unsigned long>(milliseconds, INFINITE));
}

}  // namespace

CAutoWait::CAutoWait(bool pump, HANDLE* objects, unsigned long timeout, bool wait_all,
                     bool is_alertable)
    : handles(objects), pump_messages(pump), alertable(is_alertable) {
    const unsigned long count = count_of(handles);
    if (count == 0)
        result = static_cast<std::uint32_t>(E_INVALIDARG);
    else if (pump_messages)
        wait_with_messages(count, timeout, wait_all);
    else
        wait(count, timeout, wait_all);
}

void CAutoWait::wait(unsigned long count, unsigned long timeout, bool wait_all) {
    take_result(WaitForMultipleObjectsEx(static_cast<std::uint32_t>(count), handles, wait_all,
                                         narrowed(timeout), alertable),
                count);
}

void CAutoWait::wait_with_messages(unsigned long count, unsigned long timeout, bool wait_all) {
    unsigned long wait_result = count;
    while (wait_result == count) {
        wait_result = MsgWaitForMultipleObjects(static_cast<std::uint32_t>(count), handles,
                                                wait_all, narrowed(timeout), QS_ALLINPUT);
        if (wait_result == count) probe_guard([] { platform::dispatch_message(); }, no_recovery);
    }
    take_result(wait_result, count);
}

void CAutoWait::take_result(unsigned long wait_result, unsigned long count) {
    result = wait_result == WAIT_FAILED ? GetLastError() : wait_result;
    if (wait_result < count) signaled = handles[wait_result];
}

}  // namespace tarnwillow
