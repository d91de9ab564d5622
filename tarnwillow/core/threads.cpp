#include "tarnwillow/core/threads.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "tarnwillow/core/CWeakAPICall.h"
#include "tarnwillow/core/frame.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/core/threadRecord.h"
#include "tarnwillow/platform/comThread.h"
#include "tarnwillow/platform/events.h"
#include "tarnwillow/platform/forcedEnd.h"
#include "tarnwillow/platform/format.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/waits.h"

namespace tarnwillow {

namespace {

constexpr std::size_t kDescriptionRoom = 256;
constexpr std::size_t kGuardNameRoom = kDescriptionRoom + 64;
constexpr std::uint32_t kFailureExitCode = 0xFFFFFFFF;

// Of the second that force is given. A thread that is asked in a stretch that it may not leave, and
// falls asleep there, is reached by the next time.
constexpr int kForceAttempts = 10;
constexpr std::uint32_t kForceStep = 100;

// On the stack of New_Thread, so of no use once the thread has announced its start.
struct ThreadStart {
    ThreadProcedure procedure;
    void* argument;
    char const* description;
    bool suspended;
    bool no_com;
};

std::uint32_t pseudo_handle() {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(GetCurrentThread()));
}

void log_thread(char const* format, unsigned int id, char const* description) {
    _LOG(kConnectionHandlerThreads, format, id, pseudo_handle(), description);
}

thread_local bool ended_by_force = false;

void leave_by_force() {
    ended_by_force = true;
    detail::jump_to_outermost_guard();
}

// What a thread of New_Thread keeps on its stack, and its way in and out.
class ThreadEntry {
public:
    explicit ThreadEntry(const ThreadStart& start) : start_(start) {
        const std::size_t length = strnlen(start.description, kDescriptionRoom - 1);
        std::memcpy(description_, start.description, length);
        platform::format_text(guard_name_, kGuardNameRoom, u"Thread Entrypoint %S  TID: %d (0x%x)",
                              description_, id_, id_);
        platform::name_current_thread(description_);
    }

    ~ThreadEntry() {
        log_thread("Thread Completed: ID: %x Handle: %x Thread Desc: \"%s\"", id_, description_);
        if (in_com_) CoUninitialize();
        platform::announce_start();  // if the thread did not get so far
        detail::set_thread_record(nullptr);
    }

    ThreadEntry(const ThreadEntry&) = delete;
    ThreadEntry& operator=(const ThreadEntry&) = delete;

    char16_t const* guard_name() const { return guard_name_; }

    unsigned int run() {
        detail::set_thread_record(&record_);
        if (!start_.no_com) {
            in_com_ = true;
            CoInitialize(nullptr);
        }
        if (start_.suspended) platform::close_own_gate();
        platform::set_leave_thread(leave_by_force);
        platform::announce_start();
        platform::pass_own_gate();
        const unsigned int code = start_.procedure(start_.argument);
        platform::set_leave_thread(nullptr);
        return code;
    }

    unsigned int recover() {
        platform::set_leave_thread(nullptr);
        if (!ended_by_force)
            log_thread("Thread Raised an exception: ID: %x Handle: %x Thread Desc: \"%s\"", id_,
                       description_);
        return kFailureExitCode;
    }

private:
    const ThreadStart start_;
    const std::uint32_t id_ = GetCurrentThreadId();
    bool in_com_ = false;
    detail::ThreadRecord record_{kTagAlive, 0, 0};
    char description_[kDescriptionRoom] = {};
    char16_t guard_name_[kGuardNameRoom];
};

unsigned int enter_thread(void* start) {
    ThreadEntry entry(*static_cast<ThreadStart const*>(start));
    return reporting_guard(
        ExceptionLevelSerious, entry.guard_name(), [&] { return entry.run(); },
        [&] { return entry.recover(); });
}

bool end_by_force(HANDLE thread) {
    for (int attempt = 0; attempt < kForceAttempts; ++attempt) {
        TerminateThread(thread, kFailureExitCode);
        if (WaitForSingleObject(thread, kForceStep) == WAIT_OBJECT_0) return true;
    }
    return false;
}

std::uint32_t narrowed(unsigned long milliseconds) {
    return static_cast<std::uint32_t>(std::min<unsigned long>(milliseconds, INFINITE));
}

}  // namespace

void* New_Thread(ThreadProcedure procedure, void* argument, char const* description,
                 unsigned int flags, unsigned int* thread_id, bool no_com) {
    if (description == nullptr) description = "";
    ThreadStart start{procedure, argument, description, (flags & CREATE_SUSPENDED) != 0, no_com};
    unsigned int id = 0;
    HANDLE const thread = procedure != nullptr ? _beginthreadex(nullptr, 0, enter_thread, &start,
                                                                flags & ~CREATE_SUSPENDED, &id)
                                               : nullptr;
    if (thread == nullptr) {
        const int error = procedure != nullptr ? errno : EINVAL;
        _LOG(kConnectionHandlerThreads, "New_Thread  %s  Failed Error :%d", description, error);
        return nullptr;
    }
    log_thread("New Thread: ID: %x Handle: %x Thread Desc: \"%s\"", id, description);
    if (thread_id != nullptr) *thread_id = id;
    platform::wait_for_start(thread);
    return thread;
}

bool End_Thread(void* thread, void* stop_event, unsigned long timeout) {
    if (GetThreadIdFromHandle(thread) == GetCurrentThreadId()) return false;
    if (stop_event != nullptr) SetEvent(stop_event);
    std::uint32_t code = 0;
    if (GetExitCodeThread(thread, &code) && code == STILL_ACTIVE &&
        WaitForSingleObject(thread, narrowed(timeout)) == WAIT_TIMEOUT) {
        end_by_force(thread);
        CloseHandle(thread);
        return false;
    }
    CloseHandle(thread);
    _LOG(kConnectionHandlerThreads, "End_Thread complete.");
    return true;
}

unsigned long GetThreadIdFromHandle(void* thread) {
    using Query = decltype(&NtQueryInformationThread);
    CWeakAPICall call;
    const auto query =
        reinterpret_cast<Query>(call.Load_Call("ntdll.dll", "NtQueryInformationThread"));
    THREAD_BASIC_INFORMATION known{};
    if (query == nullptr ||
        query(thread, ThreadBasicInformation, &known, sizeof known, nullptr) != 0)
        return 0;
    return known.ClientId.UniqueThread;
}

long Get_Thread_In_Log_Count() {
    const detail::ThreadRecord* record = detail::thread_record();
    return record != nullptr ? record->in_log_count : -1;
}

void Set_Thread_In_Log_Count(long count) {
    if (detail::ThreadRecord* record = detail::thread_record()) record->in_log_count = count;
}

long Get_Thread_Debug_Value() {
    const detail::ThreadRecord* record = detail::thread_record();
    return record != nullptr ? record->debug_value : -1;
}

void Set_Thread_Debug_Value(long value) {
    if (detail::ThreadRecord* record = detail::thread_record()) record->debug_value = value;
}

}  // namespace tarnwillow
