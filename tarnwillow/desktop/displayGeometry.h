// Rectangles, the screen and its monitors, and icons, for programs that place windows.
//
// Rectangles are in pixels. Arithmetic wraps around at the ends of 32 bits. Pointers are required,
// unless a comment says otherwise. No state is kept: any thread may call.
#pragma once

#include "tarnwillow/platform/icons.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow {

/// Turns a rectangle of the screen into one of the window's client area. The two may be the same.
/// For no window the rectangle is taken over as it is.
TARNWILLOW_API void Global_To_Local_Rect(RECT const* global, RECT* local, void* window);

/// Moves the rectangle so that its top left corner is 0,0.
TARNWILLOW_API void Adjust_Rect_To_Base(RECT* rectangle);

/// Moves the rectangle by the two amounts: the vertical one comes first.
TARNWILLOW_API void Adjust_Rect_To_Offset(RECT* rectangle, int top, int left);

/// Puts the rectangle in the middle of `within`: half the difference of the sizes, cut towards
/// zero, from its corner. A larger rectangle reaches beyond on both sides.
TARNWILLOW_API void Center_Rect(RECT* rectangle, RECT const* within);

/// Right and bottom of the primary monitor, less what the task bar takes of it: of a bar that is
/// wider than high its height, else its width; 5 pixels of that count as usable. At which edge it
/// stands makes no difference. Nothing is taken off where there is no task bar.
TARNWILLOW_API void Get_Screen_Dimensions(int* width, int* height);

/// Widens *out, which begins as zeros, by all monitors: a left edge that is less than that of *out
/// is added to it, and so is a top, right or bottom edge that is greater. With monitors side by
/// side and aligned at 0 that is their extent, if at most one of them reaches beyond 0 to the
/// right; a monitor above the primary one adds nothing, and one below it adds to the top as well.
/// Where monitors cannot be enumerated *out becomes the desktop window's rectangle.
TARNWILLOW_API void Get_Display_Rect(RECT* out);

/// The same for the monitors that hold the top left corner of the window's normal position, bounds
/// included. A normal position with a negative left or top is first moved to 0,0. For no window
/// *out stays.
TARNWILLOW_API void Get_Display_Rect_For_Window(HWND window, RECT* out);

/// Loads the icon of a PNG or ICO file: of the file of that name or, where that cannot be opened,
/// of the one of that name in the application's folder "Content". With a `size` of 32 it is the
/// large icon and with 16 the small one; with any other size, or where there is none, the large one
/// from 16 on, else the small one. Null if there is no icon. The caller ends it with DestroyIcon.
/// The module is not used.
TARNWILLOW_API HICON Load_Icon_From_File(HINSTANCE module, char16_t const* file, int size);

namespace detail {

/// What the enumeration of monitors carries along. A test point of -1, -1 takes every monitor.
struct MonitorSearch {
    std::int32_t y;
    std::int32_t x;
    RECT* result;
};

/// Takes a monitor into the search behind `data`. False after a fault, which ends the enumeration.
bool RectMonitorEnumProc(HMONITOR monitor, HDC context, RECT* rectangle, std::intptr_t data);

/// Get_Display_Rect and the other, with the library that the enumeration is looked up in.
void search_monitors(char const* library, std::int32_t x, std::int32_t y, RECT* out);

}  // namespace detail
}  // namespace tarnwillow
