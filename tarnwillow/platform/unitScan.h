// Searches in UTF-16 text that look at eight units at a time, after a first few one by one.
//
// All ranges are half-open, none is read outside, and a search that finds nothing gives `end`.
// Inline, because most searches of a reader end within the first eight units.
#pragma once

#include <bit>
#include <cstdint>
#include <string_view>

#include "tarnwillow/platform/byteBlock.h"

namespace tarnwillow::scan {

/// A few units below 64, such as end a name. Asking makes no branch.
class LowUnits {
public:
    explicit constexpr LowUnits(std::u16string_view units) {
        for (const char16_t unit : units)
            bits_ |= std::uint64_t{1} << unit;
    }
    constexpr bool has(char16_t unit) const { return (unit < 64) & (bits_ >> (unit % 64) & 1); }

private:
    std::uint64_t bits_ = 0;
};

namespace detail {

using Block = platform::ByteBlock;

inline constexpr int kLane = 8;

/// Units that are looked at one by one first. Where names and texts are short, the processor
/// foresees their ends and need not wait for the answer of a vector comparison.
inline constexpr int kNear = 8;

inline Block equal(Block units, char16_t unit) {
    return Block::equal<char16_t>(units, Block::fill(unit));
}

/// `hits(p)` answers for the eight units from `p` on and may look at `beyond` units behind them;
/// `hit(p)` answers for one.
template <class Hits, class Hit>
inline char16_t const* search(char16_t const* from, char16_t const* end, int beyond, Hits hits,
                              Hit hit) {
    char16_t const* const near = end - from > kNear ? from + kNear : end;
    for (; from < near; ++from)
        if (hit(from)) return from;
    for (; end - from >= kLane + beyond; from += kLane) {
        const unsigned mask = hits(from).mask();
        if (mask != 0) return from + std::countr_zero(mask) / 2;
    }
    for (; from < end; ++from)
        if (hit(from)) return from;
    return end;
}

}  // namespace detail

/// The first unit that is `a` or `b`.
inline char16_t const* find_either(char16_t const* from, char16_t const* end, char16_t a,
                                   char16_t b) {
    return detail::search(
        from, end, 0,
        [=](char16_t const* p) {
            const auto units = detail::Block::load(p);
            return detail::equal(units, a) | detail::equal(units, b);
        },
        [=](char16_t const* p) { return *p == a || *p == b; });
}

/// The same, where it lies within a few units as a rule, but at no place that the processor could
/// foresee.
inline char16_t const* find_either_near(char16_t const* from, char16_t const* end, char16_t a,
                                        char16_t b) {
    using detail::Block;
    const auto hits = [=](char16_t const* p) {
        const Block units = Block::load(p);
        return detail::equal(units, a) | detail::equal(units, b);
    };
    for (; end - from >= 2 * detail::kLane; from += 2 * detail::kLane) {
        const unsigned mask = Block::narrow(hits(from), hits(from + detail::kLane)).mask();
        if (mask != 0) return from + std::countr_zero(mask);
    }
    return find_either(from, end, a, b);
}

/// The first place where `first` is followed by `a` or by `b`, both in front of `end`.
inline char16_t const* find_pair(char16_t const* from, char16_t const* end, char16_t first,
                                 char16_t a, char16_t b) {
    return detail::search(
        from, end, 1,
        [=](char16_t const* p) {
            const auto second = detail::Block::load(p + 1);
            return detail::equal(detail::Block::load(p), first) &
                   (detail::equal(second, a) | detail::equal(second, b));
        },
        [=](char16_t const* p) { return *p == first && end - p > 1 && (p[1] == a || p[1] == b); });
}

/// The first unit in front of `end` that differs from the one at the same place in `other`. Both
/// texts may be read up to `readable`, which is not before `end`; `other` begins before `from`.
inline char16_t const* find_difference(char16_t const* from, char16_t const* end,
                                       char16_t const* other, char16_t const* readable) {
    for (; from < end && readable - from >= detail::kLane;
         from += detail::kLane, other += detail::kLane) {
        const auto equal =
            detail::Block::equal<char16_t>(detail::Block::load(from), detail::Block::load(other));
        if (equal.mask() == 0xFFFF) continue;
        const int same = std::countr_one(equal.mask()) / 2;
        return same < end - from ? from + same : end;
    }
    for (; from < end; ++from, ++other)
        if (*from != *other) return from;
    return end;
}

}  // namespace tarnwillow::scan
