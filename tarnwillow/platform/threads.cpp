#include "tarnwillow/platform/threads.h"

#include <unistd.h>

#include <cstring>

#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/threadId.h"

namespace tarnwillow {

namespace {

const HANDLE kCurrentThread = reinterpret_cast<HANDLE>(std::intptr_t{-2});

}  // namespace

HANDLE GetCurrentThread() { return kCurrentThread; }

std::uint32_t GetCurrentThreadId() { return platform::current_thread_id(); }

std::int32_t NtQueryInformationThread(HANDLE thread, int information_class, void* information,
                                      std::uint32_t length, std::uint32_t* return_length) {
    THREAD_BASIC_INFORMATION known{};
    if (information_class != ThreadBasicInformation) return STATUS_INVALID_INFO_CLASS;
    if (information == nullptr || length != sizeof known) return STATUS_INFO_LENGTH_MISMATCH;
    if (thread != kCurrentThread) return STATUS_INVALID_HANDLE;
    known.ExitStatus = STILL_ACTIVE;
    known.ClientId = {static_cast<std::uint32_t>(getpid()), GetCurrentThreadId()};
    std::memcpy(information, &known, sizeof known);
    if (return_length != nullptr) *return_length = sizeof known;
    return 0;
}

}  // namespace tarnwillow
