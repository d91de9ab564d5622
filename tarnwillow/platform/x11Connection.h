// One connection to an X server. Every question is bounded in time, and a server that dies leaves
// answers of nothing behind.
#pragma once

#include <xcb/xcb.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "tarnwillow/platform/deadline.h"

namespace tarnwillow::platform::x11 {

/// The milliseconds that a server has for a reply: as long as nobody takes a program for hung.
inline constexpr std::uint32_t kPatience = 2000;

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};

/// A reply, or null: the server answered with an error, or not at all.
template <class Type>
using Reply = std::unique_ptr<Type, FreeReply>;

/// In a forked child: lets go of what the parent's threads may have held. It stays, and stays
/// reachable.
template <class Type>
void leave_behind(std::unique_ptr<Type> object) {
    static Type* volatile left_behind;
    if (object == nullptr) return;
    left_behind = object.release();
    static_cast<void>(left_behind);
}

/// The names that both sides know by number. In the order of kNames in the source.
enum class Name : std::size_t {
    utf8_string,
    wm_change_state,
    wm_protocols,
    wm_state,
    net_active_window,
    net_client_list,
    net_client_list_stacking,
    net_current_desktop,
    net_frame_extents,
    net_moveresize_window,
    net_request_frame_extents,
    net_supported,
    net_wm_name,
    net_wm_pid,
    net_wm_ping,
    net_wm_state,
    net_wm_state_hidden,
    net_wm_state_maximized_horz,
    net_wm_state_maximized_vert,
    net_wm_strut,
    net_wm_strut_partial,
    net_wm_user_time,
    net_wm_user_time_window,
    net_workarea,
    count,
};

/// What a client message carries.
struct Message {
    xcb_window_t window;
    xcb_atom_t type;
    std::uint32_t data[5];
};

/// For one thread at a time.
class Connection {
public:
    /// Null if that server cannot be reached.
    static std::unique_ptr<Connection> open(char const* display);

    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// In a forked child: lets go of what belongs to the parent, without a word to the server.
    static void abandon(std::unique_ptr<Connection> connection);

    xcb_connection_t* raw() const { return raw_; }
    int descriptor() const { return xcb_get_file_descriptor(raw_); }
    const xcb_screen_t& screen() const { return *screen_; }
    xcb_window_t root() const { return screen_->root; }
    xcb_atom_t atom(Name name) const { return atoms_[static_cast<std::size_t>(name)]; }

    bool is_broken() const { return xcb_connection_has_error(raw_) != 0; }

    /// Whether the server still owes the reply to a question that was given up. It is asked nothing
    /// more until it has given that.
    bool is_stalled();

    /// The reply to a request. Requests may be sent ahead of the first wait.
    template <class Type, class Cookie>
    Reply<Type> reply(Cookie cookie) {
        return Reply<Type>(static_cast<Type*>(wait_for_reply(cookie.sequence)));
    }

    /// Waits until the server has carried out what it was sent. False for an error of the request.
    bool confirm(xcb_void_cookie_t checked);
    bool settle();

    /// To the window manager, as the standards have it.
    bool send_to_root(const Message& message);
    bool send(const Message& message, xcb_window_t to, std::uint32_t mask);

    /// The server's time of now; 0 if it is not to be had.
    xcb_timestamp_t time();

    /// Whether the extension for monitors is there, in the version that lists them.
    bool has_monitors() const { return has_monitors_; }

    /// Has events of a window told from now on, instead of those before; 0 for none.
    void select(xcb_window_t window, std::uint32_t events);

    // Pings. While one is out, what the root window's children do is told to this connection.

    /// Gives what tells this ping from all before.
    xcb_timestamp_t begin_ping();
    void end_ping();
    bool has_answered(xcb_window_t window, xcb_timestamp_t since) const;

    /// Takes the events that have come, `read` also those that are still on their way.
    void drain(bool read);

private:
    explicit Connection(xcb_connection_t* raw) : raw_(raw) {}

    bool prepare(int screen);
    bool find_atoms();
    void find_monitors();
    void* wait_for_reply(unsigned sequence);
    void note(const xcb_generic_event_t& event);
    void note_answer(const xcb_client_message_event_t& event);

    struct Answer {
        xcb_window_t window;
        xcb_timestamp_t asked;
    };
    static constexpr std::size_t kAnswers = 32;

    xcb_connection_t* raw_;
    xcb_screen_t const* screen_ = nullptr;
    xcb_atom_t atoms_[static_cast<std::size_t>(Name::count)] = {};
    xcb_window_t own_ = 0;  // never shown: its events tell the server's time
    xcb_timestamp_t time_ = 0;
    bool has_monitors_ = false;
    unsigned owed_ = 0;  // the question that is owed a reply, or 0
    int pings_ = 0;
    xcb_timestamp_t last_ping_ = 0;
    Answer answers_[kAnswers] = {};  // the last ones, in turn
    std::size_t next_answer_ = 0;
};

}  // namespace tarnwillow::platform::x11
