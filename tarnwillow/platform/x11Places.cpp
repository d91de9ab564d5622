#include "tarnwillow/platform/x11Places.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>

#include "tarnwillow/platform/coordinates.h"
#include "tarnwillow/platform/x11Link.h"
#include "tarnwillow/platform/x11Monitors.h"
#include "tarnwillow/platform/x11Properties.h"
#include "tarnwillow/platform/x11State.h"

namespace tarnwillow::platform::x11 {

namespace {

struct Frame {
    std::int32_t left = 0;
    std::int32_t right = 0;
    std::int32_t top = 0;
    std::int32_t bottom = 0;

    bool operator==(const Frame&) const = default;
};

/// A window's own rectangle on the screen, and what stands around it.
struct Place {
    RECT inner;
    Frame frame;

    RECT outer() const {
        return {difference(inner.left, frame.left), difference(inner.top, frame.top),
                sum(inner.right, frame.right), sum(inner.bottom, frame.bottom)};
    }
};

bool equal(const RECT& one, const RECT& other) {
    return one.left == other.left && one.top == other.top && one.right == other.right &&
           one.bottom == other.bottom;
}

/// No frame is thicker: a stranger's numbers are not added to anything.
constexpr std::uint32_t kThickest = 1024;

std::optional<Frame> frame_property(Connection& connection, xcb_window_t window) {
    const Property property(connection, window, connection.atom(Name::net_frame_extents), 4);
    const auto words = property.words();
    if (words.size() < 4) return std::nullopt;
    const auto side = [&](std::size_t i) {
        return static_cast<std::int32_t>(words[i] <= kThickest ? words[i] : 0);
    };
    return Frame{side(0), side(1), side(2), side(3)};
}

/// Where no window manager has put a frame there may be a border.
Frame frame_of(Connection& connection, xcb_window_t window, std::int32_t border) {
    return frame_property(connection, window).value_or(Frame{border, border, border, border});
}

std::optional<Place> place_of(Connection& connection, xcb_window_t window) {
    xcb_connection_t* const raw = connection.raw();
    if (window == 0) return std::nullopt;
    const auto asked = xcb_get_geometry(raw, window);
    const auto at = xcb_translate_coordinates(raw, window, connection.root(), 0, 0);
    const auto size = connection.reply<xcb_get_geometry_reply_t>(asked);
    const auto corner = connection.reply<xcb_translate_coordinates_reply_t>(at);
    if (size == nullptr || corner == nullptr) return std::nullopt;
    Place place{
        {corner->dst_x, corner->dst_y, corner->dst_x + size->width, corner->dst_y + size->height},
        frame_of(connection, window, size->border_width)};
    // The place of a window that is not shown yet is that of its frame to come.
    const State state = state_of(connection, window);
    if (!state.visible() && !state.bare && size->border_width == 0) {
        place.inner.left += place.frame.left;
        place.inner.right += place.frame.left;
        place.inner.top += place.frame.top;
        place.inner.bottom += place.frame.top;
    }
    return place;
}

std::optional<Place> place_of(HWND handle) {
    return ask(std::optional<Place>(), [&](Connection& connection) {
        const xcb_window_t window = to_window(handle);
        if (window != connection.root()) return place_of(connection, window);
        return std::optional(Place{primary_monitor(connection), {}});
    });
}

std::uint32_t size_for(std::int32_t outer, std::int32_t one, std::int32_t other) {
    const std::int64_t size = std::int64_t{outer} - one - other;
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(size, 1, 32767));
}

/// What the server can hold.
std::int32_t position(std::int32_t value) { return std::clamp(value, -32768, 32767); }

/// The window manager lets a window have its place only if that says that the person has chosen it.
void claim_place(Connection& connection, xcb_window_t window) {
    constexpr std::uint32_t kWords = 18;
    constexpr std::uint32_t kUserPosition = 1, kUserSize = 2;
    std::uint32_t hints[kWords] = {};
    const Property before(connection, window, XCB_ATOM_WM_NORMAL_HINTS, kWords);
    const auto words = before.words();
    std::copy(words.begin(), words.end(), hints);
    hints[0] |= kUserPosition | kUserSize;
    xcb_change_property(connection.raw(), XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NORMAL_HINTS,
                        XCB_ATOM_WM_SIZE_HINTS, 32, kWords, hints);
}

/// Asks the window manager how thick the frame of a window will be that is not shown yet.
void expect_frame(xcb_window_t window) {
    const bool asked = ask(false, [&](Connection& connection) {
        const Name request = Name::net_request_frame_extents;
        return !frame_property(connection, window).has_value() &&
               manager_supports(connection, request) &&
               connection.send_to_root({window, connection.atom(request), {}});
    });
    if (asked)
        until(window, [&](Connection& connection) {
            return frame_property(connection, window).has_value() || !exists(connection, window);
        });
}

/// To the window manager: the place of the frame, and the size of what is in it.
bool request_place(Connection& connection, xcb_window_t window, const std::uint32_t (&place)[4]) {
    constexpr std::uint32_t kAllFour = 0xF00, kByPerson = 2U << 12;
    return connection.send_to_root(
        {window,
         connection.atom(Name::net_moveresize_window),
         {XCB_GRAVITY_NORTH_WEST | kAllFour | kByPerson, place[0], place[1], place[2], place[3]}});
}

bool configure(Connection& connection, xcb_window_t window, const std::uint32_t (&place)[4]) {
    constexpr std::uint16_t kAllFour = XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y |
                                       XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT;
    return connection.confirm(
        xcb_configure_window_checked(connection.raw(), window, kAllFour, place));
}

/// What became of a window that was to have a place.
enum class Moved { gone, asked, yes };

/// Asks for the place, given the frame that the window has now; `*frame` is that.
Moved ask_for_place(Connection& connection, xcb_window_t window, const RECT& place, Frame* frame) {
    const auto now = place_of(connection, window);
    if (!now.has_value()) return Moved::gone;
    const State state = state_of(connection, window);
    *frame = now->frame;
    if (equal(now->outer(), place) && state.visible()) return Moved::yes;
    const std::uint32_t request[] = {static_cast<std::uint32_t>(position(place.left)),
                                     static_cast<std::uint32_t>(position(place.top)),
                                     size_for(width_of(place), frame->left, frame->right),
                                     size_for(height_of(place), frame->top, frame->bottom)};
    if (state.managed && manager_supports(connection, Name::net_moveresize_window))
        return request_place(connection, window, request) ? Moved::asked : Moved::gone;
    if (!state.visible()) claim_place(connection, window);
    return configure(connection, window, request) ? Moved::asked : Moved::gone;
}

/// Whether the window has the place, or will not have it: false if its frame has changed since, so
/// that it has to be asked for anew.
bool wait_for_place(xcb_window_t window, const RECT& place, const Frame& frame) {
    bool reframed = false;
    until(window, [&](Connection& connection) {
        const auto now = place_of(connection, window);
        reframed = now.has_value() && now->frame != frame;
        return !now.has_value() || reframed || equal(now->outer(), place);
    });
    return !reframed;
}

std::uint32_t show_command(const State& state) {
    if (state.minimised) return SW_SHOWMINIMIZED;
    return state.maximised ? SW_SHOWMAXIMIZED : SW_SHOWNORMAL;
}

State state_of(HWND handle) {
    return ask(State{},
               [&](Connection& connection) { return state_of(connection, to_window(handle)); });
}

}  // namespace

bool rectangle(HWND handle, RECT* out) {
    const auto place = place_of(handle);
    if (place.has_value()) *out = place->outer();
    return place.has_value();
}

bool client_area(HWND handle, RECT* out) {
    const auto place = place_of(handle);
    if (place.has_value()) *out = place->inner;
    return place.has_value();
}

bool move(HWND handle, const RECT& place) {
    const xcb_window_t window = to_window(handle);
    const State state = state_of(handle);
    if (!state.exists) return false;
    if (state.maximised) unmaximise(window);
    if (!state.visible() && !state.bare) expect_frame(window);
    // A window that has just been shown or is no longer maximised gets another frame meanwhile.
    constexpr int kAttempts = 4;
    Moved moved = Moved::gone;
    Frame frame;
    for (int i = 0; i < kAttempts; ++i) {
        moved = ask(Moved::gone, [&](Connection& connection) {
            return ask_for_place(connection, window, place, &frame);
        });
        if (moved != Moved::asked || wait_for_place(window, place, frame)) break;
    }
    return moved != Moved::gone;
}

bool placement(HWND handle, WINDOWPLACEMENT* out) {
    RECT normal{};
    const State state = state_of(handle);
    if (!state.exists || !rectangle(handle, &normal)) return false;
    constexpr POINT kAnywhere{-1, -1};
    *out = {out->length, 0, show_command(state), kAnywhere, kAnywhere, normal};
    return true;
}

bool set_placement(HWND handle, const WINDOWPLACEMENT& placement) {
    const State before = state_of(handle);
    // What is minimised or maximised takes its normal place first.
    if (!move(handle, placement.rcNormalPosition)) return false;
    const auto command = static_cast<int>(placement.showCmd);
    const bool stays = command == SW_SHOW && (before.minimised || before.maximised);
    show(handle, stays ? SW_SHOWNORMAL : command);
    // A window manager may have put a window elsewhere when it showed it.
    const bool normal = command == SW_SHOW || command == SW_SHOWNORMAL || command == SW_RESTORE;
    return !normal || move(handle, placement.rcNormalPosition);
}

}  // namespace tarnwillow::platform::x11
