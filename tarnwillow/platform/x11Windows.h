// The table of windows in use unless another one is put in place.
//
// Where DISPLAY names an X server that answers, its windows are these; a handle is the server's
// number of the window. Windows without a display stay what they are everywhere: their handles are
// never a server's.
#pragma once

#include "tarnwillow/platform/windowProvider.h"

namespace tarnwillow::platform {

const WindowProvider& x11_windows();

/// Ends the connection to the server; the next question reads DISPLAY again. No other thread may be
/// asking.
void leave_x11_windows();

}  // namespace tarnwillow::platform
