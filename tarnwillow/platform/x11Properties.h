// What windows have told about themselves. A stranger's property may hold anything: what has not
// the form that it should have is taken for missing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "tarnwillow/platform/windowTypes.h"
#include "tarnwillow/platform/x11Connection.h"

namespace tarnwillow::platform::x11 {

/// A property's content, of a request that was sent before.
class Property {
public:
    Property(Connection& connection, xcb_get_property_cookie_t cookie)
        : reply_(connection.reply<xcb_get_property_reply_t>(cookie)) {}
    Property(Connection& connection, xcb_window_t window, xcb_atom_t name, std::uint32_t words)
        : Property(connection, request(connection, window, name, words)) {}

    /// At most `words` times four bytes.
    static xcb_get_property_cookie_t request(Connection& connection, xcb_window_t window,
                                             xcb_atom_t name, std::uint32_t words) {
        return xcb_get_property(connection.raw(), 0, window, name, XCB_ATOM_ANY, 0, words);
    }

    xcb_atom_t type() const { return reply_ != nullptr ? reply_->type : xcb_atom_t{0}; }
    std::span<const std::uint32_t> words() const;
    std::optional<std::uint32_t> word() const;  ///< the first one
    bool contains(std::uint32_t word) const;
    std::string_view bytes() const;

private:
    Reply<xcb_get_property_reply_t> reply_;
};

/// The window of a handle; 0 for what cannot be one.
xcb_window_t to_window(HWND window);
HWND to_handle(xcb_window_t window);

/// Whether there is a window of that number: other things of the server have numbers, too.
bool exists(Connection& connection, xcb_window_t window);

/// Whether the window manager, if there is one, says that it supports that.
bool manager_supports(Connection& connection, Name name);

/// The first word of a property; nothing without it.
std::optional<std::uint32_t> word_of(Connection& connection, xcb_window_t window, Name name);

/// The most windows that are looked at.
inline constexpr std::size_t kMostWindows = 1024;

/// The windows of programs, from the one furthest behind to the one in front. Without a window
/// manager these are the children of the root window.
class Clients {
public:
    explicit Clients(Connection& connection);
    std::span<const xcb_window_t> windows() const { return windows_; }

private:
    Property stacked_;
    Reply<xcb_query_tree_reply_t> tree_;
    std::span<const xcb_window_t> windows_;
};

}  // namespace tarnwillow::platform::x11
