// Questions about windows, of this process or any other: of the windowing system's, and of those
// that the host has registered (hostWindows.h). A handle that is no living window is answered with
// false, null or 0. Any thread.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/windowTypes.h"

namespace tarnwillow {

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

// Geometry, in pixels of the screen that all monitors share. Where the answer is false `out` is not
// touched: there is no such window, or its place cannot be had.

/// The window with its frame.
TARNWILLOW_API bool GetWindowRect(HWND window, RECT* out);

/// The area that the program draws on, moved to 0,0.
TARNWILLOW_API bool GetClientRect(HWND window, RECT* out);

/// Turns a point of the screen into one of the window's client area, or back.
TARNWILLOW_API bool ScreenToClient(HWND window, POINT* point);
TARNWILLOW_API bool ClientToScreen(HWND window, POINT* point);

/// Puts the window, frame included, there: on the screen, or for a registered window with a parent
/// in the parent's client area.
TARNWILLOW_API bool MoveWindow(HWND window, int x, int y, int width, int height, bool repaint);

/// `length` must be 44.
TARNWILLOW_API bool GetWindowPlacement(HWND window, WINDOWPLACEMENT* placement);
TARNWILLOW_API bool SetWindowPlacement(HWND window, WINDOWPLACEMENT const* placement);

/// The window behind all others. Its rectangle is the primary monitor.
TARNWILLOW_API HWND GetDesktopWindow();

/// The panel with the task list; false if there is none.
TARNWILLOW_API bool GetTaskBarRect(RECT* out);

/// Is given a monitor; false ends the enumeration.
using HMONITOR = struct HMONITOR__*;
using HDC = struct HDC__*;
using MONITORENUMPROC = bool (*)(HMONITOR monitor, HDC context, RECT* rectangle,
                                 std::intptr_t data);

/// Calls `procedure` for each monitor, or for those that share a pixel with `clip`, the primary one
/// first, and at most 64. `monitor` is its number from 1. False if `context` is not null, if there
/// is no procedure, or if that ended the enumeration.
TARNWILLOW_API bool EnumDisplayMonitors(HDC context, RECT const* clip, MONITORENUMPROC procedure,
                                        std::intptr_t data);

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

/// The desktop that such windows stand on, for this process: at most 16 monitors, the primary one
/// first, and the task bar, which may be null for none. At first one monitor of 1024 by 768 and no
/// task bar, as again for 0 monitors. Windows have no frames, and stay where they are.
TARNWILLOW_API void Set_Headless_Desktop(RECT const* monitors, std::size_t count,
                                         RECT const* task_bar);

}  // namespace tarnwillow
