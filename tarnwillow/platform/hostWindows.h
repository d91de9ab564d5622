// Dialogs and controls that belong to the host's toolkit and not to the windowing system. The host
// registers them; what is asked about windows is then answered for them, too, and only in this
// process.
//
// Their handles have bit 31 set and the higher ones clear. No window of the windowing system, nor
// one without a display, has such a handle, so that each is told from the others by its value.
// Numbers are given out in turn and come again only after 2,147,483,648 registrations; where they
// begin differs from process to process. Any value may be asked about. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarnwillow/platform/IHostWindow.h"
#include "tarnwillow/platform/windowTypes.h"

namespace tarnwillow {

/// Makes a window known. `parent`, if any, is a window of either kind; `item` is its number there.
/// Null for a null window, for a parent that is no window, or without memory. The host keeps the
/// object alive until it has unregistered it.
TARNWILLOW_API HWND Register_Host_Window(IHostWindow* window, HWND parent = nullptr, int item = 0);

/// Its children stay known, without a parent.
TARNWILLOW_API bool Unregister_Host_Window(HWND window);

/// The first child of that number to be registered, or null. Grandchildren do not count.
TARNWILLOW_API HWND GetDlgItem(HWND dialog, int item);

/// The parent that a window of the host's was registered with; null for none and for all others.
TARNWILLOW_API HWND GetParent(HWND window);

/// Calls `procedure` for every registered window below `parent`, children's children included, as a
/// rule in order of registration, until one call gives false. It may register and unregister.
/// False if it was ended, or cannot begin.
using WNDENUMPROC = bool (*)(HWND window, std::intptr_t data);
TARNWILLOW_API bool EnumChildWindows(HWND parent, WNDENUMPROC procedure, std::intptr_t data);

/// The selection of an edit field, in characters. False, and nothing is stored, where there is
/// none. Either pointer may be null.
TARNWILLOW_API bool Get_Edit_Selection(HWND edit, std::uint32_t* start, std::uint32_t* end);
TARNWILLOW_API bool Set_Edit_Selection(HWND edit, std::uint32_t start, std::uint32_t end);

/// The font of a window; the stock font for one that has none of its own, and for windows of the
/// windowing system. Null for no window.
TARNWILLOW_API IHostFont* Get_Window_Font(HWND window);

/// Sets the stock font of this process, which must stay alive; null for the default: 7 pixels for
/// each character, 16 for a line. Gives back the one before, null for the default.
TARNWILLOW_API IHostFont* Set_Stock_Font(IHostFont* font);

/// Sounds the bell: through the host's procedure, else through the windowing system. False if there
/// is no bell.
TARNWILLOW_API bool MessageBeep(std::uint32_t kind);

/// Sets the bell of this process, null for the windowing system's; gives back the one before.
using BeepProcedure = bool (*)(std::uint32_t kind);
TARNWILLOW_API BeepProcedure Set_Beep_Procedure(BeepProcedure procedure);

/// Numbers of GetSystemMetrics.
inline constexpr int SM_CXSCREEN = 0;
inline constexpr int SM_CYSCREEN = 1;
inline constexpr int SM_CXBORDER = 5;

/// Width and height of the primary monitor, the width of a thin border; 0 for all other numbers.
TARNWILLOW_API int GetSystemMetrics(int index);

namespace platform {

struct WindowProvider;

/// Whether a value has the form of these windows' handles, living or not.
inline bool is_host_handle(HWND window) {
    return (reinterpret_cast<std::uintptr_t>(window) >> 31) == 1;
}

/// What windows.h asks of these windows. What concerns the desktop is never asked here.
const WindowProvider& host_windows();

bool move_host_window(HWND window, const RECT& place, bool repaint);

}  // namespace platform
}  // namespace tarnwillow
