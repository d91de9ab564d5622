// What CTokenString and CWTokenString keep between two pieces.
#pragma once

#include <cstddef>

namespace tarnwillow::detail {

template <class Char>
struct TokenState {
    Char* text = nullptr;
    Char separator = 0;        ///< for calls that name none
    std::size_t length = 0;    ///< of the text before the first cut
    std::size_t position = 0;  ///< index of the next unread unit
    bool strip_leading = false;
    bool strip_trailing = false;
};

}  // namespace tarnwillow::detail
