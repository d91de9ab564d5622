#include "tarnwillow/platform/x11Texts.h"

#include <algorithm>
#include <cstring>

#include "tarnwillow/platform/x11Properties.h"

namespace tarnwillow::platform::x11 {

namespace {

/// What a request has room for on every server.
constexpr std::size_t kMostTitle = 65536;

std::size_t copy_utf8(std::string_view text, char* dest, std::size_t size) {
    const std::size_t count = std::min(text.size(), size - 1);
    std::memcpy(dest, text.data(), count);
    dest[count] = 0;
    return count;
}

/// Latin-1, as the older property has it.
std::size_t copy_latin(std::string_view text, char* dest, std::size_t size) {
    std::size_t at = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const std::size_t length = byte < 0x80 ? 1 : 2;
        if (at + length >= size) break;
        if (length == 2) dest[at++] = static_cast<char>(0xC0 | byte >> 6);
        dest[at++] = length == 1 ? c : static_cast<char>(0x80 | (byte & 0x3F));
    }
    dest[at] = 0;
    return at;
}

/// A text ends at its first zero byte, which some programs count in.
std::string_view up_to_end(std::string_view text) { return text.substr(0, text.find('\0')); }

}  // namespace

std::size_t title_of(Connection& connection, xcb_window_t window, char* dest, std::size_t size) {
    const auto words = static_cast<std::uint32_t>(std::min(size, kMostTitle) / 4 + 1);
    const auto newer =
        Property::request(connection, window, connection.atom(Name::net_wm_name), words);
    const auto older = Property::request(connection, window, XCB_ATOM_WM_NAME, words);
    const Property full(connection, newer);
    const Property plain(connection, older);
    const xcb_atom_t utf8 = connection.atom(Name::utf8_string);
    if (full.type() == utf8) return copy_utf8(up_to_end(full.bytes()), dest, size);
    if (plain.type() == utf8) return copy_utf8(up_to_end(plain.bytes()), dest, size);
    return copy_latin(up_to_end(plain.bytes()), dest, size);
}

bool give_title(Connection& connection, xcb_window_t window, char const* title) {
    const auto length = static_cast<std::uint32_t>(strnlen(title, kMostTitle));
    const xcb_atom_t utf8 = connection.atom(Name::utf8_string);
    const xcb_atom_t both[] = {XCB_ATOM_WM_NAME, connection.atom(Name::net_wm_name)};
    bool done = window != 0;
    for (const xcb_atom_t name : both)
        done = done &&
               connection.confirm(xcb_change_property_checked(
                   connection.raw(), XCB_PROP_MODE_REPLACE, window, name, utf8, 8, length, title));
    return done;
}

}  // namespace tarnwillow::platform::x11
