// Searches in UTF-16 text for ASCII units. They look at sixteen units at a time, after a first few
// one by one.
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

/// Units that one look at the text takes in, and the half of them that a vector holds.
inline constexpr int kLook = 16;
inline constexpr int kLane = kLook / 2;

/// Units that are looked at one by one first. Where names and texts are short, the processor
/// foresees their ends and need not wait for the answer of a vector comparison.
inline constexpr int kNear = 8;

/// A look at the units from `at` on: ASCII is kept, and nothing else looks like it.
inline Block look(char16_t const* at) {
    return Block::narrow(Block::load(at), Block::load(at + kLane));
}

inline Block equal(Block units, char unit) { return Block::equal<char>(units, Block::fill(unit)); }

/// `hits(p)` answers for a look at `p` and may look at `beyond` units behind it; `hit(p)` answers
/// for one unit.
template <class Hits, class Hit>
inline char16_t const* search(char16_t const* from, char16_t const* end, int beyond, Hits hits,
                              Hit hit) {
    char16_t const* const near = end - from > kNear ? from + kNear : end;
    for (; from < near; ++from)
        if (hit(from)) return from;
    for (; end - from >= kLook + beyond; from += kLook) {
        const unsigned mask = hits(from).mask();
        if (mask != 0) return from + std::countr_zero(mask);
    }
    for (; from < end; ++from)
        if (hit(from)) return from;
    return end;
}

}  // namespace detail

/// The first unit that is `a` or `b`.
inline char16_t const* find_either(char16_t const* from, char16_t const* end, char a, char b) {
    return detail::search(
        from, end, 0,
        [=](char16_t const* p) {
            const auto units = detail::look(p);
            return detail::equal(units, a) | detail::equal(units, b);
        },
        [=](char16_t const* p) { return *p == a || *p == b; });
}

/// The first place where `first` is followed by `a` or by `b`, both in front of `end`. Quickest
/// where `a` and `b` are rare.
inline char16_t const* find_pair(char16_t const* from, char16_t const* end, char first, char a,
                                 char b) {
    return detail::search(
        from, end, 1,
        [=](char16_t const* p) {
            const auto behind = detail::look(p + 1);
            const auto seconds = detail::equal(behind, a) | detail::equal(behind, b);
            return seconds.mask() == 0 ? seconds : seconds & detail::equal(detail::look(p), first);
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

/// Where the units stand that end the parts of a tag, for 64 units at a time. Finding one by its
/// bit does not wait for the text to be read, so that a walk from one to the next is not held up.
///
/// The text ends with a NUL, and kBlock units may be read from there on. Places that are asked for
/// never go back.
class TagMap {
public:
    static constexpr int kBlock = 64;

    explicit TagMap(char16_t const* start) { look_at(start); }

    /// The first quote of either kind, or NUL, from `from` on.
    char16_t const* find_quote(char16_t const* from) { return find(from, &TagMap::quotes_); }

    /// The first unit up to ">" from `from` on: all that can end a name are among them.
    char16_t const* find_low(char16_t const* from) { return find(from, &TagMap::low_); }

private:
    char16_t const* find(char16_t const* from, std::uint64_t TagMap::*bits) {
        for (;;) {
            while (from - block_ >= kBlock)
                look_at(block_ + kBlock);
            const std::uint64_t hits = this->*bits >> (from - block_);
            if (hits != 0) return from + std::countr_zero(hits);
            from = block_ + kBlock;
        }
    }

    void look_at(char16_t const* block) {
        block_ = block;
        quotes_ = low_ = 0;
        for (int i = 0; i < kBlock; i += detail::kLook) {
            const detail::Block units = detail::look(block + i);
            const detail::Block quotes =
                detail::equal(units, '"') | detail::equal(units, '\'') | detail::equal(units, '\0');
            quotes_ |= std::uint64_t{quotes.mask()} << i;
            low_ |= std::uint64_t{detail::Block::at_most(units, '>').mask()} << i;
        }
    }

    char16_t const* block_;
    std::uint64_t quotes_;
    std::uint64_t low_;
};

}  // namespace tarnwillow::scan
