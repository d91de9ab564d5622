// Hexadecimal digits, for both widths.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarnwillow::detail {

inline constexpr char kSmallDigits[] = "0123456789abcdef";
inline constexpr char kCapitalDigits[] = "0123456789ABCDEF";

/// Writes the low `digits` digits of `value`; gives the place behind them.
template <class Char>
Char* write_hex(std::uint32_t value, int digits, Char* dest) {
    for (int i = digits; i-- > 0; value >>= 4)
        dest[i] = static_cast<Char>(kSmallDigits[value & 0xF]);
    return digits > 0 ? dest + digits : dest;
}

/// The two digits of a byte.
template <class Char>
Char* write_byte(std::uint8_t byte, char const* digits, Char* dest) {
    dest[0] = static_cast<Char>(digits[byte >> 4]);
    dest[1] = static_cast<Char>(digits[byte & 0xF]);
    return dest + 2;
}

/// What a character counts in HexStringToNum.
constexpr std::uint32_t digit_value(std::uint32_t code) {
    if (code >= 'a' && code <= 'f') return code - 'a' + 10;
    if (code >= 'A' && code <= 'F') return code - 'A' + 10;
    return code - '0';
}

constexpr bool is_hex_digit(std::uint32_t code) {
    return (code >= '0' && code <= '9') || (code >= 'a' && code <= 'f') ||
           (code >= 'A' && code <= 'F');
}

constexpr std::uint32_t code_of(char c) { return static_cast<unsigned char>(c); }
constexpr std::uint32_t code_of(unsigned char c) { return c; }
constexpr std::uint32_t code_of(char16_t c) { return c; }

/// Exactly `count` characters as one number that wraps.
template <class Char>
std::uint32_t read_hex(Char const* text, std::size_t count) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i)
        value = (value << 4) + digit_value(code_of(text[i]));
    return value;
}

}  // namespace tarnwillow::detail
