// Crash dumps on request, and time stamps. How faults inside guards lead here, and by which
// setting, tells docs/crash-dumps.md.
#pragma once

#include <cstddef>

#include "tarnwillow/platform/api.h"
#include "tarnwillow/platform/exceptions.h"

namespace tarnwillow {

/// Room for the path of a dump, in characters with the terminator.
inline constexpr std::size_t kCrashDumpPathRoom = 260;

/// Writes a minidump of the calling process with the fault that `pointers` tell of. True if it
/// stands on the disk.
///
/// Its path is `folder`, a separator and `file_name`. Without a file name it is `folder`, which
/// must then end in a separator, and "CrashLog-MM-DD-YYYY-hh-mm-ss.dmp" with the local time; such
/// a path is copied to `path_out`, which is null or has room for kCrashDumpPathRoom characters,
/// whether or not the dump comes about. A null folder is that of the running program. A dump of
/// the same name is replaced. A path that does not fit is a failure.
///
/// The writer is "MiniDumpWriteDump" of a library "DBGHELP.DLL" in the running program's folder if
/// there is such a file, otherwise MiniDumpWriteDump of minidump.h. It gets up to ten attempts, 100
/// milliseconds apart. Until it has succeeded the file has another name, and a failed one is
/// removed; only the account may read it.
///
/// Meant for the thread at fault while the fault's stack stands. Safe in a signal handler with 32
/// KB of stack; without such a library it keeps off the heap. A fault in here, a wild pointer for
/// instance, ends it with what it has reached.
TARNWILLOW_API bool WriteCrashDump(EXCEPTION_POINTERS* pointers, char16_t* path_out,
                                   bool full_memory, char16_t const* folder,
                                   char16_t const* file_name);

/// The same, and gives 1 whatever came of it: a filter for filtered_guard.
TARNWILLOW_API int WriteCrashDumpFromException(EXCEPTION_POINTERS* pointers, char16_t* path_out,
                                               bool full_memory, char16_t const* folder,
                                               char16_t const* file_name);

/// The local time as "MM.DD.YYYY (Day) hh.mm.ss.mmmm", where mmmm are milliseconds. Good until 120
/// more calls have been made, by whatever threads. Any thread.
TARNWILLOW_API char16_t const* Get_Current_Time_String();

}  // namespace tarnwillow
