#include "tarnwillow/platform/windows.h"

#include <algorithm>

#include "tarnwillow/platform/coordinates.h"
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

bool GetWindowRect(HWND window, RECT* out) {
    return out != nullptr && window_provider().rectangle(window, out);
}

bool GetClientRect(HWND window, RECT* out) {
    RECT area;
    if (out == nullptr || !window_provider().client_area(window, &area)) return false;
    *out = {0, 0, platform::width_of(area), platform::height_of(area)};
    return true;
}

bool ScreenToClient(HWND window, POINT* point) {
    RECT area;
    if (point == nullptr || !window_provider().client_area(window, &area)) return false;
    *point = {platform::difference(point->x, area.left), platform::difference(point->y, area.top)};
    return true;
}

bool ClientToScreen(HWND window, POINT* point) {
    RECT area;
    if (point == nullptr || !window_provider().client_area(window, &area)) return false;
    *point = {platform::sum(point->x, area.left), platform::sum(point->y, area.top)};
    return true;
}

bool MoveWindow(HWND window, int x, int y, int width, int height, bool) {
    return window_provider().move(window,
                                  {x, y, platform::sum(x, width), platform::sum(y, height)});
}

bool GetWindowPlacement(HWND window, WINDOWPLACEMENT* placement) {
    if (placement == nullptr || placement->length != sizeof *placement) return false;
    return window_provider().placement(window, placement);
}

bool SetWindowPlacement(HWND window, WINDOWPLACEMENT const* placement) {
    if (placement == nullptr || placement->length != sizeof *placement) return false;
    return window_provider().set_placement(window, *placement);
}

HWND GetDesktopWindow() { return window_provider().desktop(); }

bool GetTaskBarRect(RECT* out) { return out != nullptr && window_provider().task_bar(out); }

namespace {

constexpr std::size_t kMostMonitors = 64;

bool touch(const RECT& one, const RECT& other) {
    return one.left < other.right && other.left < one.right && one.top < other.bottom &&
           other.top < one.bottom;
}

}  // namespace

bool EnumDisplayMonitors(HDC context, RECT const* clip, MONITORENUMPROC procedure,
                         std::intptr_t data) {
    if (context != nullptr || procedure == nullptr) return false;
    RECT monitors[kMostMonitors];
    const std::size_t count =
        std::min(window_provider().monitors(monitors, kMostMonitors), kMostMonitors);
    for (std::size_t i = 0; i < count; ++i) {
        if (clip != nullptr && !touch(*clip, monitors[i])) continue;
        if (!procedure(reinterpret_cast<HMONITOR>(i + 1), nullptr, &monitors[i], data))
            return false;
    }
    return true;
}

}  // namespace tarnwillow
