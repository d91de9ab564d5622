#include "tarnwillow/platform/waitable.h"

#include <linux/futex.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <new>

#include "tarnwillow/platform/forcedEnd.h"
#include "tarnwillow/platform/forkLocks.h"

namespace tarnwillow::platform {

namespace {

std::atomic<std::uint32_t> generation{0};

constexpr std::int64_t kSliceNanoseconds = 50000000;

long futex(std::atomic<std::uint32_t>& word, int operation, std::uint32_t value,
           timespec const* moment) {
    return syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&word),
                   operation | FUTEX_PRIVATE_FLAG, value, moment, nullptr, FUTEX_BITSET_MATCH_ANY);
}

}  // namespace

std::mutex& signal_lock() {
    static std::mutex lock;
    static const bool noted = note_fork_lock(lock, [] { ++generation; });
    static_cast<void>(noted);
    return lock;
}

std::uint32_t fork_generation() { return generation; }

Waiter::~Waiter() {
    if (event_ >= 0) close(event_);
    if (changes_ >= 0) close(changes_);
}

// Either this sees that the sleeper has gone over to files, or the sleeper, who looks behind that,
// sees that it is woken.
void Waiter::wake() {
    woken_ = 1;
    const int event = event_;
    const std::uint64_t once = 1;
    if (event >= 0)
        static_cast<void>(!write(event, &once, sizeof once));
    else
        futex(woken_, FUTEX_WAKE, 1, nullptr);
}

bool Waiter::prepare_event() {
    if (event_ >= 0) return true;
    event_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    files_[kEvent] = {event_, POLLIN, 0};
    files_[kChanges] = {changes_, POLLIN, 0};
    return event_ >= 0;
}

bool Waiter::add_file(int file) {
    if (end_ == kRoom || !prepare_event()) return false;
    files_[end_++] = {file, POLLIN, 0};
    return true;
}

bool Waiter::add_changes(int file) {
    if (!prepare_event()) return false;
    if (changes_ < 0) changes_ = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    files_[kChanges] = {changes_, POLLIN, 0};
    char path[32];
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", file);
    if (changes_ < 0 || inotify_add_watch(changes_, path, IN_MODIFY | IN_CLOSE_WRITE) < 0)
        sliced_ = true;
    return true;
}

void Waiter::forget_files() {
    end_ = kFirstFile;
    if (changes_ >= 0) close(changes_);
    changes_ = -1;
    files_[kChanges] = {-1, 0, 0};
    sliced_ = false;
}

Wake Waiter::sleep(const Deadline& deadline) {
    return event_ >= 0 ? sleep_on_files(deadline) : sleep_on_word(deadline);
}

Wake Waiter::sleep_on_word(const Deadline& deadline) {
    while (woken_.exchange(0) == 0) {
        if (end_is_pending()) return Wake::interrupted;
        const bool out =
            futex(woken_, FUTEX_WAIT_BITSET, 0, deadline.moment()) != 0 && errno == ETIMEDOUT;
        if (out && woken_.exchange(0) == 0) return Wake::timed_out;
        if (out) return Wake::woken;
    }
    return Wake::woken;
}

Wake Waiter::sleep_on_files(const Deadline& deadline) {
    for (;;) {
        if (end_is_pending()) return Wake::interrupted;
        if (woken_.exchange(0) != 0) return Wake::woken;
        std::int64_t left = deadline.never() ? kSliceNanoseconds : deadline.left();
        const bool slice = sliced_ && (deadline.never() || left > kSliceNanoseconds);
        if (slice) left = kSliceNanoseconds;
        const timespec limit{left / 1000000000, left % 1000000000};
        const bool unlimited = deadline.never() && !slice;
        const int ready = ppoll(files_, end_, unlimited ? nullptr : &limit, nullptr);
        if (ready > 0) {
            drain();
            return Wake::woken;
        }
        if (ready == 0) return slice ? Wake::woken : Wake::timed_out;
        if (errno != EINTR) return Wake::timed_out;
    }
}

void Waiter::drain() {
    char bytes[4096];
    woken_ = 0;
    for (const int file : {event_.load(), changes_})
        while (file >= 0 && read(file, bytes, sizeof bytes) > 0) {
        }
}

// The threads that watched in the parent are not in the child.
void SignalObject::forget_other_process() {
    if (generation_ == fork_generation()) return;
    watchers_.clear();
    generation_ = fork_generation();
}

bool SignalObject::watch(Waiter& waiter) {
    const std::lock_guard hold(signal_lock());
    forget_other_process();
    try {
        watchers_.push_back(&waiter);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

void SignalObject::unwatch(Waiter& waiter) {
    const std::lock_guard hold(signal_lock());
    const auto found = std::find(watchers_.begin(), watchers_.end(), &waiter);
    if (found != watchers_.end()) watchers_.erase(found);
}

void SignalObject::wake_watchers() {
    forget_other_process();
    for (Waiter* waiter : watchers_)
        waiter->wake();
}

}  // namespace tarnwillow::platform
