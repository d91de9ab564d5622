#include "tarnwillow/platform/search.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <string_view>

#include "tarnwillow/platform/byteBlock.h"
#include "tarnwillow/platform/twoWay.h"

namespace tarnwillow::platform {

namespace {

// Commonest first, in prose and markup. What is not listed counts as rare.
constexpr std::string_view kCommonestFirst =
    " etaoinsrhldcumfpgw\"y<>b/=v.k,-_\n:\t'10x2;TSAIqjz&)(5CEM3RPND48LO6B79F\rWHUGV#+*?!";

constexpr std::array<std::uint8_t, 256> make_commonness() {
    std::array<std::uint8_t, 256> table{};
    for (std::size_t i = 0; i < kCommonestFirst.size(); ++i)
        table[static_cast<unsigned char>(kCommonestFirst[i])] = static_cast<std::uint8_t>(255 - i);
    table[0] = 255;  // fills the gaps of everything that is not text
    table[0xFF] = 200;
    return table;
}

constexpr auto kCommonness = make_commonness();

template <class Unit>
bool is_letter(Unit unit) {
    return (unit >= 'A' && unit <= 'Z') || (unit >= 'a' && unit <= 'z');
}

template <bool kIgnoreCase, class Unit>
Unit fold(Unit unit) {
    const bool upper = kIgnoreCase && unit >= 'A' && unit <= 'Z';
    return upper ? static_cast<Unit>(unit + 32) : unit;
}

template <class Unit>
Unit load_unit(const unsigned char* from, std::size_t index) {
    Unit unit;
    std::memcpy(&unit, from + index * sizeof unit, sizeof unit);
    return unit;
}

template <bool kIgnoreCase, class Unit>
int commonness(Unit unit) {
    if (unit > 0xFF) return 1;
    const int upper = kCommonness[unit & 0xFF];
    if (!kIgnoreCase || !is_letter(unit)) return upper;
    return std::max<int>(upper, kCommonness[(unit ^ 0x20) & 0xFF]);
}

template <class Word>
bool equal_words(const unsigned char* a, const unsigned char* b) {
    return load_unit<Word>(a, 0) == load_unit<Word>(b, 0);
}

// Most patterns are short, and a call would cost more than they do: two words that overlap.
bool equal_bytes(const unsigned char* a, const unsigned char* b, std::size_t count) {
    if (count > 16) return std::memcmp(a, b, count) == 0;
    if (count >= 8)
        return equal_words<std::uint64_t>(a, b) &&
               equal_words<std::uint64_t>(a + count - 8, b + count - 8);
    if (count >= 4)
        return equal_words<std::uint32_t>(a, b) &&
               equal_words<std::uint32_t>(a + count - 4, b + count - 4);
    for (std::size_t i = 0; i < count; ++i)
        if (a[i] != b[i]) return false;
    return true;
}

template <class Unit, bool kIgnoreCase>
bool equal_units(const unsigned char* a, const unsigned char* b, std::size_t count) {
    if constexpr (!kIgnoreCase) return equal_bytes(a, b, count * sizeof(Unit));
    for (std::size_t i = 0; i < count; ++i)
        if (fold<kIgnoreCase>(load_unit<Unit>(a, i)) != fold<kIgnoreCase>(load_unit<Unit>(b, i)))
            return false;
    return true;
}

// One unit of the pattern, compared at 16 positions. A letter's case is one bit, and setting it
// turns nothing but the letter's other form into the letter.
template <class Block, class Unit, bool kIgnoreCase>
class Probe {
public:
    explicit Probe(Unit unit)
        : case_bit_(Block::fill(kIgnoreCase && is_letter(unit) ? Unit{0x20} : Unit{0})),
          unit_(Block::fill(fold<kIgnoreCase>(unit))) {}

    // Bytes of all ones at the positions that match.
    Block look(const unsigned char* at) const {
        if constexpr (sizeof(Unit) == 1)
            return look_at_block(at);
        else
            return Block::narrow(look_at_block(at), look_at_block(at + 16));
    }

private:
    Block look_at_block(const unsigned char* at) const {
        Block block = Block::load(at);
        if constexpr (kIgnoreCase) block = block | case_bit_;
        return Block::template equal<Unit>(block, unit_);
    }

    Block case_bit_;
    Block unit_;
};

constexpr std::size_t kStep = 16;  // positions that a probe looks at
constexpr std::size_t kStride = 4 * kStep;

// Full comparisons that came to nothing. Few are the price of the quick look; when they cost more
// than the look saves, the linear method takes over.
class Budget {
public:
    explicit Budget(std::size_t pattern_length) : cost_(pattern_length) {}
    bool spend(std::size_t scanned) {
        spent_ += cost_;
        return spent_ <= 8 * scanned + kGrace;
    }

private:
    static constexpr std::size_t kGrace = 4096;
    std::size_t cost_;
    std::size_t spent_ = 0;
};

/// Places where the pattern may stand.
struct Candidates {
    static constexpr std::size_t kRoom = 512;

    std::size_t places[kRoom];
    std::size_t count = 0;

    bool is_full() const { return count > kRoom - kStride; }

    // Four without asking whether there are so many: more are rare.
    void add(std::size_t base, std::uint64_t bits) {
        do
            for (int i = 0; i < 4; ++i) {
                places[count] = base + static_cast<std::size_t>(std::countr_zero(bits));
                count += bits != 0 ? 1 : 0;
                bits &= bits - 1;
            }
        while (bits != 0);
    }
};

constexpr std::size_t kFirstLook = 32;  // units compared before the price of the whole is charged

// The occurrences at the positions 0 to `last`, at least kStep of them, each behind the end of the
// one before, for a visitor that says whether to go on.
template <class Unit, bool kIgnoreCase, class Visit>
class Scan {
public:
    Scan(const RarePattern& pattern, const unsigned char* text, std::size_t last, Visit visit)
        : pattern_(pattern),
          text_(text),
          count_(last + 1),
          visit_(visit),
          rarest_(load_unit<Unit>(pattern.bytes, pattern.rarest)),
          rare_(load_unit<Unit>(pattern.bytes, pattern.rare)),
          budget_(pattern.length) {}

    void run() {
        std::size_t at = 0;
        for (std::uint64_t candidates; (candidates = look_ahead(at)) != 0; at += kStride)
            if (!settle(at, candidates)) return;
        look_at_rest(at);
    }

    // For many occurrences. How many candidates a stride has is what the processor cannot foresee:
    // they are noted without a branch on their number, and compared later, one like the other.
    void run_through() {
        Candidates found;
        std::size_t at = 0;
        for (std::uint64_t candidates; (candidates = look_ahead(at)) != 0; at += kStride) {
            found.add(at, candidates);
            if (found.is_full() && !settle(found)) return;
        }
        if (settle(found)) look_at_rest(at);
    }

private:
    ByteBlock look(std::size_t at) const {
        return rarest_.look(text_ + (at + pattern_.rarest) * sizeof(Unit)) &
               rare_.look(text_ + (at + pattern_.rare) * sizeof(Unit));
    }

    // The candidates of the first stride from `at` on that has any, to which `at` moves; 0 if there
    // is none. A loop of its own, with nothing in it but the looks: all else would cost as much.
    std::uint64_t look_ahead(std::size_t& at) const {
        for (std::size_t here = at; here + kStride <= count_; here += kStride) {
            const ByteBlock a = look(here), b = look(here + kStep);
            const ByteBlock c = look(here + 2 * kStep), d = look(here + 3 * kStep);
            if (((a | b) | (c | d)).mask() == 0) continue;
            at = here;
            const std::uint64_t low = a.mask() | b.mask() << kStep;
            const std::uint64_t high = c.mask() | d.mask() << kStep;
            return low | high << (2 * kStep);
        }
        at = std::max(at, count_ / kStride * kStride);
        return 0;
    }

    // The very last positions are looked at together with some that were seen before.
    void look_at_rest(std::size_t at) {
        for (; at < count_; at += kStep) {
            const std::size_t base = std::min(at, count_ - kStep);
            const std::uint32_t seen = (1U << (at - base)) - 1;
            if (!settle(base, look(base).mask() & ~seen)) return;
        }
    }

    // Compares in full where a bit of `candidates` says so. False when the search is over.
    bool settle(std::size_t base, std::uint64_t candidates) {
        for (; candidates != 0; candidates &= candidates - 1) {
            const std::size_t at = base + static_cast<std::size_t>(std::countr_zero(candidates));
            if (is_occurrence(at) && !visit_(&at, 1)) return false;
            if (overspent_) return go_on_linearly();
        }
        return true;
    }
    bool settle(Candidates& found) {
        std::size_t count = 0;
        for (std::size_t i = 0; i < found.count && !overspent_; ++i) {
            const std::size_t at = found.places[i];
            found.places[count] = at;
            count += is_occurrence(at) ? 1 : 0;
        }
        found.count = 0;
        if (count > 0 && !visit_(found.places, count)) return false;
        return !overspent_ || go_on_linearly();
    }

    // What begins within the occurrence before is none.
    bool is_occurrence(std::size_t at) {
        if (at < from_) return false;
        const bool is = matches(at);
        from_ = is ? at + pattern_.length : from_;
        return is;
    }

    bool matches(std::size_t at) {
        const unsigned char* here = text_ + at * sizeof(Unit);
        const std::size_t first = std::min(pattern_.length, kFirstLook);
        if (!equal_units<Unit, kIgnoreCase>(here, pattern_.bytes, first)) return false;
        if (first == pattern_.length) return true;
        if (equal_units<Unit, kIgnoreCase>(here, pattern_.bytes, pattern_.length)) return true;
        overspent_ = !budget_.spend(at);
        from_ = overspent_ ? at + 1 : from_;
        return false;
    }

    // False: with this the search is over.
    bool go_on_linearly() {
        const auto pattern_unit = [this](std::size_t i) {
            return fold<kIgnoreCase>(load_unit<Unit>(pattern_.bytes, i));
        };
        const auto text_unit = [this](std::size_t i) {
            return fold<kIgnoreCase>(load_unit<Unit>(text_, i));
        };
        const TwoWay method(pattern_unit, pattern_.length, text_unit);
        for (bool more = true; more;) {
            const std::size_t at = method.find(from_, count_ - 1, kNotFound);
            more = at != kNotFound && visit_(&at, 1);
            from_ = at + pattern_.length;
        }
        return false;
    }

    const RarePattern pattern_;
    const unsigned char* const text_;
    const std::size_t count_;
    Visit visit_;
    Probe<ByteBlock, Unit, kIgnoreCase> rarest_;
    Probe<ByteBlock, Unit, kIgnoreCase> rare_;
    Budget budget_;
    bool overspent_ = false;
    std::size_t from_ = 0;  // where the next occurrence may start
};

// The same for fewer positions.
template <class Unit, bool kIgnoreCase, class Visit>
void scan_short(const RarePattern& pattern, const unsigned char* text, std::size_t last,
                Visit visit) {
    for (std::size_t at = 0; at <= last;) {
        const unsigned char* here = text + at * sizeof(Unit);
        if (!equal_units<Unit, kIgnoreCase>(here, pattern.bytes, pattern.length))
            ++at;
        else if (visit(&at, 1))
            at += pattern.length;
        else
            return;
    }
}

enum class Wanted { first, all };

template <Wanted wanted, class Unit, bool kIgnoreCase, class Visit>
void scan(const RarePattern& pattern, const void* text, std::size_t units, Visit visit) {
    if (pattern.length > units) return;
    const auto* bytes = static_cast<const unsigned char*>(text);
    const std::size_t last = units - pattern.length;
    if (last + 1 < kStep) return scan_short<Unit, kIgnoreCase>(pattern, bytes, last, visit);
    Scan<Unit, kIgnoreCase, Visit> scan(pattern, bytes, last, visit);
    if constexpr (wanted == Wanted::first)
        scan.run();
    else
        scan.run_through();
}

}  // namespace

// The rarest unit, and the rarest of those that differ from it.
template <class Unit, bool kIgnoreCase>
Search<Unit, kIgnoreCase>::Search(const void* pattern, std::size_t length)
    : pattern_{static_cast<const unsigned char*>(pattern), length, 0, 0} {
    int rarest = 256, rare = 256;
    for (std::size_t i = 0; i < length; ++i) {
        const Unit unit = load_unit<Unit>(pattern_.bytes, i);
        const int common = commonness<kIgnoreCase>(unit);
        if (common < rarest) {
            rare = rarest;
            pattern_.rare = pattern_.rarest;
            rarest = common;
            pattern_.rarest = i;
        } else if (common < rare && unit != load_unit<Unit>(pattern_.bytes, pattern_.rarest)) {
            rare = common;
            pattern_.rare = i;
        }
    }
}

template <class Unit, bool kIgnoreCase>
std::size_t Search<Unit, kIgnoreCase>::find(const void* text, std::size_t units) const {
    if (length() == 0) return 0;
    std::size_t found = kNotFound;
    scan<Wanted::first, Unit, kIgnoreCase>(pattern_, text, units,
                                           [&found](const std::size_t* places, std::size_t) {
                                               found = *places;
                                               return false;
                                           });
    return found;
}

template <class Unit, bool kIgnoreCase>
void Search<Unit, kIgnoreCase>::visit_all(const void* text, std::size_t units, Visit visit,
                                          void* context) const {
    if (length() == 0) return;
    scan<Wanted::all, Unit, kIgnoreCase>(pattern_, text, units,
                                         [=](const std::size_t* places, std::size_t count) {
                                             return visit(context, places, count);
                                         });
}

template class Search<std::uint8_t, false>;
template class Search<std::uint8_t, true>;
template class Search<char16_t, false>;
template class Search<char16_t, true>;

}  // namespace tarnwillow::platform
