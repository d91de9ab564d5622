#include "tarnwillow/containers/protection.h"

#include <new>

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

long take(CEasyCriticalSection& section, char16_t const* requestor, unsigned long timeout) {
    const unsigned long owner = section.Get_Owning_Thread_Id();
    if (owner != 0 && owner != platform::current_thread_id())
        return timeout == 0 ? E_FAIL : poll(section, requestor, timeout);
    section.Enter(requestor, nullptr);
    return S_OK;
}

CEasyCriticalSection* lock_or_new(const Protection& protection) {
    if (CEasyCriticalSection* present = protection.lock.load(std::memory_order_acquire))
        return present;
    auto* made = new (std::nothrow) CEasyCriticalSection(protection.lock_name);
    CEasyCriticalSection* first = nullptr;
    if (made == nullptr || protection.lock.compare_exchange_strong(first, made)) return made;
    delete made;  // another thread was faster
    return first;
}

}  // namespace

long protect(const Protection& protection, char16_t const* requestor, unsigned long timeout) {
    CEasyCriticalSection* section = lock_or_new(protection);
    if (section == nullptr) return E_OUTOFMEMORY;
    // Built here and moved over by the holder: the buffer is the container's.
    char16_t text[kTextRoom];
    wide::copy(text, kTextRoom, protection.prefix);
    wide::append(text, kTextRoom, requestor != nullptr ? requestor : u"UNKNOWN REQUESTOR");
    const long result = take(*section, text, timeout);
    if (result != S_OK) return result;
    wide::copy(protection.requestor_buffer, kTextRoom, text);
    section->Move_Requestor(text, protection.requestor_buffer);
    protection.requestor_buffer[0] = 0;
    return S_OK;
}

long leave_protected(CEasyCriticalSection* section) {
    if (section == nullptr || section->Get_Owning_Thread_Id() != platform::current_thread_id())
        return E_UNEXPECTED;
    section->Leave();
    return S_OK;
}

}  // namespace tarnwillow::detail
