// Sixteen bytes that are compared at once: the vector unit that every x86-64 has, or plain code.
#pragma once

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

    /// Two results for units of two bytes as one for units of one byte, `low` first.
    static PlainBlock narrow(const PlainBlock& low, const PlainBlock& high) {
        PlainBlock result;
        for (std::size_t i = 0; i < 8; ++i) {
            result.bytes_[i] = low.bytes_[2 * i];
            result.bytes_[i + 8] = high.bytes_[2 * i];
        }
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

    std::uint32_t mask() const { return static_cast<std::uint32_t>(_mm_movemask_epi8(value_)); }

private:
    ByteBlock(__m128i value) : value_(value) {}  // NOLINT(google-explicit-constructor)

    __m128i value_;
};

#else

using ByteBlock = PlainBlock;

#endif

}  // namespace tarnwillow::platform
