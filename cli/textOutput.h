// Standard output for a lot of UTF-16 text: collected, and written as UTF-8 in large pieces.
#pragma once

#include <string_view>

#include "tarnwillow/text/CSmartBuffer.h"

namespace tarnwillow::cli {

class TextOutput {
public:
    void write(std::u16string_view text);

    /// Pieces end with a line, so that none ends inside a character.
    void end_line();

    /// Writes what is left. False if anything failed on the way.
    bool finish();

private:
    void flush();

    CSmartBuffer pending_;
    bool failed_ = false;
};

}  // namespace tarnwillow::cli
