#include "tarnwillow/containers/protection.h"

#include "tarnwillow/platform/clock.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/threadId.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow::detail {

namespace {

long poll(CEasyCriticalSection& section, char16_t const* requestor, unsigned long attempts) {
    for (unsigned long attempt = 0; attempt < attempts; ++attempt) {
        const bool taken = section.Try(requestor);
        Sleep(1);
        if (taken) return S_OK;
    }
    return WAIT_TIMEOUT;
}

}  // namespace

long take_for_protect(CEasyCriticalSection& section, char16_t const* requestor,
                      unsigned long timeout) {
    const unsigned long owner = section.Get_Owning_Thread_Id();
    if (owner != 0 && owner != platform::current_thread_id())
        return timeout == 0 ? E_FAIL : poll(section, requestor, timeout);
    section.Enter(requestor, nullptr);
    return S_OK;
}

void publish_requestor(CEasyCriticalSection& section, char16_t const* requestor, char16_t* buffer,
                       std::size_t room) {
    wide::copy(buffer, room, requestor);
    section.Move_Requestor(requestor, buffer);
    buffer[0] = 0;
}

long leave_protected(CEasyCriticalSection* section) {
    if (section == nullptr || section->Get_Owning_Thread_Id() != platform::current_thread_id())
        return E_UNEXPECTED;
    section->Leave();
    return S_OK;
}

}  // namespace tarnwillow::detail
