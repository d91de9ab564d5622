// Numbers and blocks of bytes as digits, and back.
#include "tarnwillow/text/hexText.h"

#include <algorithm>
#include <cstring>

#include "tarnwillow/text/plainText.h"
#include "tarnwillow/text/valueConversions.h"

namespace tarnwillow {

using detail::length_of;

namespace {

std::uint8_t const* bytes_of(void const* data) { return static_cast<std::uint8_t const*>(data); }

template <class Char>
void number_to_hex(unsigned long value, int digits, Char* dest) {
    *detail::write_hex(static_cast<std::uint32_t>(value), digits, dest) = 0;
}

char* write_bytes(void const* data, int count, char const* digits, char* dest) {
    for (int i = 0; i < count; ++i)
        dest = detail::write_byte(bytes_of(data)[i], digits, dest);
    return dest;
}

void zero(char* dest, int size) {
    if (size > 0) std::memset(dest, 0, static_cast<std::size_t>(size));
}

char bit_character(std::uint8_t byte, int bit) { return ((byte >> bit) & 1) != 0 ? '1' : '0'; }

// A pair as a scanner would read it behind "0x": it stops at what is no digit.
std::uint8_t read_pair(char const* pair) {
    const std::size_t digits = detail::is_hex_digit(detail::code_of(pair[1])) ? 2 : 1;
    return static_cast<std::uint8_t>(detail::read_hex(pair, digits));
}

}  // namespace

unsigned long HexStringToNum(char const* text) { return detail::read_hex(text, length_of(text)); }
unsigned long HexStringToNum(char16_t const* text) {
    return detail::read_hex(text, length_of(text));
}

void NumToHex(unsigned long value, int digits, char* dest) { number_to_hex(value, digits, dest); }
void NumToHex(unsigned long value, int digits, char16_t* dest) {
    number_to_hex(value, digits, dest);
}

void Generate_Hex_String(unsigned char const* text, char* dest, int size) {
    Generate_Hex_String(reinterpret_cast<char const*>(text), dest, size);
}

void Generate_Hex_String(char const* text, char* dest, int size) {
    zero(dest, size);
    for (int left = size / 2 - 1; left > 0 && *text != 0; --left, ++text)
        dest = detail::write_byte(static_cast<std::uint8_t>(*text), detail::kSmallDigits, dest);
}

void Generate_Hex_String(void const* data, char* dest, int count) {
    write_bytes(data, count, detail::kSmallDigits, dest);
}

void Generate_Ascii_String(unsigned char const* hex, char* dest, int size) {
    Generate_Ascii_String(reinterpret_cast<char const*>(hex), dest, size);
}

void Generate_Ascii_String(char const* hex, char* dest, int size) {
    zero(dest, size);
    for (int i = 0; i < size && hex[0] != 0 && hex[1] != 0; ++i, hex += 2)
        dest[i] = static_cast<char>(detail::read_hex(hex, 2));
}

void ConvertDataToHexString(void const* data, int count, char* dest) {
    *write_bytes(data, count, detail::kCapitalDigits, dest) = 0;
}

bool ConvertHexStringToData(char const* hex, void* dest, int* count) {
    if (hex == nullptr || (dest == nullptr && *hex != 0)) return false;
    auto* out = static_cast<std::uint8_t*>(dest);
    const std::size_t length = length_of(hex);
    for (std::size_t i = 0; i < length; i += 2) {
        if (!detail::is_hex_digit(detail::code_of(hex[i]))) return false;
        *out++ = read_pair(hex + i);
    }
    if (count != nullptr) *count = static_cast<int>(length / 2);
    return true;
}

void ConvertDataReadableString(char const* data, int count, char* dest) {
    for (int i = 0; i < count; ++i)
        *dest++ = static_cast<signed char>(data[i]) < 32 ? '.' : data[i];
    *dest = 0;
}

void Generate_Binary_String(void const* data, int count, char* dest, bool low_bit_first) {
    if (data == nullptr || dest == nullptr) return;
    for (int i = 0; i < count; ++i)
        for (int bit = 0; bit < 8; ++bit)
            *dest++ = bit_character(bytes_of(data)[i], low_bit_first ? bit : 7 - bit);
    *dest = 0;
}

}  // namespace tarnwillow
