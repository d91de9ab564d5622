// Threads behind handles.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/api.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

/// A thread's work; the result is its exit code.
using ThreadProcedure = unsigned int (*)(void* argument);

/// For the start of a thread: it stops at its gate until ResumeThread opens that.
inline constexpr unsigned int CREATE_SUSPENDED = 4;

/// Starts a thread; its handle, which is set once the thread has ended, or null with `errno` set.
/// `thread_id` may be null. `stack_size` is in bytes, 0 for the system's default; `security` is not
/// looked at. The thread's end is complete, thread-local destructors included, when a wait for it
/// ends. Closing the handle does not end the thread.
TARNWILLOW_API HANDLE _beginthreadex(void const* security, unsigned int stack_size,
                                     ThreadProcedure procedure, void* argument, unsigned int flags,
                                     unsigned int* thread_id);

/// Stands for the calling thread, whichever that is. It needs no closing and cannot be waited for.
TARNWILLOW_API HANDLE GetCurrentThread();

/// The kernel's number of the calling thread, as system tools show it.
TARNWILLOW_API std::uint32_t GetCurrentThreadId();

/// Lets a thread pass its gate. The result is 1 if it had been closed, 0 if not, 0xFFFFFFFF with
/// ERROR_INVALID_HANDLE for a value that is no thread.
TARNWILLOW_API std::uint32_t ResumeThread(HANDLE thread);

/// Stores the thread's exit code, STILL_ACTIVE (259) while it runs. False with ERROR_INVALID_HANDLE
/// or, without a place to store it, ERROR_INVALID_PARAMETER.
TARNWILLOW_API bool GetExitCodeThread(HANDLE thread, std::uint32_t* code);

/// Asks a thread to leave whatever it is doing, at once, and to end with that exit code. It does so
/// when it next runs; a thread that is asleep in the kernel for good, or that keeps signals away,
/// does not. What it held is released as far as this library knows of it; its other locks stay
/// held, and what only its stack knew is lost. True if the thread was asked or has ended already.
TARNWILLOW_API bool TerminateThread(HANDLE thread, std::uint32_t exit_code);

/// What is known of a thread, in 28 bytes. What this system does not know is 0.
struct THREAD_BASIC_INFORMATION {
    std::uint32_t ExitStatus;  ///< as from GetExitCodeThread
    /// Always 0.
    std::uint32_t TebBaseAddress;
    struct {
        std::uint32_t UniqueProcess;
        std::uint32_t UniqueThread;
    } ClientId;
    /// Always 0.
    std::uint32_t AffinityMask;
    std::int32_t Priority;
    std::int32_t BasePriority;
};
static_assert(sizeof(THREAD_BASIC_INFORMATION) == 28);

inline constexpr int ThreadBasicInformation = 0;

/// Fills a buffer of exactly 28 bytes for information class 0, the only one. 0, or the status
/// STATUS_INVALID_INFO_CLASS, STATUS_INFO_LENGTH_MISMATCH or STATUS_INVALID_HANDLE.
/// `return_length` may be null. The thread may have ended.
TARNWILLOW_API std::int32_t NtQueryInformationThread(HANDLE thread, int information_class,
                                                     void* information, std::uint32_t length,
                                                     std::uint32_t* return_length);

namespace platform {

/// For a thread of _beginthreadex, about itself: closes its gate; and waits there until it is open.
void close_own_gate();
void pass_own_gate();

/// Tells those who wait for it in wait_for_start that the thread runs.
void announce_start();

/// Waits until that thread has announced its start, or has ended. For an open handle.
void wait_for_start(HANDLE thread);

/// The name that system tools show for the calling thread: the first 15 bytes, in whole characters.
void name_current_thread(char const* name);

}  // namespace platform
}  // namespace tarnwillow
