// Where windows stood, kept in the settings store from one run of a program to the next.
//
// A position is a value of the subkey "Window Positions" of the application key below
// HKEY_CURRENT_USER, under the window's name: the 44 bytes of a WINDOWPLACEMENT. Call on the thread
// that owns the window.
#pragma once

#include "tarnwillow/platform/windows.h"

namespace tarnwillow {

/// Stores the window's placement. Nothing is stored for no window, or a null name.
TARNWILLOW_API void Save_Window_Position(char const* name, HWND window);

/// Puts the window where it was saved, corrected so that it can be reached on the monitors of
/// today:
///
/// - a left edge beyond the display's left becomes 0, and the window keeps its width; one beyond
///   its right becomes 5 pixels more than the width from there;
/// - a top edge beyond the display's top becomes 5; one beyond its bottom becomes 5 pixels more
/// than
///   the height from there;
/// - where it is not told otherwise, right and bottom stay.
///
/// The window is then shown or hidden, neither minimised nor maximised, and comes to the front with
/// `foreground`. False, and the window stays as it is, if nothing of 44 bytes is stored under that
/// name, or if the window cannot be placed.
TARNWILLOW_API bool Restore_Saved_Window_Position(char const* name, HWND window, bool foreground,
                                                  bool show);
}  // namespace tarnwillow
