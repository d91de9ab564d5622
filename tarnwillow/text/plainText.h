// What the operations on terminated text of either width share.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <string>

namespace tarnwillow::detail {

template <class Char>
std::size_t length_of(Char const* text) {
    return std::char_traits<Char>::length(text);
}

/// The terminator is in no set.
template <class Char>
bool is_one_of(Char c, Char const* set) {
    for (; *set != 0; ++set)
        if (*set == c) return true;
    return false;
}

/// A copy with its terminator; null for a null text or without memory.
template <class Char>
std::unique_ptr<Char[]> copy_text(Char const* text) {
    if (text == nullptr) return nullptr;
    const std::size_t size = length_of(text) + 1;
    std::unique_ptr<Char[]> copy(new (std::nothrow) Char[size]);
    if (copy != nullptr) std::char_traits<Char>::copy(copy.get(), text, size);
    return copy;
}

}  // namespace tarnwillow::detail
