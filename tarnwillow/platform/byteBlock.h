// Sixteen bytes that are compared at once: the vector unit that every x86-64 has, or plain code.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tarnwillow::platform {

/// The block in plain code, for every processor. Comparing gives all ones or all zeros per unit.
class PlainBlock {
public:
    static PlainBlock load(const void* from) {
        PlainBlock block;
        std::memcpy(block.bytes_, from, sizeof block.bytes_);
        return block;
    }

    /// Every unit, of one or two bytes, equal to `unit`.
    template <class Unit>
    static PlainBlock fill(Unit unit) {
        PlainBlock block;
        for (std::size_t i = 0; i < sizeof block.bytes_; i += sizeof unit)
            std::memcpy(block.bytes_ + i, &unit, sizeof unit);
        return block;
    }

    template <class Unit>
    static PlainBlock equal(const PlainBlock& a, const PlainBlock& b) {
        PlainBlock result;
        for (std::size_t i = 0; i < sizeof a.bytes_; i += sizeof(Unit)) {
            const bool same = std::memcmp(a.bytes_ + i, b.bytes_ + i, sizeof(Unit)) == 0;
            std::memset(result.bytes_ + i, same ? 0xFF : 0, sizeof(Unit));
        }
        return result;
    }

    friend PlainBlock operator|(const PlainBlock& a, const PlainBlock& b) {
        PlainBlock result;
        for (std::size_t i = 0; i < sizeof a.bytes_; ++i)
            result.bytes_[i] = a.bytes_[i] | b.bytes_[i];
        return result;
    }

    friend PlainBlock operator&(const PlainBlock& a, const PlainBlock& b) {
        PlainBlock result;
        for (std::size_t i = 0; i < sizeof a.bytes_; ++i)
            result.bytes_[i] = a.bytes_[i] & b.bytes_[i];
        return result;
    }

    /// Two blocks of units of two bytes as one of bytes, `low` first: taken for signed numbers, cut
    /// to what a byte can hold. Results of comparisons stay results, and of all units only ASCII
    /// ones become the bytes 0 to 0x7E.
    static PlainBlock narrow(const PlainBlock& low, const PlainBlock& high) {
        PlainBlock result;
        for (std::size_t i = 0; i < 8; ++i) {
            result.bytes_[i] = narrowed(low, i);
            result.bytes_[i + 8] = narrowed(high, i);
        }
        return result;
    }

    /// Which bytes are `most` or less, without sign.
    static PlainBlock at_most(const PlainBlock& bytes, std::uint8_t most) {
        PlainBlock result;
        for (std::size_t i = 0; i < sizeof bytes.bytes_; ++i)
            result.bytes_[i] = bytes.bytes_[i] <= most ? 0xFF : 0;
        return result;
    }

    /// Bit i is the top bit of byte i.
    std::uint32_t mask() const {
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < sizeof bytes_; ++i)
            bits |= static_cast<std::uint32_t>(bytes_[i] >> 7) << i;
        return bits;
    }

private:
    static unsigned char narrowed(const PlainBlock& block, std::size_t index) {
        std::int16_t unit;
        std::memcpy(&unit, block.bytes_ + index * sizeof unit, sizeof unit);
        return static_cast<unsigned char>(std::clamp<int>(unit, -128, 127));
    }

    unsigned char bytes_[16];
};

#if defined(__SSE2__)

/// The same by the vector unit.
class ByteBlock {
public:
    static ByteBlock load(const void* from) {
        return {_mm_loadu_si128(static_cast<const __m128i*>(from))};
    }

    template <class Unit>
    static ByteBlock fill(Unit unit) {
        if constexpr (sizeof(Unit) == 1)
            return {_mm_set1_epi8(static_cast<char>(unit))};
        else
            return {_mm_set1_epi16(static_cast<short>(unit))};
    }

    template <class Unit>
    static ByteBlock equal(const ByteBlock& a, const ByteBlock& b) {
        if constexpr (sizeof(Unit) == 1)
            return {_mm_cmpeq_epi8(a.value_, b.value_)};
        else
            return {_mm_cmpeq_epi16(a.value_, b.value_)};
    }

    friend ByteBlock operator|(const ByteBlock& a, const ByteBlock& b) {
        return {_mm_or_si128(a.value_, b.value_)};
    }
    friend ByteBlock operator&(const ByteBlock& a, const ByteBlock& b) {
        return {_mm_and_si128(a.value_, b.value_)};
    }

    static ByteBlock narrow(const ByteBlock& low, const ByteBlock& high) {
        return {_mm_packs_epi16(low.value_, high.value_)};
    }

    static ByteBlock at_most(const ByteBlock& bytes, std::uint8_t most) {
        const __m128i least = _mm_min_epu8(bytes.value_, _mm_set1_epi8(static_cast<char>(most)));
        return {_mm_cmpeq_epi8(least, bytes.value_)};
    }

    std::uint32_t mask() const { return static_cast<std::uint32_t>(_mm_movemask_epi8(value_)); }

private:
    ByteBlock(__m128i value) : value_(value) {}  // NOLINT(google-explicit-constructor)

    __m128i value_;
};

#else

using ByteBlock = PlainBlock;

#endif

}  // namespace tarnwillow::platform
