// Characters of UTF-8 text: code points, or stray bytes.
#pragma once

#include <cstddef>

namespace tarnwillow::platform {

/// Bytes of the character that `text` begins with, of at least one byte.
inline std::size_t character_bytes(char const* text, std::size_t length) {
    const auto lead = static_cast<unsigned char>(*text);
    const std::size_t told = lead >= 0xF0 && lead < 0xF8   ? 4
                             : lead >= 0xE0 && lead < 0xF0 ? 3
                             : lead >= 0xC0 && lead < 0xE0 ? 2
                                                           : 1;
    if (told > length) return 1;
    for (std::size_t i = 1; i < told; ++i)
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) return 1;
    return told;
}

}  // namespace tarnwillow::platform
