#include "tarnwillow/platform/threads.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include "tarnwillow/platform/forcedEnd.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/threadId.h"
#include "tarnwillow/platform/threadObject.h"

namespace tarnwillow {

namespace {

using platform::ThreadObject;

const HANDLE kCurrentThread = reinterpret_cast<HANDLE>(std::intptr_t{-2});
constexpr std::size_t kSystemNameRoom = 16;

std::shared_ptr<ThreadObject> find_thread(HANDLE handle) {
    auto thread = std::static_pointer_cast<ThreadObject>(
        platform::find_object(handle, platform::ObjectKind::thread));
    if (thread == nullptr) SetLastError(ERROR_INVALID_HANDLE);
    return thread;
}

HANDLE start_thread(ThreadProcedure procedure, void* argument, unsigned int stack_size,
                    unsigned int flags, unsigned int* thread_id) {
    const auto thread =
        std::make_shared<ThreadObject>(procedure, argument, (flags & CREATE_SUSPENDED) != 0);
    // First the handle: a thread that runs could not be taken back.
    const HANDLE handle = platform::open_handle(thread);
    if (handle == nullptr) throw std::bad_alloc();
    const int error = ThreadObject::start(thread, stack_size);
    if (error != 0) {
        platform::close_handle(handle);
        errno = error;
        return nullptr;
    }
    if (thread_id != nullptr) *thread_id = thread->id();
    return handle;
}

bool know_thread(HANDLE handle, THREAD_BASIC_INFORMATION& known) {
    known.ClientId.UniqueProcess = static_cast<std::uint32_t>(getpid());
    if (handle == kCurrentThread) {
        known.ExitStatus = STILL_ACTIVE;
        known.ClientId.UniqueThread = GetCurrentThreadId();
        return true;
    }
    const auto thread = platform::find_object(handle, platform::ObjectKind::thread);
    if (thread == nullptr) return false;
    known.ExitStatus = static_cast<ThreadObject&>(*thread).exit_code();
    known.ClientId.UniqueThread = static_cast<ThreadObject&>(*thread).id();
    return true;
}

}  // namespace

HANDLE _beginthreadex(void const*, unsigned int stack_size, ThreadProcedure procedure,
                      void* argument, unsigned int flags, unsigned int* thread_id) {
    const platform::ForcedEndPause pause;
    errno = EINVAL;
    if (procedure == nullptr) return nullptr;
    try {
        return start_thread(procedure, argument, stack_size, flags, thread_id);
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return nullptr;
    }
}

HANDLE GetCurrentThread() { return kCurrentThread; }

std::uint32_t GetCurrentThreadId() { return platform::current_thread_id(); }

std::uint32_t ResumeThread(HANDLE handle) {
    const platform::ForcedEndPause pause;
    const auto thread = find_thread(handle);
    return thread != nullptr ? thread->set_gate(false) : 0xFFFFFFFF;
}

bool GetExitCodeThread(HANDLE handle, std::uint32_t* code) {
    const platform::ForcedEndPause pause;
    const auto thread = find_thread(handle);
    if (thread == nullptr) return false;
    if (code != nullptr)
        *code = thread->exit_code();
    else
        SetLastError(ERROR_INVALID_PARAMETER);
    return code != nullptr;
}

bool TerminateThread(HANDLE handle, std::uint32_t exit_code) {
    const platform::ForcedEndPause pause;
    const auto thread = find_thread(handle);
    return thread != nullptr && thread->end_by_force(exit_code);
}

std::int32_t NtQueryInformationThread(HANDLE thread, int information_class, void* information,
                                      std::uint32_t length, std::uint32_t* return_length) {
    const platform::ForcedEndPause pause;
    THREAD_BASIC_INFORMATION known{};
    if (information_class != ThreadBasicInformation) return STATUS_INVALID_INFO_CLASS;
    if (information == nullptr || length != sizeof known) return STATUS_INFO_LENGTH_MISMATCH;
    if (!know_thread(thread, known)) return STATUS_INVALID_HANDLE;
    std::memcpy(information, &known, sizeof known);
    if (return_length != nullptr) *return_length = sizeof known;
    return 0;
}

namespace platform {

void close_own_gate() {
    if (ThreadObject* thread = ThreadObject::current()) thread->set_gate(true);
}

void pass_own_gate() {
    if (ThreadObject* thread = ThreadObject::current()) thread->pass_gate();
}

void announce_start() {
    if (ThreadObject* thread = ThreadObject::current()) thread->announce_start();
}

void wait_for_start(HANDLE handle) {
    const ForcedEndPause pause;
    if (const auto thread = find_thread(handle)) thread->wait_for_start();
}

void name_current_thread(char const* name) {
    char cut[kSystemNameRoom] = {};
    std::size_t length = strnlen(name, kSystemNameRoom);
    if (length == kSystemNameRoom)
        for (--length; length > 0 && (name[length] & 0xC0) == 0x80;)
            --length;
    std::memcpy(cut, name, length);
    if (length > 0) pthread_setname_np(pthread_self(), cut);
}

}  // namespace platform
}  // namespace tarnwillow
