#include "tarnwillow/platform/windows.h"

#include "tarnwillow/platform/windowProvider.h"

namespace tarnwillow {

using platform::window_provider;

bool IsWindow(HWND window) { return window_provider().is_window(window); }
bool IsWindowVisible(HWND window) { return window_provider().is_visible(window); }
bool IsIconic(HWND window) { return window_provider().is_minimised(window); }

int GetWindowTextA(HWND window, char* dest, int size) {
    if (dest == nullptr || size <= 0) return 0;
    return static_cast<int>(window_provider().title(window, dest, static_cast<std::size_t>(size)));
}

bool SetWindowTextA(HWND window, char const* title) {
    return window_provider().set_title(window, title != nullptr ? title : "");
}

std::uint32_t GetWindowProcessId(HWND window) { return window_provider().process(window); }

bool WaitForWindowReady(HWND window, std::uint32_t milliseconds) {
    return window_provider().wait_until_ready(window, milliseconds);
}

bool ShowWindow(HWND window, int command) { return window_provider().show(window, command); }
HWND GetLastActivePopup(HWND window) { return window_provider().last_active_popup(window); }
bool SetForegroundWindow(HWND window) { return window_provider().set_foreground(window); }
HWND GetForegroundWindow() { return window_provider().foreground(); }

}  // namespace tarnwillow
