#pragma once

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// One wait for objects, made by the constructor.
class TARNWILLOW_API CAutoWait {
public:
    /// Waits for the objects of an array that ends with a null handle, at most 64, or 63 with
    /// `pump_messages`: for one of them, or for all at once. Times are milliseconds, (unsigned
    /// long)-1 for no limit. While it waits with `pump_messages`, messages of the calling thread
    /// are dispatched by the host's pump, each within a guard, and each starts the time anew.
    CAutoWait(bool pump_messages, HANDLE* handles, unsigned long timeout, bool wait_all,
              bool alertable);

    /// Index of the object that ended the wait; WAIT_TIMEOUT; 128 and above for a mutex that its
    /// holder had abandoned, which is the caller's then all the same; the last error of a wait that
    /// failed; 0x80070057 if there are no objects. 32 bits, never sign-extended.
    unsigned long Get_Result() const { return result; }

    /// The object that ended the wait; null unless the result is an index.
    HANDLE Get_Signaled() const { return signaled; }

private:
    void wait(unsigned long count, unsigned long timeout, bool wait_all);
    void wait_with_messages(unsigned long count, unsigned long timeout, bool wait_all);
    void take_result(unsigned long wait_result, unsigned long count);

    HANDLE* handles;
    HANDLE signaled = nullptr;
    unsigned long result = 0;
    bool pump_messages;
    bool alertable;
};

}  // namespace tarnwillow
