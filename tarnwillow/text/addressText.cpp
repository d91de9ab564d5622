// IPv4 and MAC addresses as text, and the ring that holds such texts.
#include <charconv>
#include <cstdint>
#include <type_traits>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/wideText.h"
#include "tarnwillow/text/addressRing.h"
#include "tarnwillow/text/hexText.h"
#include "tarnwillow/text/valueConversions.h"

namespace tarnwillow {

namespace detail {

char16_t* AddressRing::take() {
    CAutoSectionLock hold(section, nullptr, nullptr);
    if (next == kEntries) next = 0;
    return entries[next++];
}

AddressRing& address_ring() {
    static AddressRing ring;
    return ring;
}

}  // namespace detail

namespace {

constexpr int kFields = 4;
constexpr std::size_t kFieldLength = 3;

// Reads the field at `at` and moves to the one behind the next dot, or to the end.
template <class Char>
std::uint32_t read_field(Char const*& at) {
    char16_t field[kFieldLength + 1] = {};
    for (std::size_t i = 0; *at != 0 && *at != '.'; ++at, ++i)
        if (i < kFieldLength) field[i] = static_cast<char16_t>(detail::code_of(*at));
    if (*at == '.') ++at;
    return static_cast<std::uint32_t>(wide::to_int(field)) & 0xFF;
}

template <class Char>
std::uint32_t read_address(Char const* text) {
    std::uint32_t address = 0;
    for (int i = 0; i < kFields; ++i)
        address |= read_field(text) << (8 * i);
    return address;
}

template <class Char>
Char* write_decimal(std::uint32_t field, Char* out) {
    char digits[10];
    char const* const end = std::to_chars(digits, digits + sizeof digits, field).ptr;
    for (char const* digit = digits; digit != end; ++digit)
        *out++ = static_cast<Char>(*digit);
    return out;
}

template <class Char>
Char* write_address(unsigned long address, Char* dest) {
    Char* out = dest;
    for (int shift = 24; shift >= 0; shift -= 8) {
        out = write_decimal(static_cast<std::uint32_t>(address >> shift) & 0xFF, out);
        if (shift > 0) *out++ = '.';
    }
    *out = 0;
    return dest;
}

char16_t const* write_mac(unsigned char const* address, char16_t* dest) {
    char16_t* out = dest;
    for (int i = 0; i < 6; ++i) {
        if (i > 0) *out++ = u':';
        out = detail::write_byte(address[i], detail::kCapitalDigits, out);
    }
    *out = 0;
    return dest;
}

}  // namespace

unsigned long AddressToLong(char const* text) { return read_address(text); }
unsigned long AddressToLong(char16_t const* text) { return read_address(text); }
int AddressToInt(char const* text) { return static_cast<int>(read_address(text)); }

char* AddressToStrInt(char const* text, char* dest) {
    constexpr std::size_t kLongest = sizeof "-2147483648";
    *std::to_chars(dest, dest + kLongest, AddressToInt(text)).ptr = 0;
    return dest;
}

char* AddressToString(unsigned long address, char* dest) { return write_address(address, dest); }
char16_t* AddressToString(unsigned long address, char16_t* dest) {
    return write_address(address, dest);
}

char16_t const* IpAddressToString(unsigned long address) {
    return reporting_guard(
        ExceptionLevelHandled, u"IpAddressToString",
        [&]() -> char16_t const* {
            return AddressToString(address, detail::address_ring().take());
        },
        []() -> char16_t const* { return u"INVALID IP Address"; });
}

char16_t const* MacAddressToString(unsigned char const* address) {
    return reporting_guard(
        ExceptionLevelHandled, u"MacAddressToString",
        [&] { return write_mac(not_null(address), detail::address_ring().take()); },
        []() -> char16_t const* { return u"INVALID MAC"; });
}

}  // namespace tarnwillow
