// Mutexes: recursive locks of one thread at a time, with or without a name that all processes of
// the machine know.
//
// A mutex is taken by a wait (waits.h). One whose holder ended without releasing it, thread or
// process and however it ended, goes to the next who waits, who is told by WAIT_ABANDONED. A mutex
// with a name lives until its last user is gone; the same name then means a new one. A forked child
// has the mutexes of its parent but holds none.
#pragma once

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

inline constexpr std::uint32_t MUTEX_ALL_ACCESS = 0x1F0001;

/// A new mutex, or one more handle of the mutex that has that name already; then the last error is
/// ERROR_ALREADY_EXISTS, and `initial_owner` does nothing. It is 0 for a new one. A null or empty
/// name makes a mutex without a name. Names have at most 259 characters, compare with case, and
/// mean the same in both forms. `attributes` is not looked at: every account may use a named mutex.
/// Null with ERROR_FILENAME_EXCED_RANGE, ERROR_ACCESS_DENIED, ERROR_FILE_INVALID (something else
/// has that name) or ERROR_NOT_ENOUGH_MEMORY.
TARNWILLOW_API HANDLE CreateMutexA(void const* attributes, bool initial_owner, char const* name);
TARNWILLOW_API HANDLE CreateMutexW(void const* attributes, bool initial_owner,
                                   char16_t const* name);

/// A handle of a mutex that exists. Null as above, with ERROR_FILE_NOT_FOUND if nobody uses one of
/// that name, or with ERROR_INVALID_PARAMETER without a name. Access and inheritance are not looked
/// at.
TARNWILLOW_API HANDLE OpenMutexA(std::uint32_t access, bool inherit, char const* name);
TARNWILLOW_API HANDLE OpenMutexW(std::uint32_t access, bool inherit, char16_t const* name);

/// Undoes one wait of the calling thread. False, with ERROR_NOT_OWNER if the thread does not hold
/// the mutex, or ERROR_INVALID_HANDLE. A mutex whose handles were all closed while it was held goes
/// on until its holder's thread ends.
TARNWILLOW_API bool ReleaseMutex(HANDLE mutex);

namespace platform {

/// Releases, as abandoned, all mutexes that the calling thread holds: its last act.
void abandon_held_mutexes();

}  // namespace platform
}  // namespace tarnwillow
