// The input of a fuzz target as terminated text that ends where its block on the heap ends.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

namespace tarnwillow::fuzz {

/// `room` units in a block of exactly that size, zero but for the bytes at its start.
template <class Char>
std::unique_ptr<Char[]> block(std::uint8_t const* bytes, std::size_t size, std::size_t room) {
    std::unique_ptr<Char[]> units(new Char[room]());
    if (size != 0) std::memcpy(units.get(), bytes, size / sizeof(Char) * sizeof(Char));
    return units;
}

/// A text of all the bytes, with one terminator behind the last.
template <class Char>
std::unique_ptr<Char[]> terminated(std::uint8_t const* bytes, std::size_t size) {
    return block<Char>(bytes, size, size / sizeof(Char) + 1);
}

template <class Char>
std::unique_ptr<Char[]> copy_of(Char const* text) {
    const std::size_t length = std::char_traits<Char>::length(text);
    return terminated<Char>(reinterpret_cast<std::uint8_t const*>(text), length * sizeof(Char));
}

template <class Char>
std::size_t length(Char const* text) {
    return std::char_traits<Char>::length(text);
}

}  // namespace tarnwillow::fuzz
