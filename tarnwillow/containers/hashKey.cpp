#include "tarnwillow/containers/hashKey.h"

#include <cstring>
#include <limits>

#include "tarnwillow/platform/codepage.h"

namespace tarnwillow::detail {

namespace {

// A narrow text of this many bytes fills a key, whatever the bytes: a unit takes at most three.
constexpr std::size_t kNarrowRoom = 3 * kKeyRoom;

constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15U;

std::uint64_t mix(std::uint64_t hash, std::uint64_t word) {
    hash = (hash ^ word) * kMultiplier;
    return hash ^ (hash >> 32);
}

constexpr std::uint32_t kGroupUnits = 4;

/// The units of a text that a step of the hash takes: four, or those in front of the terminator.
struct Group {
    std::uint64_t word;
    std::uint32_t units;
};

inline Group group_at(char16_t const* text) {
    if (text[0] == 0) return {0, 0};
    std::uint64_t word = text[0];
    if (text[1] == 0) return {word, 1};
    word |= std::uint64_t{text[1]} << 16;
    if (text[2] == 0) return {word, 2};
    word |= std::uint64_t{text[2]} << 32;
    if (text[3] == 0) return {word, 3};
    return {word | std::uint64_t{text[3]} << 48, kGroupUnits};
}

}  // namespace

HashKey measure_key(char16_t const* text) {
    if (text == nullptr) return {nullptr, 0, 0};
    // Two chains in turn, so that a multiplication need not wait for the one before it.
    std::uint64_t hash = 0;
    std::uint64_t other = kMultiplier;
    std::uint32_t length = 0;
    while (length < kKeyRoom) {
        const Group group = group_at(text + length);
        length += group.units;
        const std::uint64_t next = mix(other, group.word);
        other = hash;
        hash = next;
        if (group.units < kGroupUnits) break;
    }
    return {text, length, static_cast<std::uint32_t>(mix(hash, other))};
}

NarrowHashKey::NarrowHashKey(char const* text) : measured_{nullptr, 0, 0} {
    if (text == nullptr) return;
    const std::size_t bytes = strnlen(text, kNarrowRoom);
    const platform::Conversion done = platform::narrow_to_wide(text, bytes, units_, kKeyRoom);
    if (done.consumed < bytes || done.written >= kKeyRoom) {
        measured_ = {units_, kKeyRoom, 0};
        return;
    }
    units_[done.written] = 0;
    measured_ = measure_key(units_);
}

char16_t const* write_number(long number, char16_t* buffer) {
    if (number < std::numeric_limits<std::int32_t>::min() ||
        number > static_cast<long>(std::numeric_limits<std::uint32_t>::max()))
        return nullptr;
    const auto pattern = static_cast<std::uint32_t>(number);
    int shift = 28;
    while (shift > 0 && pattern >> shift == 0)
        shift -= 4;
    char16_t* end = buffer;
    for (; shift >= 0; shift -= 4)
        *end++ = u"0123456789abcdef"[pattern >> shift & 0xF];
    *end = 0;
    return buffer;
}

}  // namespace tarnwillow::detail
