// Where windows stand. A place includes the frame that the window manager puts around a window.
#pragma once

#include "tarnwillow/platform/windowTypes.h"
#include "tarnwillow/platform/x11Connection.h"

namespace tarnwillow::platform::x11 {

// Operations of WindowProvider, for windows of the server.

bool rectangle(HWND window, RECT* out);
bool client_area(HWND window, RECT* out);
bool move(HWND window, const RECT& place);
bool placement(HWND window, WINDOWPLACEMENT* out);
bool set_placement(HWND window, const WINDOWPLACEMENT& placement);

}  // namespace tarnwillow::platform::x11
