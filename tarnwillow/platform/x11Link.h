// This process's one connection to the X server that DISPLAY names. It is made by the first
// question; one that broke is made again by the next question, at most once a second. A forked
// child makes its own.
#pragma once

#include <signal.h>

#include <mutex>
#include <utility>

#include "tarnwillow/platform/x11Connection.h"

namespace tarnwillow::platform::x11 {

/// Whether DISPLAY named a server at the first question of the process.
bool has_display();

/// Ends the connection, and forgets which server it was for. No other thread may be asking.
void leave();

/// Keeps the thread from the signal of a write to a server that is gone.
class NoPipeSignal {
public:
    NoPipeSignal();
    ~NoPipeSignal();
    NoPipeSignal(const NoPipeSignal&) = delete;
    NoPipeSignal& operator=(const NoPipeSignal&) = delete;

private:
    sigset_t before_{};
    bool was_pending_ = false;
};

/// Holds the connection for a scope; false if there is none now.
class Hold {
public:
    Hold();
    ~Hold();
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

    explicit operator bool() const { return connection_ != nullptr; }
    Connection& operator*() const { return *connection_; }

private:
    NoPipeSignal quiet_;
    std::unique_lock<std::mutex> in_process_;
    Connection* connection_ = nullptr;
};

/// `body(connection)`, or `none` without a server. Where the connection turns out to be broken, the
/// body runs once more on the next one.
template <class Result, class Body>
Result ask(Result none, Body body) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        const Hold hold;
        if (!hold) return none;
        Result result = body(*hold);
        if (!(*hold).is_broken()) return result;
    }
    return none;
}

/// Waits, without the connection, until something may have happened. False once the deadline has
/// passed. It may come back early, and looks at least every 50 milliseconds: another thread may
/// have taken the event.
bool wait_for_event(const Deadline& deadline);

/// Has the server tell of such events of a window for a scope.
class Watch {
public:
    Watch(xcb_window_t window, std::uint32_t events);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

private:
    xcb_window_t window_;
};

/// The time that a window manager has to carry out a request.
inline constexpr std::uint32_t kManagerMilliseconds = 500;

/// Waits until `test(connection)` holds, looking again when the window has changed.
template <class Test>
bool until(xcb_window_t window, Test test) {
    const Watch watch(window, XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    const Deadline deadline(kManagerMilliseconds);
    while (!ask(false, test))
        if (!wait_for_event(deadline)) return false;
    return true;
}

}  // namespace tarnwillow::platform::x11
