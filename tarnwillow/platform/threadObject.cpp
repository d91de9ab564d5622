#include "tarnwillow/platform/threadObject.h"

#include <setjmp.h>

#include <algorithm>
#include <cerrno>

#include "tarnwillow/platform/forcedEnd.h"
#include "tarnwillow/platform/mutexes.h"
#include "tarnwillow/platform/threadId.h"

namespace tarnwillow::platform {

namespace {

[[gnu::tls_model("initial-exec")]] constinit thread_local ThreadObject* current_thread = nullptr;
[[gnu::tls_model("initial-exec")]] constinit thread_local sigjmp_buf* entry = nullptr;

constexpr std::uint32_t kForcedExitCode = 0xFFFFFFFF;
constexpr unsigned int kLeastStack = 64 * 1024;

// The tail of a thread behind its procedure is short; but what a host does there is the host's.
constexpr time_t kPatienceForTail = 1;  // seconds

void leave_to_entry() { siglongjmp(*entry, 1); }

struct ThreadStart {
    std::shared_ptr<ThreadObject> self;
};

}  // namespace

ThreadObject::ThreadObject(ThreadProcedure procedure, void* argument, bool gate_closed)
    : SignalObject(ObjectKind::thread),
      procedure_(procedure),
      argument_(argument),
      gate_closed_(gate_closed) {}

ThreadObject::~ThreadObject() {
    if (id_ != 0 && !joined_ && is_of_this_process()) pthread_detach(thread_);
}

ThreadObject* ThreadObject::current() { return current_thread; }

int ThreadObject::start(const std::shared_ptr<ThreadObject>& self, unsigned int stack_size) {
    pthread_attr_t attributes;
    int error = pthread_attr_init(&attributes);
    if (error != 0) return error;
    if (stack_size != 0)
        error = pthread_attr_setstacksize(&attributes, std::max(stack_size, kLeastStack));
    ThreadStart start{self};
    if (error == 0) error = pthread_create(&self->thread_, &attributes, run, &start);
    pthread_attr_destroy(&attributes);
    if (error == 0) self->id_.wait(0);  // from then on the record above is not used any more
    return error;
}

void* ThreadObject::run(void* start) {
    const auto self = std::move(static_cast<ThreadStart*>(start)->self);
    current_thread = self.get();
    accept_forced_end();
    self->id_ = current_thread_id();
    self->id_.notify_all();
    // Also runs when the thread leaves by an unwinding of its own, as pthread_exit does.
    struct Finish {
        ThreadObject& thread;
        std::uint32_t code = kForcedExitCode;
        ~Finish() {
            set_leave_thread(nullptr);
            abandon_held_mutexes();
            current_thread = nullptr;
            thread.finish(code);
        }
    } finish{*self};
    finish.code = self->call_procedure();
    return nullptr;
}

unsigned int ThreadObject::call_procedure() {
    sigjmp_buf here;
    if (sigsetjmp(here, 0) != 0) return kForcedExitCode;
    entry = &here;
    set_leave_thread(leave_to_entry);
    pass_gate();
    const unsigned int code = procedure_(argument_);
    set_leave_thread(nullptr);
    return code;
}

void ThreadObject::finish(std::uint32_t code) {
    announce_start();
    const ForcedEndPause pause;
    const std::lock_guard hold(signal_lock());
    exit_code_ = forced_ ? forced_code_ : code;
    finished_ = true;
    wake_watchers();
}

// The threads of a parent are not in its child.
Taken ThreadObject::take() { return finished_ || !is_of_this_process() ? Taken::yes : Taken::no; }

void ThreadObject::settle() {
    if (!is_of_this_process() || current_thread == this) return;
    const std::lock_guard hold(joining_);
    if (joined_) return;
    timespec limit{};
    clock_gettime(CLOCK_REALTIME, &limit);
    limit.tv_sec += kPatienceForTail;
    joined_ = pthread_timedjoin_np(thread_, nullptr, &limit) == 0;
}

std::uint32_t ThreadObject::exit_code() {
    const std::lock_guard hold(signal_lock());
    return exit_code_ == STILL_ACTIVE && !is_of_this_process() ? kForcedExitCode : exit_code_;
}

// The number belongs to the thread until it has finished, which the lock keeps it from.
bool ThreadObject::end_by_force(std::uint32_t code) {
    const std::lock_guard hold(signal_lock());
    if (finished_ || !is_of_this_process()) return true;
    forced_ = true;
    forced_code_ = code;
    return send_forced_end(id_);
}

std::uint32_t ThreadObject::set_gate(bool closed) {
    const bool was_closed = gate_closed_.exchange(closed);
    gate_closed_.notify_all();
    return was_closed ? 1 : 0;
}

void ThreadObject::pass_gate() { gate_closed_.wait(true); }

void ThreadObject::announce_start() {
    started_ = true;
    started_.notify_all();
}

void ThreadObject::wait_for_start() { started_.wait(false); }

}  // namespace tarnwillow::platform
