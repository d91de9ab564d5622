// Other processes behind handles.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// The kernel's number of this process.
TARNWILLOW_API std::uint32_t GetCurrentProcessId();

/// A handle of that process, which is set once the process has ended. It goes on meaning that
/// process, whatever process gets the number later. Null with ERROR_INVALID_PARAMETER (there is
/// none), ERROR_ACCESS_DENIED or ERROR_NOT_ENOUGH_MEMORY. A handle here only tells and waits, which
/// needs no right: `access` and `inherit` are not looked at.
TARNWILLOW_API HANDLE OpenProcess(std::uint32_t access, bool inherit, std::uint32_t process_id);

/// Stores the exit code: STILL_ACTIVE (259) while the process runs, 128 and the signal's number
/// added for one that a signal ended. Only the parent is told it, and only until it has waited for
/// the child by the system's own means: otherwise false with ERROR_ACCESS_DENIED. False with
/// ERROR_INVALID_HANDLE or, without a place to store it, ERROR_INVALID_PARAMETER.
TARNWILLOW_API bool GetExitCodeProcess(HANDLE process, std::uint32_t* code);

/// The process's number; 0 with ERROR_INVALID_HANDLE.
TARNWILLOW_API std::uint32_t GetProcessId(HANDLE process);

}  // namespace tarnwillow
