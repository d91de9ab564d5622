// The buffer that a formatted text grows in: bounded, and cut in front of a character.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "tarnwillow/platform/codepage.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow::platform::detail {

/// Bytes of the UTF-8 character that begins with `lead`; 1 for what begins none.
constexpr std::size_t character_bytes(char lead) {
    const auto byte = static_cast<unsigned char>(lead);
    return byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
}

/// `length` without the half of a character that a cut has left at the end.
inline std::size_t whole_characters(char const* text, std::size_t length) {
    for (std::size_t back = 1; back <= 3 && back <= length; ++back) {
        const char unit = text[length - back];
        if ((unit & 0xC0) != 0x80) return character_bytes(unit) > back ? length - back : length;
    }
    return length;
}

inline std::size_t whole_characters(char16_t const* text, std::size_t length) {
    return length > 0 && wide::is_high_surrogate(text[length - 1]) ? length - 1 : length;
}

inline Conversion convert(char const* source, std::size_t length, char16_t* dest,
                          std::size_t room) {
    return narrow_to_wide(source, length, dest, room);
}
inline Conversion convert(char16_t const* source, std::size_t length, char* dest,
                          std::size_t room) {
    return wide_to_narrow(source, length, dest, room);
}

template <class Char>
class Output {
public:
    /// One unit of `capacity`, which is not 0, is kept for the terminator.
    Output(Char* out, std::size_t capacity) : begin_(out), at_(out), end_(out + capacity - 1) {}

    /// Something did not fit: nothing is taken any more.
    bool full() const { return full_; }

    void put(char ascii) {
        if (at_ != end_)
            *at_++ = static_cast<Char>(ascii);
        else
            cut();
    }

    void fill(char ascii, std::size_t count) {
        const std::size_t fitting = std::min(count, room());
        std::fill_n(at_, fitting, static_cast<Char>(ascii));
        at_ += fitting;
        if (fitting < count) cut();
    }

    void append(Char const* text, std::size_t length) {
        const std::size_t fitting = std::min(length, room());
        std::memcpy(at_, text, fitting * sizeof(Char));
        at_ += fitting;
        if (fitting < length) cut();
    }

    void append_ascii(char const* text, std::size_t length) {
        const std::size_t fitting = std::min(length, room());
        std::copy_n(text, fitting, at_);
        at_ += fitting;
        if (fitting < length) cut();
    }

    template <class From>
    void append_converted(From const* text, std::size_t length) {
        const Conversion done = convert(text, length, at_, room());
        at_ += done.written;
        if (done.consumed < length) cut();
    }

    std::size_t finish() {
        *at_ = 0;
        return static_cast<std::size_t>(at_ - begin_);
    }

private:
    std::size_t room() const { return static_cast<std::size_t>(end_ - at_); }

    void cut() {
        if (full_) return;
        full_ = true;
        at_ = begin_ + whole_characters(begin_, static_cast<std::size_t>(at_ - begin_));
        end_ = at_;
    }

    Char* begin_;
    Char* at_;
    Char* end_;
    bool full_ = false;
};

}  // namespace tarnwillow::platform::detail
