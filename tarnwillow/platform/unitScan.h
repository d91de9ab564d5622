// Searches in UTF-16 text that look at eight units at a time, after a first few one by one.
//
// All ranges are half-open, none is read outside, and a search that finds nothing gives `end`.
// Inline, because most searches of a reader end within the first eight units.
#pragma once

#include <bit>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tarnwillow::scan {

namespace detail {

#if defined(__SSE2__)

inline constexpr int kLane = 8;

/// Units that are looked at one by one first. Where names and texts are short, the processor
/// foresees their ends and need not wait for the answer of a vector comparison.
inline constexpr int kNear = 8;

/// Eight units, or the answer to a question about each of them.
struct Lane {
    __m128i units;

    static Lane load(char16_t const* from) {
        return {_mm_loadu_si128(reinterpret_cast<__m128i const*>(from))};
    }
    Lane equal(char16_t unit) const {
        return {_mm_cmpeq_epi16(units, _mm_set1_epi16(static_cast<short>(unit)))};
    }
    Lane equal(Lane other) const { return {_mm_cmpeq_epi16(units, other.units)}; }
    Lane at_most(char16_t limit) const {
        const __m128i above = _mm_subs_epu16(units, _mm_set1_epi16(static_cast<short>(limit)));
        return {_mm_cmpeq_epi16(above, _mm_setzero_si128())};
    }
    Lane operator|(Lane other) const { return {_mm_or_si128(units, other.units)}; }
    Lane operator&(Lane other) const { return {_mm_and_si128(units, other.units)}; }
    unsigned mask() const { return static_cast<unsigned>(_mm_movemask_epi8(units)); }
};

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

#else

struct Lane {
    static Lane load(char16_t const*) { return {}; }
    Lane equal(char16_t) const { return {}; }
    Lane at_most(char16_t) const { return {}; }
    Lane operator|(Lane) const { return {}; }
    Lane operator&(Lane) const { return {}; }
};

template <class Hits, class Hit>
inline char16_t const* search(char16_t const* from, char16_t const* end, int, Hits, Hit hit) {
    for (; from < end; ++from)
        if (hit(from)) return from;
    return end;
}

#endif

}  // namespace detail

/// The first unit that is `a` or `b`.
inline char16_t const* find_either(char16_t const* from, char16_t const* end, char16_t a,
                                   char16_t b) {
    return detail::search(
        from, end, 0,
        [=](char16_t const* p) {
            const auto lane = detail::Lane::load(p);
            return lane.equal(a) | lane.equal(b);
        },
        [=](char16_t const* p) { return *p == a || *p == b; });
}

/// The first unit that is at most `limit`, or is `a` or `b`.
inline char16_t const* find_low_or(char16_t const* from, char16_t const* end, char16_t limit,
                                   char16_t a, char16_t b) {
    return detail::search(
        from, end, 0,
        [=](char16_t const* p) {
            const auto lane = detail::Lane::load(p);
            return lane.at_most(limit) | lane.equal(a) | lane.equal(b);
        },
        [=](char16_t const* p) { return *p <= limit || *p == a || *p == b; });
}

/// The first place where `first` is followed by `a` or by `b`, both in front of `end`.
inline char16_t const* find_pair(char16_t const* from, char16_t const* end, char16_t first,
                                 char16_t a, char16_t b) {
    return detail::search(
        from, end, 1,
        [=](char16_t const* p) {
            const auto second = detail::Lane::load(p + 1);
            return detail::Lane::load(p).equal(first) & (second.equal(a) | second.equal(b));
        },
        [=](char16_t const* p) { return *p == first && end - p > 1 && (p[1] == a || p[1] == b); });
}

/// The first unit in front of `end` that differs from the one at the same place in `other`. Both
/// texts may be read up to `readable`, which is not before `end`; `other` begins before `from`.
inline char16_t const* find_difference(char16_t const* from, char16_t const* end,
                                       char16_t const* other,
                                       [[maybe_unused]] char16_t const* readable) {
#if defined(__SSE2__)
    for (; from < end && readable - from >= detail::kLane;
         from += detail::kLane, other += detail::kLane) {
        const unsigned equal = detail::Lane::load(from).equal(detail::Lane::load(other)).mask();
        if (equal == 0xFFFF) continue;
        const int same = std::countr_one(equal) / 2;
        return same < end - from ? from + same : end;
    }
#endif
    for (; from < end; ++from, ++other)
        if (*from != *other) return from;
    return end;
}

}  // namespace tarnwillow::scan
