#pragma once

#include "tarnwillow/platform/IHostWindow.h"

namespace tarnwillow {

/// A font whose characters are all of one width, for hosts without a toolkit.
class TARNWILLOW_API CPlainHostFont : public IHostFont {
public:
    /// Sizes in pixels.
    CPlainHostFont(int character_width, int line_height, int overhang = 0)
        : width(character_width), height(line_height), slant(overhang) {}

    std::int32_t Text_Extent(char const* text, std::size_t length) override;
    std::int32_t Overhang() override { return slant; }
    /// See IHostFont.
    std::int32_t Line_Height() override { return height; }

private:
    int width;
    int height;
    int slant;
};

}  // namespace tarnwillow
