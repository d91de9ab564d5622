// One table of cases for both widths: texts are written narrow and tested in either.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwillow::test {

using Widths = testing::Types<char, char16_t>;

/// Each unit cut to a byte; "<null>" for null.
template <class Char>
std::string narrowed(Char const* text) {
    if (text == nullptr) return "<null>";
    std::string narrow;
    for (; *text != 0; ++text)
        narrow += static_cast<char>(*text);
    return narrow;
}

/// A text of that width in a block of `room` units, or of just its own.
template <class Char>
class Writable {
public:
    explicit Writable(std::string_view text, std::size_t room = 0)
        : units_(std::max(room, text.size() + 1)) {
        std::transform(text.begin(), text.end(), units_.begin(),
                       [](char c) { return static_cast<Char>(static_cast<unsigned char>(c)); });
    }

    operator Char*() const { return units_.data(); }  // NOLINT(google-explicit-constructor)
    std::string str() const { return narrowed(units_.data()); }

private:
    mutable std::vector<Char> units_;
};

}  // namespace tarnwillow::test
