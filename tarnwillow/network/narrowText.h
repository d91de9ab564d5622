// A caller's texts on their way to the HTTP service.
#pragma once

#include <string>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/ownText.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow::detail {

/// A terminated UTF-16 text as UTF-8.
inline std::string narrow(char16_t const* text) {
    return platform::narrowed({text, wide::length(text)});
}

/// Copies a caller's text to a field. False if it does not fit, holds a line end, or cannot be
/// read; the field is then undefined.
template <class Char, std::size_t room>
bool take_text(Char const* text, Char (&field)[room]) {
    const auto copy = [&] {
        not_null(text);
        for (std::size_t i = 0; i < room; ++i) {
            field[i] = text[i];
            if (text[i] == 0) return true;
            if (text[i] == '\r' || text[i] == '\n') return false;
        }
        return false;
    };
    return probe_guard(copy, [] { return false; });
}

}  // namespace tarnwillow::detail
