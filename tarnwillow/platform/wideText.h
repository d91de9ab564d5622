// The runtime functions for terminated UTF-16 text, in one place. Case functions fold the ASCII
// letters only, whatever the locale.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tarnwillow::wide {

/// ASCII folding of one unit.
constexpr char16_t to_lower(char16_t c) {
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c;
}
constexpr char16_t to_upper(char16_t c) {
    return c >= u'a' && c <= u'z' ? static_cast<char16_t>(c - 32) : c;
}

/// Space, tab, carriage return and line feed.
constexpr bool is_space(char16_t c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n'; }

/// The halves of a character beyond the first 65,536.
constexpr bool is_high_surrogate(char16_t c) { return c >= 0xD800 && c <= 0xDBFF; }
constexpr bool is_low_surrogate(char16_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

/// Without the white space at both ends.
constexpr std::u16string_view trimmed(std::u16string_view text) {
    while (!text.empty() && is_space(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && is_space(text.back()))
        text.remove_suffix(1);
    return text;
}

/// Units in front of the terminator.
std::size_t length(char16_t const* text);

/// The same, but never looks at more than `limit` units.
std::size_t bounded_length(char16_t const* text, std::size_t limit);

/// Negative, 0 or positive, by unit value.
int compare(char16_t const* a, char16_t const* b);
int compare_no_case(char16_t const* a, char16_t const* b);
int compare_no_case(char16_t const* a, char16_t const* b, std::size_t limit);

/// First occurrence of a unit or of a text, or null. The terminator is not found as a unit.
char16_t* find(char16_t const* text, char16_t c);
char16_t* find(char16_t const* text, char16_t const* what);

/// Copies at most `size` - 1 units and terminates; gives the units copied. Size 0 stores nothing.
std::size_t copy(char16_t* dest, std::size_t size, char16_t const* source);

/// Appends to the terminated text in `dest`, cut at `size` - 1 units; gives the new length.
std::size_t append(char16_t* dest, std::size_t size, char16_t const* source);

/// White space, a sign, decimal digits; stops at the first other unit. Saturates at 32 bits.
std::int32_t to_int(char16_t const* text);

}  // namespace tarnwillow::wide
