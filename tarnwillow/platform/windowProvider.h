// Where windows come from: a table of operations that a windowing system fills.
//
// Handles mean the same in every process and fit 32 bits, since records that processes share hold
// them. Any value may be asked about: what is no window is answered as told below.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarnwillow/platform/windowTypes.h"

namespace tarnwillow::platform {

struct WindowProvider {
    /// Whether a living window has that handle.
    bool (*is_window)(HWND window);

    /// The number of the window's process; 0 for no window.
    std::uint32_t (*process)(HWND window);

    /// The title in UTF-8, cut at `size` - 1 bytes and terminated; gives its length. Empty for no
    /// window. `size` is at least 1.
    std::size_t (*title)(HWND window, char* dest, std::size_t size);

    /// These tell whether there was such a window.
    bool (*set_title)(HWND window, char const* title);
    bool (*set_foreground)(HWND window);

    /// What ShowWindow gives for each of its commands.
    bool (*show)(HWND window, int command);

    bool (*is_visible)(HWND window);
    bool (*is_minimised)(HWND window);

    /// The window itself if none that it owns was active later; null for no window.
    HWND (*last_active_popup)(HWND window);

    /// The window that the person works with, or null.
    HWND (*foreground)();

    /// Waits until the window's program is ready for input: false if it is not within that time, or
    /// is gone. True at once where the system cannot tell.
    bool (*wait_until_ready)(HWND window, std::uint32_t milliseconds);

    // Geometry, on the screen that all monitors share. What is told by a rectangle is untouched
    // when the answer is false: there is no such window, or its place cannot be had or set.

    /// The window with its frame, and the area inside it that the program draws on. A minimised
    /// window has those of its normal position. Of desktop() both are the primary monitor.
    bool (*rectangle)(HWND window, RECT* out);
    bool (*client_area)(HWND window, RECT* out);

    /// Puts the window, frame included, there. Whoever set the place reads the same back.
    bool (*move)(HWND window, const RECT& place);

    /// `length` is set already. The normal position includes the frame, so that a position that is
    /// read and set again leaves the window where it was.
    bool (*placement)(HWND window, WINDOWPLACEMENT* out);
    bool (*set_placement)(HWND window, const WINDOWPLACEMENT& placement);

    /// The window behind all others, which stands for the screen; never null.
    HWND (*desktop)();

    /// Stores at most `room` monitors, the primary one first; gives how many there are.
    std::size_t (*monitors)(RECT* dest, std::size_t room);

    /// The panel with the task list, or whatever else takes most of an edge of the primary monitor
    /// away from programs. False if nothing does.
    bool (*task_bar)(RECT* out);

    /// Sounds the bell; false if there is none.
    bool (*beep)(std::uint32_t kind);
};

/// The table in use: at first that of x11Windows.h.
const WindowProvider& window_provider();

/// Puts another table in place, which must outlive the process; null brings the first one back.
void set_window_provider(const WindowProvider* provider);

}  // namespace tarnwillow::platform
