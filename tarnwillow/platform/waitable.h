// What a wait needs of the objects it waits for.
//
// A wait takes what it can get at once. Where that is not enough it watches the objects, tries
// again (so that what came in between is seen), and sleeps until one of them wakes it. No object is
// asked by the clock, except a mutex on a system that has no watch to spare for its file.
#pragma once

#include <poll.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "tarnwillow/platform/deadline.h"
#include "tarnwillow/platform/handles.h"

namespace tarnwillow::platform {

/// Guards the states and the watchers of all events and threads of the process, so that one wait
/// can take several of them in one step. Nothing else is locked by who holds it.
std::mutex& signal_lock();

/// Grows with every fork, in the child: tells what the parent's other threads have left behind.
std::uint32_t fork_generation();

/// What came of an attempt to take an object.
enum class Taken { no, yes, abandoned, failed };

/// How a sleep ended. It is interrupted when the thread is to end.
enum class Wake { woken, timed_out, interrupted };

/// One thread's sleep, until an object, a file or the clock ends it.
class Waiter {
public:
    Waiter() = default;
    ~Waiter();
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;

    /// Ends the sleep, also one that is still to come. Any thread, while it may know the waiter.
    void wake();

    /// The file becoming readable ends the sleep too. False if the system has no means left.
    bool add_file(int file);

    /// A change of the file's content, or a user of it going, ends the sleep too. Without means for
    /// that the sleeps are short.
    bool add_changes(int file);

    /// Takes back all that the two above have added.
    void forget_files();

    Wake sleep(const Deadline& deadline);

private:
    // The waiter's own two files come first, behind them those of at most 64 objects and a queue of
    // messages.
    enum : nfds_t { kEvent, kChanges, kFirstFile, kRoom = kFirstFile + 65 };

    bool prepare_event();
    Wake sleep_on_word(const Deadline& deadline);
    Wake sleep_on_files(const Deadline& deadline);
    void drain();

    std::atomic<std::uint32_t> woken_{0};
    std::atomic<int> event_{-1};  // for a sleep that also looks at files
    int changes_ = -1;
    bool sliced_ = false;
    nfds_t end_ = kFirstFile;
    pollfd files_[kRoom];
};

/// A handle's object that can be waited for.
class Waitable : public HandleObject {
public:
    using HandleObject::HandleObject;

    /// Takes the object if that needs no waiting. Called under the signal lock.
    virtual Taken take() = 0;

    /// Undoes a take that counts for nothing, since another object could not be had. Under the
    /// lock.
    virtual void put_back(Taken) {}

    /// From here to `unwatch`, whatever may let a take succeed wakes the waiter. False if the
    /// system has no means left.
    virtual bool watch(Waiter& waiter) = 0;
    virtual void unwatch(Waiter& waiter) = 0;

    /// Called behind a wait that took the object, without the lock.
    virtual void settle() {}
};

/// An object whose state concerns this process alone.
class SignalObject : public Waitable {
public:
    using Waitable::Waitable;
    bool watch(Waiter& waiter) override;
    void unwatch(Waiter& waiter) override;

protected:
    /// Under the lock, behind a change that may let a take succeed.
    void wake_watchers();

private:
    void forget_other_process();

    std::vector<Waiter*> watchers_;
    std::uint32_t generation_ = fork_generation();
};

}  // namespace tarnwillow::platform
