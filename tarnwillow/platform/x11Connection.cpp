#include "tarnwillow/platform/x11Connection.h"

#include <poll.h>
#include <unistd.h>
#include <xcb/randr.h>
#include <xcb/xcbext.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>

namespace tarnwillow::platform::x11 {

namespace {

constexpr char const* kNames[] = {
    "UTF8_STRING",
    "WM_CHANGE_STATE",
    "WM_PROTOCOLS",
    "WM_STATE",
    "_NET_ACTIVE_WINDOW",
    "_NET_CLIENT_LIST",
    "_NET_CLIENT_LIST_STACKING",
    "_NET_CURRENT_DESKTOP",
    "_NET_FRAME_EXTENTS",
    "_NET_MOVERESIZE_WINDOW",
    "_NET_REQUEST_FRAME_EXTENTS",
    "_NET_SUPPORTED",
    "_NET_WM_NAME",
    "_NET_WM_PID",
    "_NET_WM_PING",
    "_NET_WM_STATE",
    "_NET_WM_STATE_HIDDEN",
    "_NET_WM_STATE_MAXIMIZED_HORZ",
    "_NET_WM_STATE_MAXIMIZED_VERT",
    "_NET_WM_STRUT",
    "_NET_WM_STRUT_PARTIAL",
    "_NET_WM_USER_TIME",
    "_NET_WM_USER_TIME_WINDOW",
    "_NET_WORKAREA",
};
static_assert(std::size(kNames) == static_cast<std::size_t>(Name::count));

/// False once the deadline has passed.
bool wait_readable(int descriptor, const Deadline& deadline) {
    const std::int64_t left = deadline.left();
    if (left == 0) return false;
    pollfd wait{descriptor, POLLIN, 0};
    poll(&wait, 1, static_cast<int>(left / 1000000) + 1);
    return true;
}

xcb_screen_t const* screen_of(xcb_connection_t* connection, int number) {
    xcb_screen_iterator_t at = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; at.rem > 1 && number > 0; --number)
        xcb_screen_next(&at);
    return at.rem > 0 ? at.data : nullptr;
}

}  // namespace

std::unique_ptr<Connection> Connection::open(char const* display) {
    int screen = 0;
    xcb_connection_t* const raw = xcb_connect(display, &screen);
    std::unique_ptr<Connection> made(new (std::nothrow) Connection(raw));
    if (made == nullptr) {
        xcb_disconnect(raw);
        return nullptr;
    }
    return made->prepare(screen) ? std::move(made) : nullptr;
}

Connection::~Connection() { xcb_disconnect(raw_); }

void Connection::abandon(std::unique_ptr<Connection> connection) {
    // Ending it in order would shut the socket down under the parent.
    if (connection != nullptr) close(connection->descriptor());
    leave_behind(std::move(connection));
}

bool Connection::prepare(int screen) {
    if (is_broken()) return false;
    screen_ = screen_of(raw_, screen);
    if (screen_ == nullptr) return false;
    own_ = xcb_generate_id(raw_);
    const std::uint32_t events[] = {XCB_EVENT_MASK_PROPERTY_CHANGE};
    xcb_create_window(raw_, 0, own_, root(), -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, events);
    // Its answer is here when those behind it are: then nothing waits for it without a bound.
    xcb_prefetch_extension_data(raw_, &xcb_randr_id);
    if (!find_atoms()) return false;
    find_monitors();
    return !is_broken();
}

bool Connection::find_atoms() {
    xcb_intern_atom_cookie_t cookies[std::size(kNames)];
    for (std::size_t i = 0; i < std::size(kNames); ++i)
        cookies[i] =
            xcb_intern_atom(raw_, 0, static_cast<std::uint16_t>(std::strlen(kNames[i])), kNames[i]);
    for (std::size_t i = 0; i < std::size(kNames); ++i)
        if (const auto answer = reply<xcb_intern_atom_reply_t>(cookies[i]))
            atoms_[i] = answer->atom;
    return std::find(std::begin(atoms_), std::end(atoms_), xcb_atom_t{XCB_ATOM_NONE}) ==
           std::end(atoms_);
}

void Connection::find_monitors() {
    xcb_query_extension_reply_t const* const extension =
        xcb_get_extension_data(raw_, &xcb_randr_id);
    if (extension == nullptr || extension->present == 0) return;
    const auto version =
        reply<xcb_randr_query_version_reply_t>(xcb_randr_query_version(raw_, 1, 5));
    has_monitors_ =
        version != nullptr && (version->major_version > 1 ||
                               (version->major_version == 1 && version->minor_version >= 5));
}

bool Connection::is_stalled() {
    if (owed_ == 0) return false;
    void* late = nullptr;
    xcb_generic_error_t* error = nullptr;
    if (xcb_poll_for_reply(raw_, owed_, &late, &error) == 0) return true;
    const Reply<void> both[] = {Reply<void>(late), Reply<void>(error)};
    owed_ = 0;
    return false;
}

void* Connection::wait_for_reply(unsigned sequence) {
    if (owed_ != 0) {
        xcb_discard_reply(raw_, sequence);
        return nullptr;
    }
    xcb_flush(raw_);
    for (const Deadline deadline(kPatience);;) {
        void* answer = nullptr;
        xcb_generic_error_t* error = nullptr;
        if (xcb_poll_for_reply(raw_, sequence, &answer, &error) != 0) {
            std::free(error);
            return answer;
        }
        if (wait_readable(descriptor(), deadline)) continue;
        owed_ = sequence;
        return nullptr;
    }
}

bool Connection::settle() {
    return reply<xcb_get_input_focus_reply_t>(xcb_get_input_focus(raw_)) != nullptr;
}

bool Connection::confirm(xcb_void_cookie_t checked) {
    if (!settle()) {
        xcb_discard_reply(raw_, checked.sequence);
        return false;
    }
    const Reply<xcb_generic_error_t> error(xcb_request_check(raw_, checked));
    return error == nullptr;
}

bool Connection::send(const Message& message, xcb_window_t to, std::uint32_t mask) {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = message.window;
    event.type = message.type;
    std::memcpy(event.data.data32, message.data, sizeof message.data);
    static_assert(sizeof event == 32, "the request copies 32 bytes");
    return confirm(
        xcb_send_event_checked(raw_, 0, to, mask, reinterpret_cast<char const*>(&event)));
}

bool Connection::send_to_root(const Message& message) {
    return send(message, root(),
                XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT);
}

xcb_timestamp_t Connection::time() {
    time_ = 0;
    xcb_change_property(raw_, XCB_PROP_MODE_APPEND, own_, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, 0,
                        "");
    if (settle()) drain(false);  // the event has come ahead of the reply
    return time_;
}

void Connection::select(xcb_window_t window, std::uint32_t events) {
    if (window == root() && pings_ > 0) events |= XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(raw_, window, XCB_CW_EVENT_MASK, &events);
    xcb_flush(raw_);
}

xcb_timestamp_t Connection::begin_ping() {
    ++pings_;
    select(root(), 0);
    // The server's time of now, or a little later: two pings of a millisecond have two of them.
    const xcb_timestamp_t now = time();
    const bool again = static_cast<std::int32_t>(now - last_ping_) <= 0 && last_ping_ - now < 1000;
    last_ping_ = again ? last_ping_ + 1 : now;
    return last_ping_;
}

void Connection::end_ping() {
    if (pings_ > 0) --pings_;  // none on a connection made anew since
    select(root(), 0);
}

bool Connection::has_answered(xcb_window_t window, xcb_timestamp_t since) const {
    return std::any_of(std::begin(answers_), std::end(answers_), [&](const Answer& answer) {
        return answer.window == window && answer.asked == since;
    });
}

void Connection::drain(bool read) {
    for (;;) {
        const Reply<xcb_generic_event_t> event(read ? xcb_poll_for_event(raw_)
                                                    : xcb_poll_for_queued_event(raw_));
        if (event == nullptr) return;
        note(*event);
    }
}

void Connection::note(const xcb_generic_event_t& event) {
    const int kind = event.response_type & 0x7F;
    if (kind == XCB_PROPERTY_NOTIFY) {
        const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
        if (change.window == own_) time_ = change.time;
    }
    if (kind == XCB_CLIENT_MESSAGE)
        note_answer(reinterpret_cast<const xcb_client_message_event_t&>(event));
}

void Connection::note_answer(const xcb_client_message_event_t& event) {
    if (event.type != atom(Name::wm_protocols) || event.format != 32 ||
        event.data.data32[0] != atom(Name::net_wm_ping))
        return;
    answers_[next_answer_++ % kAnswers] = {event.data.data32[2], event.data.data32[1]};
}

}  // namespace tarnwillow::platform::x11
