#pragma once

#include <cstddef>
#include <cstdint>

#include "tarnwillow/platform/windowTypes.h"

namespace tarnwillow {

/// How wide and high a font draws, in pixels.
class TARNWILLOW_API IHostFont {
public:
    virtual ~IHostFont() = default;

    /// Width of `length` bytes of UTF-8.
    virtual std::int32_t Text_Extent(char const* text, std::size_t length) = 0;

    /// What a slanted last character adds to that.
    virtual std::int32_t Overhang() = 0;

    /// Pixels from one line to the next.
    virtual std::int32_t Line_Height() = 0;
};

/// A dialog or a control of the host's toolkit, as the library asks about it. The host makes it
/// known by Register_Host_Window and owns it; all calls come on the threads that ask, as a rule the
/// one that owns the window. A fault in a measure becomes the failure of the operation that asked.
///
/// Texts are UTF-8. Places in a text are characters: code points, or stray bytes.
class TARNWILLOW_API IHostWindow {
public:
    virtual ~IHostWindow() = default;

    /// Copies the text, cut at `size` - 1 bytes and terminated; gives its length. `size` is at
    /// least 1.
    virtual std::size_t Get_Text(char* dest, std::size_t size) = 0;
    virtual bool Set_Text(char const* text) = 0;

    /// The selected stretch of an edit field; start and end are equal for a bare caret. False for a
    /// window that has none.
    virtual bool Get_Selection(std::uint32_t* start, std::uint32_t* end) = 0;
    virtual bool Set_Selection(std::uint32_t start, std::uint32_t end) = 0;

    /// The window with its frame, and the area inside it, both on the screen.
    virtual RECT Get_Rectangle() = 0;
    virtual RECT Get_Client_Area() = 0;

    /// Puts the window there: in its parent's client area, or on the screen if it has no parent.
    virtual bool Move(const RECT& place, bool repaint) = 0;

    /// Whether it is shown, and showing or hiding it.
    virtual bool Is_Visible() = 0;
    virtual void Show(bool visible) = 0;

    /// Makes it the window that the person works with; false if it cannot be.
    virtual bool Bring_To_Front() = 0;

    /// Its font, or null for the stock font.
    virtual IHostFont* Get_Font() = 0;
};

}  // namespace tarnwillow
