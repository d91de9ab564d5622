// Helpers for dialogs: where a control stands, how much room a text needs, parts that fold away.
//
// Dialogs and controls are windows that the host has registered (platform/hostWindows.h); a dialog
// may also be one of the windowing system's. There are no failure reports: a control that is
// missing leaves everything alone. Call on the thread that owns the window.
#pragma once

#include "tarnwillow/platform/hostWindows.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow {

/// Stores the control's rectangle in the dialog's client area, and hides the control with `hide`.
/// A null `out` stores nothing.
TARNWILLOW_API void Get_Frame_Rect(HWND dialog, int control, RECT* out, bool hide);

/// The same with left and top alone, cut to 16 bits. Null pointers store nothing.
TARNWILLOW_API void Get_Frame_Offset(HWND dialog, int control, short* x, short* y, bool hide);

/// The same with the size. The height comes before the width.
TARNWILLOW_API void Get_Frame_Offset(HWND dialog, int control, short* x, short* y, short* height,
                                     short* width, bool hide);

/// A pointer where the bool belongs is a forgotten argument.
template <class T>
void Get_Frame_Rect(HWND dialog, int control, RECT* out, T* hide) = delete;
template <class T>
void Get_Frame_Offset(HWND dialog, int control, short* x, short* y, T* hide) = delete;

/// Moves the window to the rectangle, with repainting. See MoveWindow for whose coordinates.
TARNWILLOW_API void Set_Window_Rect(HWND window, RECT const* rectangle);

/// Removes from an edit field each character that `allowed` does not hold, or that `forbidden`
/// holds; one of the two is null. For each the bell sounds once, and start and end of the selection
/// go back by one, wherever the character stood. With both lists nothing happens. The field is
/// written only if something was removed, and then has at most the first 255 characters of before.
TARNWILLOW_API void Filter_Edit_Field(HWND edit, char const* allowed, char const* forbidden);

/// Pixels that a text takes in the window's font, with the overhang and a thin border; 0 for no
/// window or a null text.
TARNWILLOW_API long Text_Width(HWND window, char const* text);

/// Height of a line in the window's font; 0 for no window.
TARNWILLOW_API long Text_Line_Height(HWND window);

/// Height of a text that is broken at blanks to the width of the window's client area. A word that
/// is wider than that begins a line of its own, the first one too. 0 for an empty text, -1 after a
/// fault, which is reported, and without memory.
TARNWILLOW_API long Textbox_Height(HWND window, char const* text);

/// Hides the part of a dialog that lies in a control's rectangle, that control included, moves what
/// ends at or below its bottom up by its height, and takes that height off the dialog. Nothing is
/// repainted. What stands in a control moves with it.
TARNWILLOW_API void Collapse_Dialog_Frame(HWND dialog, int control);

}  // namespace tarnwillow
