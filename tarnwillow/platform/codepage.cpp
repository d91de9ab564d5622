#include "tarnwillow/platform/codepage.h"

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

bool is_high_surrogate(char16_t c) { return c >= 0xD800 && c <= 0xDBFF; }
bool is_low_surrogate(char16_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

Decoded decode_wide(const char16_t* source, std::size_t length) {
    const char16_t first = source[0];
    if (is_low_surrogate(first)) return {kInvalid, 1};
    if (!is_high_surrogate(first)) return {first, 1};
    if (length < 2 || !is_low_surrogate(source[1])) return {kInvalid, 1};
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

}  // namespace

Conversion narrow_to_wide(const char* source, std::size_t length, char16_t* dest,
                          std::size_t room) {
    Conversion done{0, 0};
    while (done.consumed < length) {
        Decoded c = decode_narrow(source + done.consumed, length - done.consumed);
        if (c.code_point == kInvalid) c.code_point = kReplacementCharacter;
        const std::size_t size = wide_size(c.code_point);
        if (size > room - done.written) break;
        encode_wide(c.code_point, size, dest + done.written);
        done.written += size;
        done.consumed += c.length;
    }
    return done;
}

Conversion wide_to_narrow(const char16_t* source, std::size_t length, char* dest,
                          std::size_t room) {
    Conversion done{0, 0};
    while (done.consumed < length) {
        Decoded c = decode_wide(source + done.consumed, length - done.consumed);
        if (c.code_point == kInvalid) c.code_point = kReplacementCharacter;
        const std::size_t size = narrow_size(c.code_point);
        if (size > room - done.written) break;
        encode_narrow(c.code_point, size, dest + done.written);
        done.written += size;
        done.consumed += c.length;
    }
    return done;
}

std::size_t narrow_to_wide_length(const char* source, std::size_t length) {
    std::size_t total = 0;
    for (std::size_t at = 0; at < length;) {
        const Decoded c = decode_narrow(source + at, length - at);
        total += c.code_point == kInvalid ? 1 : wide_size(c.code_point);
        at += c.length;
    }
    return total;
}

std::size_t wide_to_narrow_length(const char16_t* source, std::size_t length) {
    std::size_t total = 0;
    for (std::size_t at = 0; at < length;) {
        const Decoded c = decode_wide(source + at, length - at);
        total += narrow_size(c.code_point == kInvalid ? kReplacementCharacter : c.code_point);
        at += c.length;
    }
    return total;
}

}  // namespace tarnwillow::platform
