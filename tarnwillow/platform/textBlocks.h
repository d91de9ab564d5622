// Blocks of text at a time: what the code page conversion does with the vector unit. Nothing here
// needs alignment. The plain forms do the same where there is no SSE2.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tarnwillow::platform {

/// Units of a block.
inline constexpr std::size_t kBlock = 16;

/// Bytes that are read or written by the operations on four units of three bytes each.
inline constexpr std::size_t kFourTriples = 13;

#if defined(__SSE2__)

inline __m128i load_block(const void* at) {
    return _mm_loadu_si128(static_cast<const __m128i*>(at));
}
inline void store_block(void* at, __m128i block) {
    _mm_storeu_si128(static_cast<__m128i*>(at), block);
}

/// Widens a block of bytes. Gives a bit for each byte beyond ASCII, whose unit is not defined.
inline std::uint32_t widen_block(const char* source, char16_t* dest) {
    const __m128i bytes = load_block(source);
    store_block(dest, _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
    store_block(dest + 8, _mm_unpackhi_epi8(bytes, _mm_setzero_si128()));
    return static_cast<std::uint32_t>(_mm_movemask_epi8(bytes));
}

/// Narrows a block of units. Gives a bit for each unit beyond ASCII, whose byte is not defined.
inline std::uint32_t narrow_block(const char16_t* source, char* dest) {
    const __m128i low = load_block(source);
    const __m128i high = load_block(source + 8);
    store_block(dest, _mm_packus_epi16(low, high));
    const __m128i beyond = _mm_set1_epi16(static_cast<short>(0xFF80));
    const __m128i zero = _mm_setzero_si128();
    const __m128i ascii = _mm_packs_epi16(_mm_cmpeq_epi16(_mm_and_si128(low, beyond), zero),
                                          _mm_cmpeq_epi16(_mm_and_si128(high, beyond), zero));
    return static_cast<std::uint32_t>(_mm_movemask_epi8(ascii)) ^ 0xFFFFU;
}

inline __m128i load_word(const char* at) {
    std::int32_t word;
    std::memcpy(&word, at, sizeof word);
    return _mm_cvtsi32_si128(word);
}

inline bool all_lanes(__m128i condition) { return _mm_movemask_epi8(condition) == 0xFFFF; }

/// Which 16-bit lanes hold a code point that takes three bytes: 0x800 and more, and no surrogate.
inline __m128i takes_three_bytes(__m128i units) {
    const __m128i top = _mm_and_si128(units, _mm_set1_epi16(static_cast<short>(0xF800)));
    const __m128i small = _mm_cmpeq_epi16(top, _mm_setzero_si128());
    const __m128i surrogate = _mm_cmpeq_epi16(top, _mm_set1_epi16(static_cast<short>(0xD800)));
    return _mm_xor_si128(_mm_or_si128(small, surrogate), _mm_set1_epi16(-1));
}

/// Decodes four characters of three bytes each; false, with nothing stored, if they are not that.
inline bool decode_four_triples(const char* source, char16_t* dest) {
    const __m128i words =
        _mm_unpacklo_epi64(_mm_unpacklo_epi32(load_word(source), load_word(source + 3)),
                           _mm_unpacklo_epi32(load_word(source + 6), load_word(source + 9)));
    const __m128i marks = _mm_and_si128(words, _mm_set1_epi32(0x00C0C0F0));
    const __m128i first = _mm_slli_epi32(_mm_and_si128(words, _mm_set1_epi32(0x0F)), 12);
    const __m128i second = _mm_and_si128(_mm_srli_epi32(words, 2), _mm_set1_epi32(0xFC0));
    const __m128i third = _mm_and_si128(_mm_srli_epi32(words, 16), _mm_set1_epi32(0x3F));
    const __m128i points = _mm_or_si128(first, _mm_or_si128(second, third));
    // Packing saturates signed numbers, so the low halves are made signed ones first.
    const __m128i signs = _mm_srai_epi32(_mm_slli_epi32(points, 16), 16);
    const __m128i units = _mm_packs_epi32(signs, signs);
    const __m128i marked = _mm_cmpeq_epi32(marks, _mm_set1_epi32(0x008080E0));
    if (!all_lanes(_mm_and_si128(marked, takes_three_bytes(units)))) return false;
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dest), units);
    return true;
}

/// Encodes four units of three bytes each; false, with nothing stored, if they are not that.
inline bool encode_four_triples(const char16_t* source, char* dest) {
    const __m128i half = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(source));
    if (!all_lanes(takes_three_bytes(_mm_unpacklo_epi64(half, half)))) return false;
    const __m128i points = _mm_unpacklo_epi16(half, _mm_setzero_si128());
    const __m128i first = _mm_srli_epi32(points, 12);
    const __m128i second = _mm_and_si128(_mm_slli_epi32(points, 2), _mm_set1_epi32(0x3F00));
    const __m128i third = _mm_and_si128(_mm_slli_epi32(points, 16), _mm_set1_epi32(0x3F0000));
    const __m128i words =
        _mm_or_si128(_mm_or_si128(first, second), _mm_or_si128(third, _mm_set1_epi32(0x8080E0)));
    alignas(16) std::uint32_t lanes[4];
    store_block(lanes, words);
    for (std::size_t i = 0; i < 4; ++i)
        std::memcpy(dest + 3 * i, lanes + i, sizeof lanes[i]);
    return true;
}

/// Decodes the characters of two bytes each that a block begins with; gives how many, up to 8. The
/// units behind them are not defined.
inline std::size_t decode_pairs(const char* source, char16_t* dest) {
    const __m128i pairs = load_block(source);
    const __m128i marks = _mm_and_si128(pairs, _mm_set1_epi16(static_cast<short>(0xC0E0)));
    const __m128i marked = _mm_cmpeq_epi16(marks, _mm_set1_epi16(static_cast<short>(0x80C0)));
    const __m128i overlong =
        _mm_cmpeq_epi16(_mm_and_si128(pairs, _mm_set1_epi16(0x1E)), _mm_setzero_si128());
    const __m128i high = _mm_slli_epi16(_mm_and_si128(pairs, _mm_set1_epi16(0x1F)), 6);
    const __m128i low = _mm_and_si128(_mm_srli_epi16(pairs, 8), _mm_set1_epi16(0x3F));
    store_block(dest, _mm_or_si128(high, low));
    const auto valid =
        static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_andnot_si128(overlong, marked)));
    return static_cast<std::size_t>(std::countr_one(valid)) / 2;
}

/// Whether no unit of a block takes more than two bytes.
inline bool is_below_three_bytes(const char16_t* source) {
    const __m128i either = _mm_or_si128(load_block(source), load_block(source + 8));
    const __m128i top = _mm_and_si128(either, _mm_set1_epi16(static_cast<short>(0xF800)));
    return all_lanes(_mm_cmpeq_epi16(top, _mm_setzero_si128()));
}

#else

inline std::uint32_t widen_block(const char* source, char16_t* dest) {
    std::uint32_t beyond = 0;
    for (std::size_t i = 0; i < kBlock; ++i) {
        dest[i] = static_cast<unsigned char>(source[i]);
        beyond |= (dest[i] >= 0x80 ? 1U : 0U) << i;
    }
    return beyond;
}

inline std::uint32_t narrow_block(const char16_t* source, char* dest) {
    std::uint32_t beyond = 0;
    for (std::size_t i = 0; i < kBlock; ++i) {
        dest[i] = static_cast<char>(source[i]);
        beyond |= (source[i] >= 0x80 ? 1U : 0U) << i;
    }
    return beyond;
}

// One character at a time is as good without a vector unit.
inline bool decode_four_triples(const char*, char16_t*) { return false; }
inline bool encode_four_triples(const char16_t*, char*) { return false; }
inline std::size_t decode_pairs(const char*, char16_t*) { return 0; }
inline bool is_below_three_bytes(const char16_t*) { return false; }

#endif

}  // namespace tarnwillow::platform
