#include "tarnwillow/platform/forcedEnd.h"

#include <pthread.h>
#include <signal.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <cerrno>

namespace tarnwillow::platform {

constinit thread_local volatile ForcedEndState forced_end{};

namespace {

// Real-time signals are nobody's by name. The first few are taken by other runtimes.
int end_signal() { return SIGRTMIN + 9; }

// Whether the signal found the thread asleep in the kernel: only then is it certain that the lock
// which it waits for has not just become its own.
bool was_asleep(void* context) {
#if defined(__x86_64__)
    const auto* registers = static_cast<const ucontext_t*>(context)->uc_mcontext.gregs;
    const auto* behind = reinterpret_cast<const unsigned char*>(registers[REG_RIP]);
    return registers[REG_RAX] == -EINTR && behind[-2] == 0x0F && behind[-1] == 0x05;
#elif defined(__aarch64__)
    const auto& registers = static_cast<const ucontext_t*>(context)->uc_mcontext;
    const auto* behind = reinterpret_cast<const std::uint32_t*>(registers.pc);
    return static_cast<long long>(registers.regs[0]) == -EINTR && behind[-1] == 0xD4000001;
#else
    static_cast<void>(context);
    return false;
#endif
}

void on_end_signal(int, siginfo_t* info, void* context) {
    if (info->si_code != SI_TKILL || info->si_pid != getpid()) return;
    if (forced_end.leave == nullptr) return;
    forced_end.pending = true;
    if (forced_end.pauses == 0)
        leave_if_ended();
    else if (forced_end.shortcut != nullptr && was_asleep(context))
        siglongjmp(*forced_end.shortcut, 1);
}

bool install_handler() {
    struct sigaction action {};
    action.sa_sigaction = on_end_signal;
    action.sa_flags = SA_SIGINFO | SA_NODEFER | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    return sigaction(end_signal(), &action, nullptr) == 0;
}

}  // namespace

void leave_if_ended() {
    const LeaveThread leave = forced_end.leave;
    if (forced_end.pauses != 0 || leave == nullptr) return;
    forced_end.pending = false;
    forced_end.leave = nullptr;
    leave();
}

LeaveThread set_leave_thread(LeaveThread leave) {
    const LeaveThread before = forced_end.leave;
    forced_end.leave = leave;
    if (leave == nullptr) forced_end.pending = false;
    return before;
}

void accept_forced_end() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, end_signal());
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

bool send_forced_end(std::uint32_t thread_id) {
    static const bool installed = install_handler();
    return installed && syscall(SYS_tgkill, getpid(), thread_id, end_signal()) == 0;
}

}  // namespace tarnwillow::platform
