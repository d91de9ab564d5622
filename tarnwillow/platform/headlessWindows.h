// Windows without a display: a table of them that all processes share. See windows.h for what makes
// and ends them.
#pragma once

#include "tarnwillow/platform/windowProvider.h"

namespace tarnwillow::platform {

const WindowProvider& headless_windows();

/// Ends this process's part in the table, and with it this process's windows. The next question
/// begins it anew. No other thread may be asking.
void leave_headless_windows();

}  // namespace tarnwillow::platform
