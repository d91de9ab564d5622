#include "tarnwillow/text/encoders.h"

#include <bit>
#include <cstdint>
#include <cstring>

#include "tarnwillow/platform/byteBlock.h"
#include "tarnwillow/platform/wideText.h"
#include "tarnwillow/text/scratchRing.h"

namespace tarnwillow {

namespace {

using Block = platform::ByteBlock;

/// Units of `text` that are looked at.
constexpr std::size_t kXmlLimit = 1023;

std::size_t length_within(char const* text, std::size_t limit) {
    return text != nullptr ? strnlen(text, limit) : 0;
}

std::size_t length_within(char16_t const* text, std::size_t limit) {
    return text != nullptr ? wide::bounded_length(text, limit) : 0;
}

/// Whether a text that ends in front of `unit` ends inside a character.
bool continues(char unit) { return (static_cast<unsigned char>(unit) & 0xC0) == 0x80; }
bool continues(char16_t unit) { return wide::is_low_surrogate(unit); }

/// Whether `unit` is the first of several that make up one character.
bool begins(char unit) { return static_cast<unsigned char>(unit) >= 0xC0; }
bool begins(char16_t unit) { return wide::is_high_surrogate(unit); }

/// The most units of a character behind its first.
template <class Char>
constexpr int kMostContinuations = sizeof(Char) == 1 ? 3 : 1;

/// Where to end a text that `next` would go on with: in front of the character that it continues.
template <class Char>
Char* whole_end(Char* begin, Char* end, Char next) {
    if (!continues(next)) return end;
    Char* at = end;
    for (int left = kMostContinuations<Char>; left > 0 && at != begin; --left) {
        --at;
        if (begins(*at)) return at;
        if (!continues(*at)) return end;
    }
    return end;
}

/// A slot that is being filled from a text of known length.
template <class Char>
struct Encoding {
    Char const* at;
    Char const* end;
    Char* out;
    Char* last;  // the slot's last unit, which is the terminator's

    std::size_t left() const { return static_cast<std::size_t>(end - at); }
    std::size_t room() const { return static_cast<std::size_t>(last - out); }
};

/// What is written for a unit; null for the unit itself.
struct Entity {
    char text[8];
    std::size_t length;
};

Entity const* entity_for(std::uint32_t unit) {
    static constexpr Entity kQuote{"&quot;", 6};
    static constexpr Entity kAmpersand{"&amp;", 5};
    static constexpr Entity kLess{"&lt;", 4};
    static constexpr Entity kGreater{"&gt;", 4};
    switch (unit) {
        case '"':
            return &kQuote;
        case '&':
            return &kAmpersand;
        case '<':
            return &kLess;
        case '>':
            return &kGreater;
        default:
            return nullptr;
    }
}

/// Units at the front of a block that are written as they are.
template <class Char>
std::size_t plain_units(Char const* block) {
    const auto units = Block::load(block);
    const auto is = [&](Char unit) { return Block::equal<Char>(units, Block::fill(unit)); };
    const auto reserved = is('"') | is('&') | is('<') | is('>');
    return static_cast<std::size_t>(std::countr_zero(reserved.mask() | 0x10000U)) / sizeof(Char);
}

/// Writes one unit or its entity; false if that does not fit.
template <class Char>
bool write_escaped(Encoding<Char>& e) {
    Entity const* const entity = entity_for(*e.at);
    const std::size_t units = entity != nullptr ? entity->length : 1;
    if (units > e.room()) return false;
    if (entity == nullptr) {
        *e.out++ = *e.at++;
        return true;
    }
    for (std::size_t i = 0; i < units; ++i)
        e.out[i] = static_cast<Char>(entity->text[i]);
    e.out += units;
    ++e.at;
    return true;
}

/// Copies whole blocks, and takes of each what is plain.
template <class Char>
bool copy_plain(Encoding<Char>& e) {
    constexpr std::size_t kLane = 16 / sizeof(Char);
    while (e.left() >= kLane && e.room() >= kLane) {
        std::memcpy(e.out, e.at, kLane * sizeof(Char));
        const std::size_t plain = plain_units(e.at);
        e.at += plain;
        e.out += plain;
        if (plain != kLane) return true;
    }
    return e.left() > 0;
}

template <class Char>
void escape(Encoding<Char>& e) {
    while (copy_plain(e) && write_escaped(e)) {
    }
}

template <class Char>
void join_separators(Encoding<Char>& e) {
    for (; e.left() > 0 && e.room() > 0; ++e.out) {
        const bool separator = *e.at == '\\';
        const bool twice = separator && e.left() > 1 && e.at[1] == '\\';
        *e.out = separator ? Char{'/'} : *e.at;
        e.at += twice ? 2 : 1;
    }
}

/// The filled slot. The text may be read at its end: there stands its terminator, or what a limit
/// leaves away.
template <class Char, class Fill>
Char const* encode(Char const* text, std::size_t limit, Fill fill) {
    auto* const slot = static_cast<Char*>(detail::scratch_ring().take());
    constexpr std::size_t kUnits = detail::ScratchRing::kSlotSize / sizeof(Char);
    Encoding<Char> e{text, text + length_within(text, limit), slot, slot + kUnits - 1};
    fill(e);
    if (text != nullptr) e.out = whole_end(slot, e.out, *e.at);
    *e.out = 0;
    return slot;
}

}  // namespace

char16_t const* Encode_For_XML(char16_t const* text) {
    return encode(text, kXmlLimit, escape<char16_t>);
}

char const* Encode_For_XML(char const* text) { return encode(text, kXmlLimit, escape<char>); }

char const* Encode_Path(char const* text) {
    // A slot takes at most two source units for each of its own.
    return encode(text, 2 * detail::ScratchRing::kSlotSize, join_separators<char>);
}

}  // namespace tarnwillow
