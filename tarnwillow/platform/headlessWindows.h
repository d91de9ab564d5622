// Windows without a display: a table of them that all processes share. See windows.h for what makes
// and ends them.
#pragma once

#include "tarnwillow/platform/windowProvider.h"

namespace tarnwillow::platform {

const WindowProvider& headless_windows();

/// Whether a handle is that of such a window, living or not, and of no window on any display.
bool is_headless(HWND window);

/// Ends this process's part in the table, and with it this process's windows. The next question
/// begins it anew. No other thread may be asking.
void leave_headless_windows();

}  // namespace tarnwillow::platform
