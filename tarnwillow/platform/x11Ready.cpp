// Whether a window's program takes part in the desktop: it answers a ping once it gets to its
// messages.
#include <unistd.h>

#include <algorithm>
#include <limits>

#include "tarnwillow/platform/x11Link.h"
#include "tarnwillow/platform/x11Properties.h"
#include "tarnwillow/platform/x11State.h"

namespace tarnwillow::platform::x11 {

namespace {

enum class Ready { no, yes, unknown };

/// What can be told at once. A program that asks about its own window cannot answer at the same
/// time, and need not.
Ready look(Connection& connection, xcb_window_t window) {
    if (!exists(connection, window)) return Ready::no;
    const auto process = word_of(connection, window, Name::net_wm_pid);
    if (process == static_cast<std::uint32_t>(getpid())) return Ready::yes;
    const bool answers = Property(connection, window, connection.atom(Name::wm_protocols), 64)
                             .contains(connection.atom(Name::net_wm_ping));
    if (answers) return Ready::unknown;
    // It may have gone meanwhile, and its properties with it.
    return exists(connection, window) ? Ready::yes : Ready::no;
}

/// One ping, and what has become of it.
class Ping {
public:
    explicit Ping(xcb_window_t window) : window_(window) {
        ask(false, [&](Connection& connection) {
            time_ = connection.begin_ping();
            return connection.send({window_,
                                    connection.atom(Name::wm_protocols),
                                    {connection.atom(Name::net_wm_ping), time_, window_, 0, 0}},
                                   window_, 0);
        });
    }
    ~Ping() {
        const Hold hold;
        if (hold) (*hold).end_ping();
    }
    Ping(const Ping&) = delete;
    Ping& operator=(const Ping&) = delete;

    Ready state() const {
        return ask(Ready::no, [&](Connection& connection) {
            if (connection.has_answered(window_, time_)) return Ready::yes;
            return exists(connection, window_) ? Ready::unknown : Ready::no;
        });
    }

private:
    xcb_window_t window_;
    xcb_timestamp_t time_ = 0;
};

}  // namespace

bool wait_until_ready(HWND handle, std::uint32_t milliseconds) {
    const xcb_window_t window = to_window(handle);
    Ready ready = ask(Ready::no, [&](Connection& connection) { return look(connection, window); });
    if (ready != Ready::unknown) return ready == Ready::yes;
    const Ping ping(window);
    // A month stands for ever: more does not fit the clock's nanoseconds of a wait.
    const Deadline deadline(std::min(milliseconds, std::uint32_t{0x7FFFFFFF}));
    while ((ready = ping.state()) == Ready::unknown)
        if (!wait_for_event(deadline)) return false;
    return ready == Ready::yes;
}

}  // namespace tarnwillow::platform::x11
