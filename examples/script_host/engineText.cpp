#include "engineText.h"

#include <cstdint>
#include <new>

namespace tarnwillow::script {

namespace {

constexpr char16_t kReplacement = 0xFFFD;

char byte(unsigned value) { return static_cast<char>(static_cast<unsigned char>(value)); }

void append_unit(std::string& out, char16_t unit, Zero zero) {
    if (unit < 0x80 && (unit != 0 || zero == Zero::kPlain)) {
        out += byte(unit);
    } else if (unit < 0x800) {
        out += byte(0xC0U | (unit >> 6));
        out += byte(0x80U | (unit & 0x3FU));
    } else {
        out += byte(0xE0U | (unit >> 12));
        out += byte(0x80U | ((unit >> 6) & 0x3FU));
        out += byte(0x80U | (unit & 0x3FU));
    }
}

/// One character; `length` 0 if the bytes are none.
struct Character {
    std::uint32_t code;
    std::size_t length;
};

std::size_t length_by_first(unsigned char first) {
    if (first < 0x80) return 1;
    if (first >= 0xC0 && first < 0xE0) return 2;
    if (first >= 0xE0 && first < 0xF0) return 3;
    return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

Character read_character(std::string_view text) {
    constexpr std::uint32_t kFirstBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    const auto first = static_cast<unsigned char>(text[0]);
    const std::size_t length = length_by_first(first);
    if (length == 0 || length > text.size()) return {0, 0};
    std::uint32_t code = first & kFirstBits[length];
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[i]);
        if ((next & 0xC0U) != 0x80) return {0, 0};
        code = (code << 6) | (next & 0x3FU);
    }
    return {code, code <= 0x10FFFF ? length : 0};
}

// Every character has at least as many bytes as units.
std::uint32_t decode(std::string_view text, char16_t* out) {
    char16_t* const start = out;
    while (!text.empty()) {
        const Character c = read_character(text);
        if (c.code > 0xFFFF) {
            *out++ = static_cast<char16_t>(0xD7C0 + (c.code >> 10));
            *out++ = static_cast<char16_t>(0xDC00 + (c.code & 0x3FFU));
        } else {
            *out++ = c.length != 0 ? static_cast<char16_t>(c.code) : kReplacement;
        }
        text.remove_prefix(c.length != 0 ? c.length : 1);
    }
    return static_cast<std::uint32_t>(out - start);
}

}  // namespace

std::string to_engine_text(std::u16string_view text, Zero zero) {
    std::string out;
    out.reserve(text.size());
    for (const char16_t unit : text)
        append_unit(out, unit, zero);
    return out;
}

std::string const* TextRoom::convert(BSTR text, Zero zero) try {
    text_ = to_engine_text({text, SysStringLen(text)}, zero);
    return &text_;
} catch (const std::bad_alloc&) {
    return nullptr;
}

BSTR from_engine_text(std::string_view text) {
    if (text.size() > 0x3FFFFFFF) return nullptr;
    const BSTR room = SysAllocStringLen(nullptr, static_cast<std::uint32_t>(text.size()));
    if (room == nullptr) return nullptr;
    const std::uint32_t length = decode(text, room);
    if (length == text.size()) return room;
    const BSTR exact = SysAllocStringLen(room, length);
    SysFreeString(room);
    return exact;
}

}  // namespace tarnwillow::script
