// How windows are shown, and which one is in front.
#pragma once

#include "tarnwillow/platform/windowProvider.h"
#include "tarnwillow/platform/x11Connection.h"

namespace tarnwillow::platform::x11 {

/// What the window manager and the server say of a window.
struct State {
    bool exists = false;
    bool mapped = false;
    bool managed = false;  ///< by a window manager, also while minimised
    bool minimised = false;
    bool maximised = false;
    bool bare = false;  ///< asks not to be managed, as menus do

    bool visible() const { return managed || mapped; }
};
State state_of(Connection& connection, xcb_window_t window);

// Operations of WindowProvider, for windows of the server.

bool show(HWND window, int command);
bool set_foreground(HWND window);
HWND foreground();
HWND last_active_popup(HWND window);
bool wait_until_ready(HWND window, std::uint32_t milliseconds);

/// Puts a maximised window back to its normal size.
void unmaximise(xcb_window_t window);

}  // namespace tarnwillow::platform::x11
