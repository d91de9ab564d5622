// Texts of the other width that own their memory. For code that may throw std::bad_alloc.
#pragma once

#include <string>
#include <string_view>

#include "tarnwillow/platform/codepage.h"

namespace tarnwillow::platform {

/// UTF-8 as UTF-16.
inline std::u16string widened(std::string_view text) {
    std::u16string wide(narrow_to_wide_length(text.data(), text.size()), u'\0');
    narrow_to_wide(text.data(), text.size(), wide.data(), wide.size());
    return wide;
}

/// UTF-16 as UTF-8.
inline std::string narrowed(std::u16string_view text) {
    std::string narrow(wide_to_narrow_length(text.data(), text.size()), '\0');
    wide_to_narrow(text.data(), text.size(), narrow.data(), narrow.size());
    return narrow;
}

}  // namespace tarnwillow::platform
