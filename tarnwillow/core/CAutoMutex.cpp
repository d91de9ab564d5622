#include "tarnwillow/core/CAutoMutex.h"

#include "tarnwillow/core/diagnosticEntry.h"
#include "tarnwillow/core/heldLocks.h"
#include "tarnwillow/platform/debugOutput.h"
#include "tarnwillow/platform/format.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/mutexes.h"
#include "tarnwillow/platform/processes.h"
#include "tarnwillow/platform/threadId.h"
#include "tarnwillow/platform/waits.h"

namespace tarnwillow {

namespace {

constexpr std::uint32_t kStepMilliseconds = 2000;
constexpr int kAbandonedSteps = 10;

void write_debug_text(char16_t const* format) {
    char16_t text[255];
    platform::format_text(text, 255, format, GetCurrentProcessId());
    OutputDebugStringW(text);
}

// What a guard calls for a holder that a fault jumped over.
void release_jumped_over(void* mutex) { static_cast<CAutoMutex*>(mutex)->Release(); }

}  // namespace

CAutoMutex::CAutoMutex(HANDLE mutex, long timeout) {
    if (mutex != nullptr) Acquire(mutex, timeout);
}

CAutoMutex::~CAutoMutex() { Release(); }

bool CAutoMutex::Is_Held() const { return holder == platform::current_thread_id(); }

bool CAutoMutex::is_another_threads() const { return holder != 0 && !Is_Held(); }

void CAutoMutex::Acquire(HANDLE mutex, long timeout) {
    if (Is_Held()) return;
    if (mutex == nullptr) mutex = handle;
    if (!is_another_threads()) handle = mutex;
    const auto limit = static_cast<std::uint32_t>(timeout);
    const bool acquired = limit == INFINITE ? wait_without_limit(mutex) : wait_twice(mutex, limit);
    if (!acquired) return;
    handle = mutex;
    holder = platform::current_thread_id();
    detail::note_lock_entered(this, release_jumped_over);
}

bool CAutoMutex::wait_without_limit(HANDLE mutex) {
    for (int step = 1;; ++step) {
        const std::uint32_t result = WaitForSingleObject(mutex, kStepMilliseconds);
        if (result == WAIT_OBJECT_0) return true;
        if (result == WAIT_TIMEOUT) {
            _LOG(kConnectionHandlerLockingExtended,
                 "Mutex Wait Timeout after %d seconds. PID: %x   Trying Again\n", step * 2,
                 GetCurrentProcessId());
            continue;
        }
        if (result != WAIT_ABANDONED) {
            write_debug_text(u"Mutex Acquire Failed. PID: %x \n");
            return false;
        }
        ReleaseMutex(mutex);
        if (step == 1) write_debug_text(u"WAIT_ABANDONED");
        if (step < kAbandonedSteps) continue;
        write_debug_text(u"Mutex Acquire Failed after Abandon. PID: %x \n");
        return false;
    }
}

bool CAutoMutex::wait_twice(HANDLE mutex, std::uint32_t timeout) {
    for (int attempt = 1; attempt <= 2; ++attempt) {
        const std::uint32_t result = WaitForSingleObject(mutex, timeout);
        if (result == WAIT_OBJECT_0) return true;
        if (result != WAIT_ABANDONED) {
            write_debug_text(u"Non Infinite Wait Mutex Acquire Failed. PID: %x \n");
            return false;
        }
        ReleaseMutex(mutex);
        if (attempt == 1) write_debug_text(u"WAIT_ABANDONED");
    }
    return false;
}

// Both fields are cleared while the mutex is still held: behind its release they are the next
// holder's.
HANDLE CAutoMutex::stop_holding() {
    detail::note_lock_left(this);
    const HANDLE mutex = handle.exchange(nullptr);
    holder = 0;
    ReleaseMutex(mutex);
    return mutex;
}

void CAutoMutex::Release() {
    if (Is_Held()) stop_holding();
}

void CAutoMutex::Close() {
    if (is_another_threads()) return;
    const HANDLE mutex = Is_Held() ? stop_holding() : handle.exchange(nullptr);
    if (mutex != nullptr) CloseHandle(mutex);
}

}  // namespace tarnwillow
