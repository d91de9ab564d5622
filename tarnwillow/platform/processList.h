// The processes of the system, one after another in ascending order of their ids.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// What a snapshot holds. Only processes are listed here.
inline constexpr std::uint32_t TH32CS_SNAPPROCESS = 2;

/// One process of a snapshot.
struct PROCESSENTRY32 {
    std::uint32_t dwSize;  ///< sizeof(PROCESSENTRY32), set by the caller
    /// Its id, its parent's, and how many threads it has.
    std::uint32_t th32ProcessID;
    std::uint32_t th32ParentProcessID;
    std::uint32_t cntThreads;
    char szExeFile[260];  ///< the program's file name without its folder, UTF-8
};

/// Notes the processes that exist now. `flags` must hold TH32CS_SNAPPROCESS; `process_id` is not
/// looked at. Null, with the last error ERROR_NOT_SUPPORTED, for other flags; null with
/// ERROR_NOT_ENOUGH_MEMORY if the list cannot be had. Closed by CloseHandle.
TARNWILLOW_API HANDLE CreateToolhelp32Snapshot(std::uint32_t flags, std::uint32_t process_id);

/// The first, and the next, process of a snapshot that still exists. Where the system does not let
/// the program's file be seen (another account's process, a thread of the kernel), its name is the
/// one that the process carries, which has at most 15 bytes. False with ERROR_NO_MORE_ITEMS behind
/// the last; with ERROR_INVALID_HANDLE for what is no snapshot; with ERROR_INVALID_PARAMETER for a
/// null entry or another dwSize. A snapshot belongs to one thread at a time.
TARNWILLOW_API bool Process32First(HANDLE snapshot, PROCESSENTRY32* entry);
TARNWILLOW_API bool Process32Next(HANDLE snapshot, PROCESSENTRY32* entry);

}  // namespace tarnwillow
