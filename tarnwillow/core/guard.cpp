#include "tarnwillow/core/guard.h"

#include <cxxabi.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "tarnwillow/core/heldLocks.h"
#include "tarnwillow/core/unload.h"
#include "tarnwillow/platform/abandonableCall.h"
#include "tarnwillow/platform/criticalSection.h"
#include "tarnwillow/platform/forcedEnd.h"
#include "tarnwillow/platform/raceChecker.h"

namespace tarnwillow::detail {

namespace {

struct GuardFrame : platform::AbandonableCall {
    platform::AbandonableCall* outer;
    const GuardForm* form;
    LockMark mark;
    bool filtering;  // its report is under way: a fault in there skips the rest of the report
};

GuardFrame* as_guard(platform::AbandonableCall* call) { return static_cast<GuardFrame*>(call); }
GuardFrame* innermost_guard() { return as_guard(held_locks.innermost_guard); }

constexpr int kFaultSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP};
constexpr int kFaultCount = sizeof kFaultSignals / sizeof kFaultSignals[0];

/// The host's handling of one signal.
struct HostAction {
    struct sigaction first;   // stood there before this library's handler ever did
    struct sigaction latest;  // stood there when the handler was put in front again
    bool known;
};
HostAction host_actions[kFaultCount];

// Where the stack stood when this thread last called a host's handler, and with what.
[[gnu::tls_model("initial-exec")]] thread_local void* host_call_frame = nullptr;
[[gnu::tls_model("initial-exec")]] thread_local const siginfo_t* host_call_info = nullptr;

bool same_handler(const struct sigaction& a, const struct sigaction& b) {
    return a.sa_sigaction == b.sa_sigaction;
}

// A handler that the host set in front of this library's may hand the fault back to it: then it is
// the turn of the one behind. The same fault, from further up the stack, tells that case from a new
// fault after the host's handler has left by a jump.
bool handed_back(const siginfo_t* info) {
    return host_call_info == info && __builtin_frame_address(0) < host_call_frame;
}

struct sigaction& host_action(int signal, const siginfo_t* info) {
    int index = 0;
    while (index < kFaultCount - 1 && kFaultSignals[index] != signal)
        ++index;
    HostAction& host = host_actions[index];
    const bool behind = handed_back(info) && !same_handler(host.first, host.latest);
    return behind ? host.first : host.latest;
}

void fall_to_default(int signal, const siginfo_t* info) {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigaction(signal, &action, nullptr);
    // Most faults come again when the instruction is run again. A sent signal does not, and a
    // breakpoint is behind the processor already.
    if (info->si_code <= 0 || signal == SIGTRAP) raise(signal);
}

// Calls the host's handler as the kernel would have: with its mask, and once only if it asked so.
void call_host(int signal, siginfo_t* info, void* context) {
    struct sigaction& action = host_action(signal, info);
    const bool with_info = (action.sa_flags & SA_SIGINFO) != 0;
    if (!with_info && action.sa_handler == SIG_IGN && info->si_code <= 0) return;
    if (!with_info && (action.sa_handler == SIG_DFL || action.sa_handler == SIG_IGN))
        return fall_to_default(signal, info);
    const struct sigaction host = action;
    if ((host.sa_flags & static_cast<int>(SA_RESETHAND)) != 0) {
        action.sa_flags &= ~SA_SIGINFO;
        action.sa_handler = SIG_DFL;
    }
    sigset_t blocked = host.sa_mask;
    if ((host.sa_flags & SA_NODEFER) == 0) sigaddset(&blocked, signal);
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    host_call_frame = __builtin_frame_address(0);
    host_call_info = info;
    if (with_info)
        host.sa_sigaction(signal, info, context);
    else
        host.sa_handler(signal);
    host_call_info = nullptr;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void* instruction_pointer(void* context) {
#if defined(__x86_64__)
    const auto* registers = static_cast<const ucontext_t*>(context)->uc_mcontext.gregs;
    return reinterpret_cast<void*>(registers[REG_RIP]);
#elif defined(__aarch64__)
    return reinterpret_cast<void*>(static_cast<const ucontext_t*>(context)->uc_mcontext.pc);
#else
    static_cast<void>(context);
    return nullptr;
#endif
}

// A handler starts with the system's floating-point modes, and the jump keeps those of the handler:
// the thread gets its own back, without the marks of what has happened.
void restore_float_modes([[maybe_unused]] void* context) {
#if defined(__x86_64__)
    const auto* state = static_cast<const ucontext_t*>(context)->uc_mcontext.fpregs;
    if (state == nullptr) return;
    constexpr std::uint32_t kMarks = 0x3F;
    const std::uint32_t modes = state->mxcsr & ~kMarks;
    __asm__ volatile("ldmxcsr %0\n\tfldcw %1" : : "m"(modes), "m"(state->cwd));
#endif
}

void report(GuardFrame& frame, EXCEPTION_RECORD& record, void* context) {
    if (!frame.form->reports || frame.filtering) return;
    frame.filtering = true;
    EXCEPTION_POINTERS pointers{&record, context};
    if (frame.form->filters) {
        const auto& form = static_cast<const FilterForm&>(*frame.form);
        form.filter(form.context, &pointers);
    } else {
        Handle_Exception(frame.form->level, frame.form->name, &pointers, 1);
    }
}

// The process's own faults, and a signal that it sent itself, belong to the guard. A signal that
// another process sent says nothing about the guarded code.
bool concerns_guard(const siginfo_t* info) { return info->si_code > 0 || info->si_pid == getpid(); }

void on_fault(int signal, siginfo_t* info, void* context) {
    const int saved_errno = errno;
    GuardFrame* frame = innermost_guard();
    if (frame == nullptr || !concerns_guard(info)) {
        call_host(signal, info, context);
        errno = saved_errno;
        return;
    }
    EXCEPTION_RECORD record{static_cast<std::uint32_t>(signal), instruction_pointer(context),
                            info->si_code > 0 ? info->si_addr : nullptr};
    // The report may fault again, and the jump keeps the signal mask. The kernel has blocked
    // nothing, but whoever stands between it and this handler may have.
    pthread_sigmask(SIG_SETMASK, &static_cast<const ucontext_t*>(context)->uc_sigmask, nullptr);
    report(*frame, record, context);
    held_locks.innermost_guard =
        frame;  // a fault in the report's own guards may have left it elsewhere
    leave_locks_since(frame->mark);
    errno = saved_errno;
    restore_float_modes(context);
    platform::abandon(*frame);
}

constinit CRITICAL_SECTION installing{};

// Whoever held it at a fork is not in the child. No fork waits for it: a thread's first guard may
// be one that it enters under any other lock, and a fork waits for many of those.
void free_in_child() { InitializeCriticalSectionAndSpinCount(&installing, 0); }

[[maybe_unused]] const int fork_handler = pthread_atfork(nullptr, nullptr, free_in_child);

void put_in_front(int signal, HostAction& host) {
    struct sigaction present {};
    sigaction(signal, nullptr, &present);
    if (present.sa_sigaction == on_fault) return;
    if (!host.known) host.first = present;
    host.latest = present;
    host.known = true;
    struct sigaction action {};
    action.sa_sigaction = on_fault;
    action.sa_flags = SA_SIGINFO | SA_NODEFER | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

// A stack of the thread's own for the handler, so that a stack overflow can be caught and a report
// has the room that it takes. One that the host has set up already stays if it is large enough; a
// smaller one comes back at the thread's end.
class AlternateStack {
public:
    AlternateStack() {
        if (sigaltstack(nullptr, &host_) != 0 || is_enough(host_)) return;
        memory_ = allocate();
        if (memory_ == MAP_FAILED) return;
        mprotect(memory_, kBarrier, PROT_NONE);
        stack_t own{};
        own.ss_sp = stack();
        own.ss_size = kSize;
        // Refused while the thread runs on the host's stack, in a handler.
        if (sigaltstack(&own, nullptr) != 0) give_memory_back();
    }
    ~AlternateStack() {
        if (memory_ == MAP_FAILED) return;
        stack_t present{};
        const bool still = sigaltstack(nullptr, &present) == 0 && present.ss_sp == stack();
        if (still) sigaltstack(&host_, nullptr);
        give_memory_back();
    }
    AlternateStack(const AlternateStack&) = delete;
    AlternateStack& operator=(const AlternateStack&) = delete;

private:
    static constexpr std::size_t kSize = 256 * 1024;
    static constexpr std::size_t kEnough = 128 * 1024;
    // Below the stack, as large as any system's pages: what runs over it faults.
    static constexpr std::size_t kBarrier = 64 * 1024;
    static constexpr std::size_t kMapped = kBarrier + kSize;

    static bool is_enough(const stack_t& stack) {
        return (stack.ss_flags & SS_DISABLE) == 0 && stack.ss_size >= kEnough;
    }
    static void* map_at(void* place) {
        return mmap(place, kMapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    }
    // The checker of races takes a guard that is entered at a higher address for one behind the end
    // of all guards below: so its stack for signals lies below the thread's own, if there is room.
    static void* allocate() {
        if (!platform::kRaceChecker) return map_at(nullptr);
        constexpr std::uintptr_t kStep = 32U << 20;
        const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)) & ~0xFFFFUL;
        for (std::uintptr_t below = here - kStep; below > here - 64 * kStep; below -= kStep) {
            void* const memory = map_at(reinterpret_cast<void*>(below));
            if (memory == MAP_FAILED || reinterpret_cast<std::uintptr_t>(memory) < here)
                return memory;
            munmap(memory, kMapped);
        }
        return map_at(nullptr);
    }
    void* stack() const { return static_cast<char*>(memory_) + kBarrier; }
    void give_memory_back() {
        munmap(memory_, kMapped);
        memory_ = MAP_FAILED;
    }

    void* memory_ = MAP_FAILED;
    stack_t host_{};
};

[[gnu::tls_model("initial-exec")]] thread_local bool thread_prepared = false;

// Set at the very end of the unload: no handler may lead into code that goes away.
std::atomic<bool> handlers_gone{false};

[[gnu::cold, gnu::noinline]] void prepare_thread() {
    if (handlers_gone) return;
    Install_Fault_Handlers();
    if (library_unloading) return;  // the stack would outlive the code that frees it
    static thread_local AlternateStack stack;
    static_cast<void>(&stack);
    thread_prepared = true;
}

void report_thrown(GuardFrame& frame) {
    EXCEPTION_RECORD record{EXCEPTION_THROWN_VALUE, nullptr, nullptr};
    report(frame, record, nullptr);
}

void give_handlers_back() {
    for (int i = 0; i < kFaultCount; ++i) {
        if (host_actions[i].known) sigaction(kFaultSignals[i], &host_actions[i].latest, nullptr);
        host_actions[i].known = false;
    }
    thread_prepared = false;
}

}  // namespace

void jump_to_outermost_guard() {
    GuardFrame* frame = innermost_guard();
    if (frame == nullptr) return;
    while (frame->outer != nullptr)
        frame = as_guard(frame->outer);
    held_locks.innermost_guard = frame;
    leave_locks_since(frame->mark);
    platform::abandon(*frame);
}

void leave_handlers_to_host() { give_handlers_back(); }

void end_fault_handling() {
    handlers_gone = true;
    give_handlers_back();
}

// A cancellation that comes through here has no object that a checker of references could look at.
#if defined(__GNUC__)
__attribute__((no_sanitize("null")))
#endif
bool run_guarded(const GuardForm& form, void (*body)(void* context), void* context) {
    if (!thread_prepared) prepare_thread();
    HeldLocks& own = held_locks;
    // Kept beside the frame's own copy: in a register it is at hand sooner than from memory.
    platform::AbandonableCall* const outer = own.innermost_guard;
    GuardFrame frame;
    frame.outer = outer;
    frame.form = &form;
    frame.mark = set_lock_mark();
    frame.filtering = false;
    bool returned = false;
    try {
        returned = platform::call_abandonable(frame, body, context, &own.innermost_guard);
    } catch (abi::__forced_unwind&) {  // the thread is being cancelled
        own.innermost_guard = outer;
        throw;
    } catch (...) {
        leave_locks_since(frame.mark);
        own.innermost_guard = outer;
        probe_guard([&] { report_thrown(frame); }, no_recovery);
        return false;
    }
    own.innermost_guard = outer;
    return returned;
}

}  // namespace tarnwillow::detail

namespace tarnwillow {

void Install_Fault_Handlers() {
    const platform::ForcedEndPause pause;
    EnterCriticalSection(&detail::installing);
    for (int i = 0; i < detail::kFaultCount; ++i)
        detail::put_in_front(detail::kFaultSignals[i], detail::host_actions[i]);
    LeaveCriticalSection(&detail::installing);
}

}  // namespace tarnwillow
