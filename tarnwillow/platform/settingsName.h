// Names as the store keeps them: UTF-8, whatever the width they came in.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tarnwillow/platform/registry.h"

namespace tarnwillow::platform {

/// A caller's text, null taken as empty. What is no Unicode text becomes U+FFFD. May throw
/// std::bad_alloc.
std::string stored_text(char const* text);
std::string stored_text(char16_t const* text);

/// Text, or bytes that stand for it, of any length from one width to the other.
std::string wide_bytes_as_narrow(std::string_view bytes);
std::string narrow_bytes_as_wide(std::string_view bytes);

/// Appends with the ASCII letters folded.
void append_folded(std::string& target, std::string_view text);

/// UTF-16 units of UTF-8 text.
std::size_t unit_count(std::string_view text);

/// Takes the first name off a path of names parted by `\`; empty ones are passed over.
std::string_view take_first_name(std::string_view& path);

/// Whether values of that type are converted between the widths.
constexpr bool is_text_type(std::uint32_t type) {
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

inline constexpr std::size_t kLongestKeyName = 255;
inline constexpr std::size_t kLongestValueName = 16383;

}  // namespace tarnwillow::platform
