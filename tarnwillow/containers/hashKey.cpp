#include "tarnwillow/containers/hashKey.h"

#include <cstring>
#include <limits>

#include "tarnwillow/platform/codepage.h"

namespace tarnwillow::detail {

namespace {

// A narrow text of this many bytes fills a key, whatever the bytes: a unit takes at most three.
constexpr std::size_t kNarrowRoom = 3 * kKeyRoom;

constexpr std::uint64_t kFirst = 0x9E3779B97F4A7C15U;
constexpr std::uint64_t kSecond = 0xD6E8FEB86659FD93U;

__extension__ using Product = unsigned __int128;

// Both halves of the product: every bit of either word shows in all of the result.
inline std::uint64_t mix(std::uint64_t a, std::uint64_t b) {
    const Product product = Product{a ^ kFirst} * (b ^ kSecond);
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

template <class Word>
inline std::uint64_t word_at(char16_t const* text) {
    Word word;
    std::memcpy(&word, text, sizeof word);
    return word;
}

inline std::uint64_t hash_of_four_or_more(char16_t const* text, std::uint32_t length) {
    char16_t const* const last = text + length - 4;
    std::uint64_t hash = length;
    for (; last - text > 4; text += 8)
        hash = mix(hash ^ word_at<std::uint64_t>(text), word_at<std::uint64_t>(text + 4));
    // What is left, taken together with some units in front of it that were taken before.
    return mix(hash ^ word_at<std::uint64_t>(last > text ? text : last),
               word_at<std::uint64_t>(last));
}

std::uint32_t hash_of(char16_t const* text, std::uint32_t length) {
    std::uint64_t hash = length;
    if (length >= 4)
        hash = hash_of_four_or_more(text, length);
    else if (length >= 2)
        hash = mix(length ^ word_at<std::uint32_t>(text), word_at<char16_t>(text + length - 1));
    else if (length == 1)
        hash = mix(length, *text);
    return static_cast<std::uint32_t>(hash ^ hash >> 32);
}

std::uint32_t length_of(char16_t const* text) {
    char16_t const* at = text;
    for (std::uint32_t left = kKeyRoom / 4; left > 0; --left, at += 4) {
        if (at[0] == 0) break;
        if (at[1] == 0) return static_cast<std::uint32_t>(at + 1 - text);
        if (at[2] == 0) return static_cast<std::uint32_t>(at + 2 - text);
        if (at[3] == 0) return static_cast<std::uint32_t>(at + 3 - text);
    }
    return static_cast<std::uint32_t>(at - text);
}
static_assert(kKeyRoom % 4 == 0);

}  // namespace

HashKey measure_key(char16_t const* text) {
    if (text == nullptr) return {nullptr, 0, 0};
    const std::uint32_t length = length_of(text);
    return {text, length, hash_of(text, length)};
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
