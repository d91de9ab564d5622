#include "tarnwillow/platform/threadStack.h"

#include <dlfcn.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/syscall.h>
#include <time.h>
#include <ucontext.h>
#include <unistd.h>
#include <unwind.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <mutex>

#include "tarnwillow/platform/format.h"
#include "tarnwillow/platform/threadId.h"

namespace tarnwillow::platform {

namespace {

constexpr std::size_t kMostFrames = 64;
constexpr long kPatienceNanoseconds = 200'000'000;

int stack_signal() { return SIGRTMIN + 10; }

void* interrupted_at(void* context) {
#if defined(__x86_64__)
    return reinterpret_cast<void*>(static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_RIP]);
#else
    static_cast<void>(context);
    return nullptr;
#endif
}

// One question at a time. The answer lies here and not with the asker, who may have given up by the
// time it comes.
struct Question {
    std::atomic<std::uint32_t> thread{0};  // who is to answer; 0 for nobody
    void* start = nullptr;                 // the frames of the handler itself come before it
    void* frames[kMostFrames];
    std::size_t taken = 0;
    std::atomic<std::size_t> count{0};  // of the frames, once they are all there
    sem_t answered;
};

Question& question() {
    static Question the_question;
    return the_question;
}

_Unwind_Reason_Code take_frame(_Unwind_Context* context, void* argument) {
    auto& answer = *static_cast<Question*>(argument);
    void* const frame = reinterpret_cast<void*>(_Unwind_GetIP(context));
    if (answer.start != nullptr && frame != answer.start) return _URC_NO_REASON;
    answer.start = nullptr;
    answer.frames[answer.taken++] = frame;
    return answer.taken < kMostFrames ? _URC_NO_REASON : _URC_END_OF_STACK;
}

void answer_question(int, siginfo_t*, void* context) {
    Question& asked = question();
    std::uint32_t self = current_thread_id();
    if (!asked.thread.compare_exchange_strong(self, 0)) return;
    const int error = errno;
    asked.start = interrupted_at(context);
    _Unwind_Backtrace(take_frame, &asked);
    asked.count = asked.taken;
    sem_post(&asked.answered);
    errno = error;
}

bool install_handler() {
    struct sigaction before {};
    if (sigaction(stack_signal(), nullptr, &before) != 0) return false;
    if ((before.sa_flags & SA_SIGINFO) != 0) return before.sa_sigaction == answer_question;
    if (before.sa_handler != SIG_DFL) return false;
    struct sigaction action {};
    action.sa_sigaction = answer_question;
    action.sa_flags = SA_SIGINFO | SA_RESTART | SA_ONSTACK;
    return sigaction(stack_signal(), &action, nullptr) == 0;
}

bool wait_for_answer(sem_t* answered) {
    timespec until{};
    clock_gettime(CLOCK_MONOTONIC, &until);
    until.tv_nsec += kPatienceNanoseconds;
    until.tv_sec += until.tv_nsec / 1'000'000'000;
    until.tv_nsec %= 1'000'000'000;
    int result = 0;
    do {
        result = sem_clockwait(answered, CLOCK_MONOTONIC, &until);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

bool ask(Question& to, std::uint32_t thread_id) {
    to.taken = 0;
    to.count = 0;
    sem_init(&to.answered, 0, 0);
    to.thread = thread_id;
    if (syscall(SYS_tgkill, getpid(), thread_id, stack_signal()) == 0 &&
        wait_for_answer(&to.answered))
        return true;
    // Either nobody answers any more, or the answer is on its way already and is waited for.
    if (to.thread.exchange(0) != 0) return false;
    while (sem_wait(&to.answered) != 0) {
    }
    return true;
}

}  // namespace

std::size_t thread_stack(std::uint32_t thread_id, void** frames, std::size_t room) {
    static std::mutex one_at_a_time;
    const std::lock_guard hold(one_at_a_time);
    Question& asked = question();
    if (thread_id == 0 || !install_handler() || !ask(asked, thread_id)) return 0;
    const std::size_t count = std::min(asked.count.load(), room);
    std::copy_n(asked.frames, count, frames);
    return count;
}

std::size_t describe_frame(void* frame, char* out, std::size_t size) {
    Dl_info info{};
    if (dladdr(frame, &info) == 0) return format_text(out, size, "%p", frame);
    const auto offset = [frame](void* base) {
        return static_cast<char*>(frame) - static_cast<char*>(base);
    };
    if (info.dli_sname == nullptr)
        return format_text(out, size, "%s+0x%I64x", info.dli_fname, offset(info.dli_fbase));
    return format_text(out, size, "%s+0x%I64x (%s+0x%I64x)", info.dli_sname, offset(info.dli_saddr),
                       info.dli_fname, offset(info.dli_fbase));
}

}  // namespace tarnwillow::platform
