#include "tarnwillow/platform/x11State.h"

#include <cstring>

#include "tarnwillow/platform/x11Link.h"
#include "tarnwillow/platform/x11Properties.h"

namespace tarnwillow::platform::x11 {

namespace {

// Values of WM_STATE.
constexpr std::uint32_t kNormalState = 1;
constexpr std::uint32_t kIconicState = 3;

// A request for _NET_WM_STATE, by the person: those of programs some window managers refuse.
constexpr std::uint32_t kRemove = 0;
constexpr std::uint32_t kAdd = 1;
constexpr std::uint32_t kByPerson = 2;

bool is_minimised(Connection& connection, const Property& states, std::uint32_t shown) {
    if (states.contains(connection.atom(Name::net_wm_state_hidden))) return true;
    // A window of another virtual desktop is iconic to some window managers, and not hidden.
    return shown == kIconicState && !manager_supports(connection, Name::net_wm_state_hidden);
}

bool has_state(xcb_window_t window, bool State::*which, bool wanted) {
    return until(window, [&](Connection& connection) {
        const State state = state_of(connection, window);
        return !state.exists || state.*which == wanted;
    });
}

// Asked for again where need be: a window manager that is about to minimise the window does not see
// the first request.
void map(xcb_window_t window) {
    until(window, [&](Connection& connection) {
        const State state = state_of(connection, window);
        if (state.exists && !state.mapped)
            connection.confirm(xcb_map_window_checked(connection.raw(), window));
        // A window manager takes the window into a frame first, which hides it for a moment.
        const bool settled =
            state.managed || state.bare || !manager_supports(connection, Name::net_wm_state);
        return !state.exists || (state.mapped && settled && !state.minimised);
    });
}

/// As the standards have it: the event tells the window manager, also of a window that it has
/// unmapped itself.
void withdraw(xcb_window_t window) {
    ask(false, [&](Connection& connection) {
        xcb_unmap_notify_event_t event{};
        event.response_type = XCB_UNMAP_NOTIFY;
        event.event = connection.root();
        event.window = window;
        char bytes[32] = {};
        std::memcpy(bytes, &event, sizeof event);
        xcb_unmap_window(connection.raw(), window);
        return connection.confirm(xcb_send_event_checked(
            connection.raw(), 0, connection.root(),
            XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT, bytes));
    });
    until(window, [&](Connection& connection) { return !state_of(connection, window).visible(); });
}

/// Without a window manager nothing can be minimised.
void minimise(xcb_window_t window, const State& before) {
    if (!before.visible()) map(window);
    const bool asked = ask(false, [&](Connection& connection) {
        return state_of(connection, window).managed &&
               connection.send_to_root(
                   {window, connection.atom(Name::wm_change_state), {kIconicState, 0, 0, 0, 0}});
    });
    if (asked) has_state(window, &State::minimised, true);
}

void set_maximised(xcb_window_t window, bool wanted) {
    const bool asked = ask(false, [&](Connection& connection) {
        return manager_supports(connection, Name::net_wm_state_maximized_vert) &&
               connection.send_to_root(
                   {window,
                    connection.atom(Name::net_wm_state),
                    {wanted ? kAdd : kRemove, connection.atom(Name::net_wm_state_maximized_horz),
                     connection.atom(Name::net_wm_state_maximized_vert), kByPerson, 0}});
    });
    if (asked) has_state(window, &State::maximised, wanted);
}

void show_normally(xcb_window_t window, const State& before) {
    if (before.minimised || !before.mapped) map(window);
    if (before.maximised) set_maximised(window, false);
}

void show_as(xcb_window_t window, int command, const State& before) {
    switch (command) {
        case SW_HIDE:
            if (before.visible()) withdraw(window);
            break;
        case SW_SHOW:
            if (!before.visible()) map(window);
            break;
        case SW_SHOWMINIMIZED:
        case SW_MINIMIZE:
            if (!before.minimised) minimise(window, before);
            break;
        case SW_SHOWMAXIMIZED:
            if (before.minimised || !before.mapped) map(window);
            if (!before.maximised) set_maximised(window, true);
            break;
        case SW_SHOWNORMAL:
            show_normally(window, before);
            break;
        case SW_RESTORE:  // of a minimised one: to what it was before that
            if (before.minimised)
                map(window);
            else
                show_normally(window, before);
            break;
        default:
            break;
    }
}

/// Without a window manager: what a window manager would do.
bool raise(Connection& connection, xcb_window_t window) {
    const std::uint32_t above[] = {XCB_STACK_MODE_ABOVE};
    xcb_configure_window(connection.raw(), window, XCB_CONFIG_WINDOW_STACK_MODE, above);
    xcb_set_input_focus(connection.raw(), XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
    return connection.settle();
}

HWND focused(Connection& connection) {
    const auto focus =
        connection.reply<xcb_get_input_focus_reply_t>(xcb_get_input_focus(connection.raw()));
    const bool is_any = focus == nullptr || focus->focus == XCB_INPUT_FOCUS_POINTER_ROOT ||
                        focus->focus == connection.root();
    return is_any ? nullptr : to_handle(focus->focus);
}

HWND in_front(Connection& connection) {
    const auto active = word_of(connection, connection.root(), Name::net_active_window);
    return active.has_value() ? to_handle(*active) : focused(connection);
}

}  // namespace

State state_of(Connection& connection, xcb_window_t window) {
    if (window == 0) return {};
    xcb_connection_t* const raw = connection.raw();
    const auto attributes = xcb_get_window_attributes(raw, window);
    const auto shown = Property::request(connection, window, connection.atom(Name::wm_state), 2);
    const auto states =
        Property::request(connection, window, connection.atom(Name::net_wm_state), 64);
    const auto known = connection.reply<xcb_get_window_attributes_reply_t>(attributes);
    const Property shown_property(connection, shown);
    const Property state_property(connection, states);
    if (known == nullptr) return {};
    const std::uint32_t value = shown_property.word().value_or(0);
    State state;
    state.exists = true;
    state.mapped = known->map_state != XCB_MAP_STATE_UNMAPPED;
    state.bare = known->override_redirect != 0;
    state.managed = value == kNormalState || value == kIconicState;
    state.minimised = state.managed && is_minimised(connection, state_property, value);
    state.maximised = state_property.contains(connection.atom(Name::net_wm_state_maximized_horz)) &&
                      state_property.contains(connection.atom(Name::net_wm_state_maximized_vert));
    return state;
}

bool show(HWND handle, int command) {
    const xcb_window_t window = to_window(handle);
    const State before =
        ask(State{}, [&](Connection& connection) { return state_of(connection, window); });
    if (before.exists) show_as(window, command, before);
    return before.visible();
}

void unmaximise(xcb_window_t window) { set_maximised(window, false); }

bool set_foreground(HWND handle) {
    const xcb_window_t window = to_window(handle);
    bool managed = false;
    const bool found = ask(false, [&](Connection& connection) {
        if (!exists(connection, window)) return false;
        managed = manager_supports(connection, Name::net_active_window);
        if (!managed) return raise(connection, window);
        return connection.send_to_root({window,
                                        connection.atom(Name::net_active_window),
                                        {kByPerson, connection.time(), 0, 0, 0}});
    });
    if (found && managed)
        until(window, [&](Connection& connection) {
            return in_front(connection) == handle || !exists(connection, window);
        });
    return found;
}

HWND foreground() {
    return ask(HWND{nullptr}, [](Connection& connection) { return in_front(connection); });
}

}  // namespace tarnwillow::platform::x11
