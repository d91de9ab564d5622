#include "tarnwillow/platform/codepage.h"

#include <algorithm>
#include <bit>

#include "tarnwillow/platform/textBlocks.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow::platform {

namespace {

constexpr std::uint32_t kInvalid = 0xFFFFFFFF;

struct Decoded {
    std::uint32_t code_point;  // kInvalid for a broken stretch
    std::size_t length;        // units taken, at least 1
};

bool is_continuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// The second byte's range excludes overlong forms, surrogates and what lies above U+10FFFF.
bool second_byte_fits(unsigned char first, unsigned char second) {
    switch (first) {
        case 0xE0:
            return second >= 0xA0 && second <= 0xBF;
        case 0xED:
            return second >= 0x80 && second <= 0x9F;
        case 0xF0:
            return second >= 0x90 && second <= 0xBF;
        case 0xF4:
            return second >= 0x80 && second <= 0x8F;
        default:
            return second >= 0x80 && second <= 0xBF;
    }
}

std::size_t sequence_length(unsigned char first) {
    if (first >= 0xC2 && first <= 0xDF) return 2;
    if (first >= 0xE0 && first <= 0xEF) return 3;
    if (first >= 0xF0 && first <= 0xF4) return 4;
    return 1;
}

Decoded decode_narrow(const char* source, std::size_t length) {
    const auto first = static_cast<unsigned char>(source[0]);
    if (first < 0x80) return {first, 1};
    const std::size_t wanted = sequence_length(first);
    if (wanted == 1 || length < 2 ||
        !second_byte_fits(first, static_cast<unsigned char>(source[1])))
        return {kInvalid, 1};
    std::uint32_t code_point = first & (0xFFU >> (wanted + 1));
    for (std::size_t i = 1; i < wanted; ++i) {
        if (i >= length || !is_continuation(source[i])) return {kInvalid, i};
        code_point = (code_point << 6) | (static_cast<unsigned char>(source[i]) & 0x3FU);
    }
    return {code_point, wanted};
}

Decoded decode_wide(const char16_t* source, std::size_t length) {
    const char16_t first = source[0];
    if (wide::is_low_surrogate(first)) return {kInvalid, 1};
    if (!wide::is_high_surrogate(first)) return {first, 1};
    if (length < 2 || !wide::is_low_surrogate(source[1])) return {kInvalid, 1};
    return {0x10000U + ((first - 0xD800U) << 10) + (source[1] - 0xDC00U), 2};
}

std::size_t narrow_size(std::uint32_t code_point) {
    if (code_point < 0x80) return 1;
    if (code_point < 0x800) return 2;
    return code_point < 0x10000 ? 3 : 4;
}

void encode_narrow(std::uint32_t code_point, std::size_t size, char* dest) {
    static constexpr unsigned char kFirst[] = {0, 0, 0xC0, 0xE0, 0xF0};
    for (std::size_t i = size; i-- > 1; code_point >>= 6)
        dest[i] = static_cast<char>(0x80 | (code_point & 0x3F));
    dest[0] = static_cast<char>(code_point | kFirst[size]);
}

std::size_t wide_size(std::uint32_t code_point) { return code_point < 0x10000 ? 1 : 2; }

void encode_wide(std::uint32_t code_point, std::size_t size, char16_t* dest) {
    if (size == 1) {
        dest[0] = static_cast<char16_t>(code_point);
        return;
    }
    dest[0] = static_cast<char16_t>(0xD800 + ((code_point - 0x10000) >> 10));
    dest[1] = static_cast<char16_t>(0xDC00 + ((code_point - 0x10000) & 0x3FF));
}

// Next to decode in `source` up to `end`, replaced if it is broken.
Decoded decode(const char* source, const char* end) {
    Decoded c = decode_narrow(source, static_cast<std::size_t>(end - source));
    if (c.code_point == kInvalid) c.code_point = kReplacementCharacter;
    return c;
}

Decoded decode(const char16_t* source, const char16_t* end) {
    Decoded c = decode_wide(source, static_cast<std::size_t>(end - source));
    if (c.code_point == kInvalid) c.code_point = kReplacementCharacter;
    return c;
}

std::size_t encoded_size(std::uint32_t code_point, const char*) { return narrow_size(code_point); }
std::size_t encoded_size(std::uint32_t code_point, const char16_t*) {
    return wide_size(code_point);
}

void encode(std::uint32_t code_point, std::size_t size, char* dest) {
    encode_narrow(code_point, size, dest);
}
void encode(std::uint32_t code_point, std::size_t size, char16_t* dest) {
    encode_wide(code_point, size, dest);
}

/// Where a conversion stands.
template <class From, class To>
struct Progress {
    const From* source;
    const From* source_end;
    To* dest;
    To* dest_end;

    std::size_t source_left() const { return static_cast<std::size_t>(source_end - source); }
    std::size_t dest_left() const { return static_cast<std::size_t>(dest_end - dest); }
};

// Converts one character; false if it does not fit.
template <class From, class To>
bool convert_one(Progress<From, To>& at) {
    const Decoded c = decode(at.source, at.source_end);
    const std::size_t size = encoded_size(c.code_point, at.dest);
    if (size > at.dest_left()) return false;
    encode(c.code_point, size, at.dest);
    at.dest += size;
    at.source += c.length;
    return true;
}

// What follows converts stretches of the source without asking for room: whoever calls has seen to
// it that there is a unit for each byte, or three bytes for each unit and a block to spare.

using ToWide = Progress<char, char16_t>;
using ToNarrow = Progress<char16_t, char>;

bool is_ascii(char c) { return static_cast<signed char>(c) >= 0; }

std::uint32_t byte_at(const char* at) { return static_cast<unsigned char>(*at); }

// One character beyond ASCII, with all of its bytes in front of the source's end.
inline void convert_beyond_ascii(ToWide& at) {
    const std::uint32_t first = byte_at(at.source);
    const std::uint32_t second = byte_at(at.source + 1) ^ 0x80;
    if (first - 0xC2 < 0x1E && second < 0x40) {
        *at.dest++ = static_cast<char16_t>(((first & 0x1F) << 6) | second);
        at.source += 2;
        return;
    }
    const std::uint32_t third = byte_at(at.source + 2) ^ 0x80;
    const std::uint32_t unit = ((first & 0x0F) << 12) | (second << 6) | third;
    const bool is_triple = (first & 0xF0) == 0xE0 && second < 0x40 && third < 0x40;
    if (is_triple && unit >= 0x800 && (unit & 0xF800) != 0xD800) {
        *at.dest++ = static_cast<char16_t>(unit);
        at.source += 3;
        return;
    }
    convert_one(at);
}

// Characters beyond ASCII up to the next one of ASCII, as far as `end` allows.
inline void convert_run(ToWide& at, const char* end) {
    while (end - at.source >= static_cast<std::ptrdiff_t>(kBlock) && !is_ascii(*at.source)) {
        if (byte_at(at.source) < 0xE0 && !is_ascii(at.source[2])) {
            const std::size_t pairs = decode_pairs(at.source, at.dest);
            at.source += 2 * pairs;
            at.dest += pairs;
            if (pairs == 0) convert_beyond_ascii(at);
        } else if (decode_four_triples(at.source, at.dest)) {
            at.source += 12;
            at.dest += 4;
        } else {
            convert_beyond_ascii(at);
        }
    }
}

// Moves over the ASCII that a converted block begins with; false if it was ASCII all through.
template <class From, class To>
bool step_over_ascii(Progress<From, To>& at, std::uint32_t beyond) {
    const int ascii = beyond != 0 ? std::countr_zero(beyond) : static_cast<int>(kBlock);
    at.source += ascii;
    at.dest += ascii;
    return beyond != 0;
}

void convert_stretch(ToWide& at) {
    const char* const end = at.source + std::min(at.source_left(), at.dest_left());
    while (end - at.source >= static_cast<std::ptrdiff_t>(kBlock))
        if (step_over_ascii(at, widen_block(at.source, at.dest))) convert_run(at, end);
}

// One unit beyond ASCII, with the one behind it in front of the source's end.
inline void convert_beyond_ascii(ToNarrow& at) {
    const std::uint32_t unit = *at.source;
    if (unit < 0x800) {
        at.dest[0] = static_cast<char>(0xC0 | (unit >> 6));
        at.dest[1] = static_cast<char>(0x80 | (unit & 0x3F));
        ++at.source;
        at.dest += 2;
    } else if ((unit & 0xF800) != 0xD800) {
        at.dest[0] = static_cast<char>(0xE0 | (unit >> 12));
        at.dest[1] = static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
        at.dest[2] = static_cast<char>(0x80 | (unit & 0x3F));
        ++at.source;
        at.dest += 3;
    } else {
        convert_one(at);
    }
}

inline void convert_run(ToNarrow& at, const char16_t* end) {
    while (end - at.source >= 4 && *at.source >= 0x80) {
        if (encode_four_triples(at.source, at.dest)) {
            at.source += 4;
            at.dest += 12;
        } else {
            convert_beyond_ascii(at);
        }
    }
}

// A block of units below 0x800, with no branch that the mix of the two sizes would mislead.
inline void convert_small_units(ToNarrow& at) {
    char* dest = at.dest;
    for (std::size_t i = 0; i < kBlock; ++i) {
        const std::uint32_t unit = at.source[i];
        const std::uint32_t pair = 0x80C0 | (unit >> 6) | ((unit & 0x3F) << 8);
        const bool one = unit < 0x80;
        const auto bytes = static_cast<std::uint16_t>(one ? unit : pair);
        std::memcpy(dest, &bytes, sizeof bytes);
        dest += one ? 1 : 2;
    }
    at.source += kBlock;
    at.dest = dest;
}

void convert_stretch(ToNarrow& at) {
    if (at.dest_left() < kBlock) return;
    const char16_t* const end =
        at.source + std::min(at.source_left(), (at.dest_left() - kBlock) / 3);
    while (end - at.source >= static_cast<std::ptrdiff_t>(kBlock)) {
        const std::uint32_t beyond = narrow_block(at.source, at.dest);
        if (beyond != 0 && is_below_three_bytes(at.source))
            convert_small_units(at);
        else if (step_over_ascii(at, beyond))
            convert_run(at, end);
    }
}

template <class From, class To>
Conversion convert(const From* source, std::size_t length, To* dest, std::size_t room) {
    Progress<From, To> at{source, source + length, dest, dest + room};
    do
        convert_stretch(at);
    while (at.source != at.source_end && convert_one(at));
    return {static_cast<std::size_t>(at.source - source), static_cast<std::size_t>(at.dest - dest)};
}

// What a conversion in pieces stores.
template <class To, class From>
std::size_t converted_length(const From* source, std::size_t length) {
    constexpr std::size_t kPiece = 1024;
    To piece[kPiece];
    std::size_t total = 0;
    while (length > 0) {
        const Conversion done = convert(source, length, piece, kPiece);
        total += done.written;
        source += done.consumed;
        length -= done.consumed;
    }
    return total;
}

}  // namespace

Conversion narrow_to_wide(const char* source, std::size_t length, char16_t* dest,
                          std::size_t room) {
    return convert(source, length, dest, room);
}

Conversion wide_to_narrow(const char16_t* source, std::size_t length, char* dest,
                          std::size_t room) {
    return convert(source, length, dest, room);
}

std::size_t narrow_to_wide_length(const char* source, std::size_t length) {
    return converted_length<char16_t>(source, length);
}

std::size_t wide_to_narrow_length(const char16_t* source, std::size_t length) {
    return converted_length<char>(source, length);
}

}  // namespace tarnwillow::platform
