#include "tarnwillow/platform/x11Properties.h"

#include <algorithm>

namespace tarnwillow::platform::x11 {

namespace {

/// The server never gives out a number with one of the top three bits.
constexpr std::uintptr_t kMostNumber = 0x1FFFFFFF;

/// Far more than any window manager's list of what it supports.
constexpr std::uint32_t kMostAtoms = 1024;

std::span<const xcb_window_t> children(const Reply<xcb_query_tree_reply_t>& tree) {
    if (tree == nullptr) return {};
    const int count = xcb_query_tree_children_length(tree.get());
    return {xcb_query_tree_children(tree.get()),
            std::min(static_cast<std::size_t>(count), kMostWindows)};
}

}  // namespace

std::span<const std::uint32_t> Property::words() const {
    if (reply_ == nullptr || reply_->format != 32) return {};
    return {static_cast<std::uint32_t const*>(xcb_get_property_value(reply_.get())),
            static_cast<std::size_t>(xcb_get_property_value_length(reply_.get())) / 4};
}

std::optional<std::uint32_t> Property::word() const {
    return words().empty() ? std::nullopt : std::optional(words().front());
}

bool Property::contains(std::uint32_t word) const {
    return std::find(words().begin(), words().end(), word) != words().end();
}

std::string_view Property::bytes() const {
    if (reply_ == nullptr || reply_->format != 8) return {};
    return {static_cast<char const*>(xcb_get_property_value(reply_.get())),
            static_cast<std::size_t>(xcb_get_property_value_length(reply_.get()))};
}

xcb_window_t to_window(HWND window) {
    const auto number = reinterpret_cast<std::uintptr_t>(window);
    return number <= kMostNumber ? static_cast<xcb_window_t>(number) : 0;
}

HWND to_handle(xcb_window_t window) {
    return reinterpret_cast<HWND>(static_cast<std::uintptr_t>(window));
}

bool exists(Connection& connection, xcb_window_t window) {
    return window != 0 && connection.reply<xcb_get_window_attributes_reply_t>(
                              xcb_get_window_attributes(connection.raw(), window)) != nullptr;
}

bool manager_supports(Connection& connection, Name name) {
    return Property(connection, connection.root(), connection.atom(Name::net_supported), kMostAtoms)
        .contains(connection.atom(name));
}

std::optional<std::uint32_t> word_of(Connection& connection, xcb_window_t window, Name name) {
    return Property(connection, window, connection.atom(name), 1).word();
}

Clients::Clients(Connection& connection)
    : stacked_(connection, connection.root(), connection.atom(Name::net_client_list_stacking),
               kMostWindows),
      windows_(stacked_.words()) {
    if (stacked_.type() == XCB_ATOM_WINDOW) return;
    tree_ = connection.reply<xcb_query_tree_reply_t>(
        xcb_query_tree(connection.raw(), connection.root()));
    windows_ = children(tree_);
}

}  // namespace tarnwillow::platform::x11
