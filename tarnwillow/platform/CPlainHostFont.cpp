#include "tarnwillow/platform/CPlainHostFont.h"

#include "tarnwillow/platform/characters.h"

namespace tarnwillow {

std::int32_t CPlainHostFont::Text_Extent(char const* text, std::size_t length) {
    std::uint32_t characters = 0;
    for (std::size_t at = 0; at < length; at += platform::character_bytes(text + at, length - at))
        ++characters;
    return static_cast<std::int32_t>(characters * static_cast<std::uint32_t>(width));
}

}  // namespace tarnwillow
