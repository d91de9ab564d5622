#include <algorithm>
#include <new>
#include <vector>

#include "tarnwillow/platform/x11Link.h"
#include "tarnwillow/platform/x11Properties.h"
#include "tarnwillow/platform/x11State.h"

namespace tarnwillow::platform::x11 {

namespace {

/// The server's time of the last input to a window, which some programs keep on another one.
std::optional<std::uint32_t> user_time(Connection& connection, xcb_window_t window) {
    const auto other = word_of(connection, window, Name::net_wm_user_time_window);
    return word_of(connection, other.value_or(window), Name::net_wm_user_time);
}

/// Whether `popup`, which lies in front, was active later than `owner`. The server's time wraps
/// around.
bool was_later(std::optional<std::uint32_t> popup, std::optional<std::uint32_t> owner) {
    if (!popup.has_value()) return !owner.has_value();
    return !owner.has_value() || static_cast<std::int32_t>(*popup - *owner) >= 0;
}

/// The visible windows that belong to `owner`, from behind to the front.
std::vector<xcb_window_t> popups_of(Connection& connection, xcb_window_t owner) {
    const Clients clients(connection);
    std::vector<xcb_get_property_cookie_t> cookies;
    for (const xcb_window_t window : clients.windows())
        cookies.push_back(Property::request(connection, window, XCB_ATOM_WM_TRANSIENT_FOR, 1));
    std::vector<xcb_window_t> found;
    for (std::size_t i = 0; i < cookies.size(); ++i)
        if (Property(connection, cookies[i]).word() == owner) found.push_back(clients.windows()[i]);
    std::erase_if(found, [&](xcb_window_t popup) {
        return popup == owner || !state_of(connection, popup).visible();
    });
    return found;
}

xcb_window_t latest(Connection& connection, xcb_window_t owner) {
    const auto active = word_of(connection, connection.root(), Name::net_active_window);
    if (active == owner) return owner;
    const std::vector<xcb_window_t> popups = popups_of(connection, owner);
    if (active.has_value() && std::find(popups.begin(), popups.end(), *active) != popups.end())
        return *active;
    xcb_window_t last = owner;
    auto last_time = user_time(connection, owner);
    for (const xcb_window_t popup : popups) {
        const auto time = user_time(connection, popup);
        if (!was_later(time, last_time)) continue;
        last = popup;
        last_time = time;
    }
    return last;
}

}  // namespace

HWND last_active_popup(HWND handle) {
    const xcb_window_t owner = to_window(handle);
    return ask(HWND{nullptr}, [&](Connection& connection) -> HWND {
        if (!exists(connection, owner)) return nullptr;
        try {
            return to_handle(latest(connection, owner));
        } catch (const std::bad_alloc&) {
            return handle;
        }
    });
}

}  // namespace tarnwillow::platform::x11
