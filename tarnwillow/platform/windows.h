// Questions about windows, of this process or any other. A handle that is no living window is
// answered with false, null or 0. Any thread.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Commands of ShowWindow.
inline constexpr int SW_HIDE = 0;
inline constexpr int SW_SHOWNORMAL = 1;
inline constexpr int SW_SHOWMINIMIZED = 2;
inline constexpr int SW_SHOW = 5;
inline constexpr int SW_MINIMIZE = 6;
inline constexpr int SW_RESTORE = 9;

TARNWILLOW_API bool IsWindow(HWND window);
TARNWILLOW_API bool IsWindowVisible(HWND window);  ///< a minimised window is visible, too
TARNWILLOW_API bool IsIconic(HWND window);         ///< minimised

/// Copies the title, in UTF-8, cut at `size` - 1 bytes; gives its length.
TARNWILLOW_API int GetWindowTextA(HWND window, char* dest, int size);
TARNWILLOW_API bool SetWindowTextA(HWND window, char const* title);

/// The number of the window's process.
TARNWILLOW_API std::uint32_t GetWindowProcessId(HWND window);

/// Waits until the window's program is ready for input, at most so long.
TARNWILLOW_API bool WaitForWindowReady(HWND window, std::uint32_t milliseconds);

/// Shows, hides, minimises or restores; whether the window was visible before.
TARNWILLOW_API bool ShowWindow(HWND window, int command);

/// The window, or the one that it owns which was active last.
TARNWILLOW_API HWND GetLastActivePopup(HWND window);

TARNWILLOW_API bool SetForegroundWindow(HWND window);
TARNWILLOW_API HWND GetForegroundWindow();

// Windows without a display. A program that shows nothing, such as a service or a command, has one
// to stand for it wherever windows are asked about; every process sees it. It goes with its
// process, and ends the process's part in it when that ends.

/// A visible window of this process with that title; `owner`, if any, is the one it belongs to.
/// Null if there are 1,024 already, or if the memory cannot be shared.
TARNWILLOW_API HWND New_Headless_Window(char const* title, HWND owner = nullptr);

/// For a window of this process.
TARNWILLOW_API bool Destroy_Headless_Window(HWND window);

/// Whether the program is ready for input, as it is at first. For a window of this process.
TARNWILLOW_API bool Set_Headless_Window_Ready(HWND window, bool ready);

}  // namespace tarnwillow
