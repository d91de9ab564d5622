// Named mutexes that every account on the machine can open, and one way to wait for a mutex.
#pragma once

#include <cstddef>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// A handle of the mutex of that name, which is made if nobody uses it; close it with CloseHandle.
/// At most 255 characters count; \ / < > * ? : " and | become _. Narrow and wide forms of one name
/// mean one mutex; a null or empty name makes one without a name. Null on failure. The last error
/// is 0 for a new mutex and ERROR_ALREADY_EXISTS for one that was there.
TARNWILLOW_API void* CreatePublicMutex(char const* name);
TARNWILLOW_API void* CreatePublicMutex(char16_t const* name);
TARNWILLOW_API void* CreatePublicMutex(std::nullptr_t name);

/// Waits `timeout` milliseconds, -1 or 0xFFFFFFFF for no limit, until the calling thread holds the
/// mutex; one abandoned by its holder will do. 0, ERROR_SERVICE_REQUEST_TIMEOUT (1053), or
/// ERROR_INVALID_HANDLE (6) if two waits failed. ReleaseMutex undoes it.
TARNWILLOW_API long Get_Mutex(void* mutex, long timeout);

}  // namespace tarnwillow
