// Waits for the objects behind handles: events, mutexes, threads and processes.
//
// A wait gives WAIT_OBJECT_0 once it has what it waited for. A mutex is then the caller's, an event
// that resets itself is reset, and threads and processes stay ended. Times are milliseconds of the
// monotonic clock, INFINITE for no limit; 0 only looks.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/api.h"
#include "tarnwillow/platform/deadline.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

inline constexpr std::uint32_t WAIT_OBJECT_0 = 0;
/// As WAIT_OBJECT_0, but the mutex came from a thread that ended without releasing it.
inline constexpr std::uint32_t WAIT_ABANDONED = 0x80;
inline constexpr std::uint32_t WAIT_ABANDONED_0 = 0x80;
/// The reason is the last error: ERROR_INVALID_HANDLE, ERROR_INVALID_PARAMETER or
/// ERROR_NOT_ENOUGH_MEMORY.
inline constexpr std::uint32_t WAIT_FAILED = 0xFFFFFFFF;

inline constexpr std::uint32_t MAXIMUM_WAIT_OBJECTS = 64;
inline constexpr std::uint32_t QS_ALLINPUT = 0x4FF;

/// WAIT_OBJECT_0, WAIT_ABANDONED, WAIT_TIMEOUT or WAIT_FAILED.
TARNWILLOW_API std::uint32_t WaitForSingleObject(HANDLE handle, std::uint32_t milliseconds);

/// Waits for one of at most 64 objects, the first in order that can be had, or for all at once; the
/// result is then WAIT_OBJECT_0 or WAIT_ABANDONED_0 plus an index. While it waits for all it takes
/// none, and no object may be there twice. This system queues no calls to a thread, so `alertable`
/// changes nothing.
TARNWILLOW_API std::uint32_t WaitForMultipleObjectsEx(std::uint32_t count, HANDLE const* handles,
                                                      bool wait_all, std::uint32_t milliseconds,
                                                      bool alertable);

/// The same for at most 63 objects; a message of the calling thread ends it too, with the result
/// WAIT_OBJECT_0 + `count`. All kinds of messages count, whatever `wake_mask` says.
TARNWILLOW_API std::uint32_t MsgWaitForMultipleObjects(std::uint32_t count, HANDLE const* handles,
                                                       bool wait_all, std::uint32_t milliseconds,
                                                       std::uint32_t wake_mask);

/// How waits meet the messages of the host's event loop. All three run in the waiting thread and
/// concern that thread's messages; none may be null.
struct MessagePump {
    bool (*waiting)();   ///< whether a message is there
    int (*file)();       ///< becomes readable when one comes; -1: then one ends no sleep
    void (*dispatch)();  ///< takes one message, if there is one, and handles it
};

/// Sets the pump of the process, null for none; gives back the one before. The record must live
/// until it is replaced and no wait uses it any more.
TARNWILLOW_API MessagePump const* Set_Message_Pump_Hook(MessagePump const* pump);

namespace platform {

inline constexpr std::uint32_t kMostWaitObjects = MAXIMUM_WAIT_OBJECTS;

/// Takes one message by the pump, if there is a pump and a message.
void dispatch_message();

}  // namespace platform
}  // namespace tarnwillow
