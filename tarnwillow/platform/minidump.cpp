#include "tarnwillow/platform/minidump.h"

#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <new>

#include "tarnwillow/platform/childCalls.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/minidumpChild.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/threadId.h"

namespace tarnwillow {

namespace {

using platform::minidump::Fault;
using platform::minidump::Request;
namespace child = platform::child;

constexpr std::size_t kChildStack = 256 * 1024;
constexpr std::int64_t kPatienceMilliseconds = 10000;
constexpr std::int64_t kPatienceWithTheKilled = 1000;
constexpr std::int64_t kLookMilliseconds = 20;

/// The request and the child's stack. The stack stands below the request: an overflow of it ends
/// the child, and never writes over the request.
class ChildRoom {
public:
    ChildRoom() {
        void* memory =
            mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) return;
        memory_ = static_cast<char*>(memory);
        request_ = new (memory_ + kChildStack) Request{};
    }
    ~ChildRoom() {
        if (memory_ != nullptr) munmap(memory_, kSize);
    }
    ChildRoom(const ChildRoom&) = delete;
    ChildRoom& operator=(const ChildRoom&) = delete;

    Request* request() const { return request_; }
    void* stack_top() const { return memory_ + kChildStack; }

private:
    static constexpr std::size_t kSize = kChildStack + sizeof(Request);

    char* memory_ = nullptr;
    Request* request_ = nullptr;
};

/// No signal reaches the calling thread, nor a child that it forks meanwhile: the handlers of the
/// host must not run twice. Not even those that the C library keeps to itself.
class SignalsBlocked {
public:
    SignalsBlocked() {
        const std::uint64_t all = ~std::uint64_t{0};
        syscall(SYS_rt_sigprocmask, SIG_SETMASK, &all, &before_, sizeof all);
    }
    ~SignalsBlocked() {
        syscall(SYS_rt_sigprocmask, SIG_SETMASK, &before_, nullptr, sizeof before_);
    }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    std::uint64_t before_ = 0;
};

/// Where the system lets a process be traced by its own ancestors only, makes an exception for the
/// child. What the host had allowed itself is forgotten afterwards; there is no way to ask for it.
class TracingAllowed {
public:
    explicit TracingAllowed(pid_t tracer) : needed_(restricted()) {
        if (needed_) prctl(PR_SET_PTRACER, tracer, 0, 0, 0);
    }
    ~TracingAllowed() {
        if (needed_) prctl(PR_SET_PTRACER, 0, 0, 0, 0);
    }
    TracingAllowed(const TracingAllowed&) = delete;
    TracingAllowed& operator=(const TracingAllowed&) = delete;

private:
    static bool restricted() {
        const int file = child::open_to_read("/proc/sys/kernel/yama/ptrace_scope");
        char scope = 0;
        const bool known = file >= 0 && child::read_some(file, &scope, 1) == 1;
        if (file >= 0) child::close_file(file);
        return known && scope == '1';
    }

    const bool needed_;
};

int run_child(void* context) {
    auto& request = *static_cast<Request*>(context);
    prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
    while (std::atomic_ref(request.may_begin).load() == 0)
        child::wait_for_change(&request.may_begin, 0, kPatienceMilliseconds);
    const bool written = platform::minidump::write_dump(request);
    std::atomic_ref(request.finished).store(1);
    child::wake(&request.progress);
    child::leave(written ? 0 : 1);
}

bool has_ended(pid_t id, int* state) {
    return syscall(SYS_wait4, id, state, __WALL | WNOHANG, nullptr) == id;
}

bool has_written(int state) { return WIFEXITED(state) && WEXITSTATUS(state) == 0; }

// A child that hangs in the kernel, on a dead disk for instance, does not even die. It is left.
void kill_child(pid_t id) {
    kill(id, SIGKILL);
    int state = 0;
    const std::int64_t end = child::milliseconds() + kPatienceWithTheKilled;
    while (!has_ended(id, &state) && child::milliseconds() < end)
        child::pause_for(1);
}

// Whether the child has written a dump. A child that hangs never hangs this thread.
bool await_child(pid_t id, Request& request) {
    std::uint32_t seen = 0;
    std::int64_t end = child::milliseconds() + kPatienceMilliseconds;
    for (;;) {
        int state = 0;
        if (has_ended(id, &state)) return has_written(state);
        const std::uint32_t progress = std::atomic_ref(request.progress).load();
        if (progress != seen) end = child::milliseconds() + kPatienceMilliseconds;
        seen = progress;
        if (child::milliseconds() > end) break;
        if (std::atomic_ref(request.finished).load() != 0)
            child::pause_for(1);  // it is about to end
        else
            child::wait_for_change(&request.progress, seen, kLookMilliseconds);
    }
    kill_child(id);
    return false;
}

// The child's end sends no signal, and no other wait of the process sees it: neither handlers of
// the host nor its own children are disturbed. A debugger of the process does not get hold of it.
pid_t fork_child(ChildRoom& room) {
    return clone(run_child, room.stack_top(), CLONE_FS | CLONE_UNTRACED, room.request());
}

bool write_by_child(ChildRoom& room) {
    const SignalsBlocked blocked;
    const pid_t id = fork_child(room);
    if (id < 0) return false;
    const TracingAllowed allowed(id);
    std::atomic_ref(room.request()->may_begin).store(1);
    child::wake(&room.request()->may_begin);
    return await_child(id, *room.request());
}

std::uint64_t number(void const* address) { return reinterpret_cast<std::uintptr_t>(address); }

bool tells_address(std::uint32_t code) { return code == SIGSEGV || code == SIGBUS; }

void describe_fault(const MINIDUMP_EXCEPTION_INFORMATION& information, Fault* fault) {
    fault->there = true;
    fault->thread = static_cast<pid_t>(information.ThreadId);
    const EXCEPTION_POINTERS* pointers = information.ExceptionPointers;
    if (pointers == nullptr) return;
    if (const EXCEPTION_RECORD* record = pointers->ExceptionRecord) {
        fault->code = record->ExceptionCode;
        fault->instruction = number(record->ExceptionAddress);
        fault->address =
            tells_address(fault->code) ? number(record->AccessedAddress) : fault->instruction;
    }
    if (pointers->ContextRecord == nullptr) return;
    platform::minidump::read_registers(*static_cast<ucontext_t const*>(pointers->ContextRecord),
                                       &fault->registers);
    fault->has_registers = true;
}

bool failed(long error) {
    SetLastError(static_cast<std::uint32_t>(error));
    return false;
}

}  // namespace

bool MiniDumpWriteDump(HANDLE, std::uint32_t process_id, int file, MINIDUMP_TYPE type,
                       MINIDUMP_EXCEPTION_INFORMATION const* information, void const* user_streams,
                       void const* callback) {
    const pid_t self = getpid();
    if (static_cast<pid_t>(process_id) != self || user_streams != nullptr || callback != nullptr ||
        !platform::minidump::registers_known())
        return failed(ERROR_NOT_SUPPORTED);
    ChildRoom room;
    Request* request = room.request();
    if (request == nullptr) return failed(ERROR_WRITE_FAULT);
    request->process = self;
    request->caller = static_cast<pid_t>(platform::current_thread_id());
    request->file = file;
    request->full = (type & MiniDumpWithFullMemory) != 0;
    request->time = static_cast<std::uint32_t>(time(nullptr));
    if (information != nullptr) describe_fault(*information, &request->fault);
    // Here, since the frame that is noted must still stand while the child looks at it.
    if (getcontext(&request->caller_context) != 0) return failed(ERROR_WRITE_FAULT);
    return write_by_child(room) || failed(ERROR_WRITE_FAULT);
}

}  // namespace tarnwillow
