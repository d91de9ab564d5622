#include "tarnwillow/text/outputMutex.h"

#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/mutexes.h"
#include "tarnwillow/text/COutputBuffer.h"
#include "tarnwillow/text/CWOutputBuffer.h"

namespace tarnwillow {

namespace detail {

namespace {

constexpr long kPatienceMilliseconds = 5000;

CAutoMutex& narrow_holder() {
    static CAutoMutex holder;
    return holder;
}

CAutoMutex& wide_holder() {
    static CAutoMutex holder;
    return holder;
}

}  // namespace

void make_output_mutexes() {
    static_cast<void>(narrow_holder());
    static_cast<void>(wide_holder());
}

bool lock_all_buffers(CAutoMutex& holder, char const* name, bool lock) {
    if (!lock) {
        holder.Close();
        return true;
    }
    if (holder.Is_Held()) return true;
    const HANDLE mutex = OpenMutexA(MUTEX_ALL_ACCESS, false, name);
    if (mutex == nullptr) return false;
    holder.Acquire(mutex, kPatienceMilliseconds);
    if (!holder.Is_Held()) CloseHandle(mutex);
    return holder.Is_Held();
}

}  // namespace detail

bool COutputBuffer::Mutex_Lock_All_Buffers(bool lock) {
    return detail::lock_all_buffers(detail::narrow_holder(), "__QV7162_OUTPUTBUFFER_GLOBAL_MUTEX",
                                    lock);
}

bool CWOutputBuffer::Mutex_Lock_All_Buffers(bool lock) {
    return detail::lock_all_buffers(detail::wide_holder(), "__QV7162_OUTPUTBUFFER_GLOBAL_MUTEX_W",
                                    lock);
}

}  // namespace tarnwillow
