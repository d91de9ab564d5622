// Threads of the host, started inside a guard, and the values that each thread carries.
#pragma once

#include "tarnwillow/platform/threads.h"

namespace tarnwillow {

/// Starts a thread and comes back once it runs: its handle, to be given to End_Thread, or null.
/// `description` (UTF-8, at most 255 bytes count) names the thread in the log and, with its first
/// 15 bytes, in system tools; null for none. `flags` may have CREATE_SUSPENDED: the thread then has
/// its record and stops in front of the procedure until ResumeThread. `thread_id` may be null.
/// Unless `no_com` is set the thread calls CoInitialize and CoUninitialize.
///
/// The procedure's result is the exit code. A fault or a thrown value in it is reported and ends
/// the thread alone, with exit code 0xFFFFFFFF.
TARNWILLOW_API void* New_Thread(ThreadProcedure procedure, void* argument, char const* description,
                                unsigned int flags, unsigned int* thread_id, bool no_com);

/// Ends a thread and closes its handle: sets `stop_event`, if that is not null, which the thread is
/// expected to watch, waits `timeout` milliseconds, and then ends the thread by force (see
/// TerminateThread) with exit code 0xFFFFFFFF, for which it waits one more second. True if the
/// thread had ended or ended by itself; false if force was needed, whatever came of it. A calling
/// thread's own handle gives false, and nothing else happens.
TARNWILLOW_API bool End_Thread(void* thread, void* stop_event, unsigned long timeout);

/// The number of the thread in the kernel, also of one that has ended; 0 for no thread.
TARNWILLOW_API unsigned long GetThreadIdFromHandle(void* thread);

/// How deep the calling thread is inside the log, and a value that is free for the host. Both are 0
/// at first. Without memory for the thread's record they read as -1 and are not stored.
TARNWILLOW_API long Get_Thread_In_Log_Count();
TARNWILLOW_API void Set_Thread_In_Log_Count(long count);
TARNWILLOW_API long Get_Thread_Debug_Value();
TARNWILLOW_API void Set_Thread_Debug_Value(long value);

}  // namespace tarnwillow
