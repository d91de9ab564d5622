// Code page 0, which is UTF-8 here whatever the locale, to UTF-16 and back.
//
// No input fails: each broken stretch of UTF-8 (the longest that begins a valid character) and each
// lone surrogate becomes U+FFFD, as the Unicode standard recommends. What can fail is room. A
// conversion that runs out of room stops in front of the character that does not fit, so it never
// leaves half a character; the caller sees by `consumed` how far it came.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarnwillow::platform {

struct Conversion {
    std::size_t consumed;  ///< source units taken
    std::size_t written;   ///< destination units stored; no terminator is added
};

/// The replacement for what cannot be read.
inline constexpr char16_t kReplacementCharacter = 0xFFFD;

/// UTF-16 units never outnumber the bytes they come from: room of `length` always suffices.
Conversion narrow_to_wide(const char* source, std::size_t length, char16_t* dest, std::size_t room);

/// A unit becomes at most three bytes: room of 3 * `length` always suffices.
Conversion wide_to_narrow(const char16_t* source, std::size_t length, char* dest, std::size_t room);

/// Units, or bytes, that the whole conversion will store.
std::size_t narrow_to_wide_length(const char* source, std::size_t length);
std::size_t wide_to_narrow_length(const char16_t* source, std::size_t length);

}  // namespace tarnwillow::platform
