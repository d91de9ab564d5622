// Threads behind handles.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Stands for the calling thread, whichever that is. It needs no closing.
TARNWILLOW_API HANDLE GetCurrentThread();

/// The kernel's number of the calling thread, as system tools show it.
TARNWILLOW_API std::uint32_t GetCurrentThreadId();

/// What is known of a thread, in 28 bytes. What this system does not know is 0.
struct THREAD_BASIC_INFORMATION {
    std::uint32_t ExitStatus;  ///< STILL_ACTIVE while it runs
    std::uint32_t TebBaseAddress;
    struct {
        std::uint32_t UniqueProcess;
        std::uint32_t UniqueThread;
    } ClientId;
    std::uint32_t AffinityMask;
    std::int32_t Priority;
    std::int32_t BasePriority;
};
static_assert(sizeof(THREAD_BASIC_INFORMATION) == 28);

inline constexpr int ThreadBasicInformation = 0;

/// Fills a buffer of exactly 28 bytes for information class 0, the only one. 0, or the status
/// STATUS_INVALID_INFO_CLASS, STATUS_INFO_LENGTH_MISMATCH or STATUS_INVALID_HANDLE.
/// `return_length` may be null.
TARNWILLOW_API std::int32_t NtQueryInformationThread(HANDLE thread, int information_class,
                                                     void* information, std::uint32_t length,
                                                     std::uint32_t* return_length);

}  // namespace tarnwillow
