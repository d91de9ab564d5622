// Snapshots of the calling process as minidump files, which debuggers open after the fact.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/api.h"
#include "tarnwillow/platform/exceptions.h"

namespace tarnwillow {

enum MINIDUMP_TYPE : std::uint32_t {
    MiniDumpNormal = 0,          ///< threads with registers and stacks, modules, the fault
    MiniDumpWithFullMemory = 2,  ///< the same, and all memory that the process may read
};

/// The fault that a dump is made for.
struct MINIDUMP_EXCEPTION_INFORMATION {
    std::uint32_t ThreadId;  ///< kernel's id of the thread at fault
    /// What a guard knows of the fault; must live until the dump is written.
    EXCEPTION_POINTERS* ExceptionPointers;
    int ClientPointers;  ///< 1: the pointers are of this process, as all here are
};

/// Writes a minidump of the calling process to the descriptor `file`, from its start on; what stood
/// there is cut off. `information` may be null for a dump without a fault.
///
/// The process may be broken: the writing is done by a forked child that uses neither the heap nor
/// any lock, on a stack of its own. The child stops the other threads for as long as it takes,
/// through the system's tracing; a thread that does not stop within a second, or that is traced by
/// a debugger already, is listed without registers. The call takes some milliseconds for the normal
/// form. A child that makes no progress for ten seconds is killed. Safe in a signal handler, where
/// it needs about 2 KB of stack; other threads may write dumps meanwhile.
///
/// False, with the last error set, if no whole dump was written; the file's content is then of no
/// use. ERROR_NOT_SUPPORTED: another process than this one, a user stream or a callback (both must
/// be null), or a processor without a known layout of registers. ERROR_WRITE_FAULT: anything else.
TARNWILLOW_API bool MiniDumpWriteDump(HANDLE process, std::uint32_t process_id, int file,
                                      MINIDUMP_TYPE type,
                                      MINIDUMP_EXCEPTION_INFORMATION const* information,
                                      void const* user_streams, void const* callback);

}  // namespace tarnwillow
