// GUIDs as text.
#include <algorithm>

#include "tarnwillow/text/CAutoAnsiString.h"
#include "tarnwillow/text/hexText.h"
#include "tarnwillow/text/plainText.h"
#include "tarnwillow/text/valueConversions.h"

namespace tarnwillow {

namespace {

constexpr std::size_t kPlainLength = 36;
constexpr std::size_t kBracedLength = 38;
constexpr std::size_t kDigits = 32;
constexpr std::size_t kDashes[] = {8, 13, 18, 23};

template <class Char>
Char* write_plain(GUID const& guid, Char* out) {
    out = detail::write_hex(guid.Data1, 8, out);
    *out++ = '-';
    out = detail::write_hex(guid.Data2, 4, out);
    *out++ = '-';
    out = detail::write_hex(guid.Data3, 4, out);
    *out++ = '-';
    for (int i = 0; i < 8; ++i) {
        if (i == 2) *out++ = '-';
        out = detail::write_byte(guid.Data4[i], detail::kSmallDigits, out);
    }
    return out;
}

template <class Char>
void write_guid(GUID const& guid, Char* out, bool plain) {
    if (!plain) *out++ = '{';
    out = write_plain(guid, out);
    if (!plain) *out++ = '}';
    *out = 0;
}

// Copies what stands neither at the place of a dash nor, in a braced text, is a brace; gives how
// many of the 32 digits that gave.
std::size_t collect_digits(char const* text, bool braced, char* digits) {
    std::size_t place = 0;
    std::size_t count = 0;
    for (; *text != 0 && count < kDigits; ++text) {
        if (braced && (*text == '{' || *text == '}')) continue;
        const bool dash =
            std::find(std::begin(kDashes), std::end(kDashes), place++) != std::end(kDashes);
        if (!dash) digits[count++] = *text;
    }
    return count;
}

GUID read_digits(char const* digits) {
    GUID guid{};
    guid.Data1 = detail::read_hex(digits, 8);
    guid.Data2 = static_cast<std::uint16_t>(detail::read_hex(digits + 8, 4));
    guid.Data3 = static_cast<std::uint16_t>(detail::read_hex(digits + 12, 4));
    for (std::size_t i = 0; i < 8; ++i)
        guid.Data4[i] = static_cast<std::uint8_t>(detail::read_hex(digits + 16 + 2 * i, 2));
    return guid;
}

}  // namespace

void GUIDToString(_GUID const* guid, char* dest, bool plain) { write_guid(*guid, dest, plain); }
void GUIDToString(_GUID const* guid, char16_t* dest, bool plain) { write_guid(*guid, dest, plain); }

void StringToGUID(char const* text, _GUID* guid) {
    *guid = GUID{};
    const std::size_t length = text != nullptr ? detail::length_of(text) : 0;
    if (length != kPlainLength && length != kBracedLength) return;
    char digits[kDigits];
    if (collect_digits(text, length == kBracedLength, digits) == kDigits)
        *guid = read_digits(digits);
}

void StringToGUID(char16_t const* text, _GUID* guid) {
    *guid = GUID{};
    try {
        const CAutoAnsiString narrow(text);
        StringToGUID(static_cast<char const*>(narrow), guid);
    } catch (long) {  // no text of a GUID has characters beyond ASCII
    }
}

}  // namespace tarnwillow
