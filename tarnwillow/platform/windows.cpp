#include "tarnwillow/platform/windows.h"

#include <algorithm>

#include "tarnwillow/platform/coordinates.h"
#include "tarnwillow/platform/hostWindows.h"
#include "tarnwillow/platform/windowProvider.h"

namespace tarnwillow {

using platform::window_provider;

namespace {

/// Whoever answers for windows of that handle's kind.
const platform::WindowProvider& answerer(HWND window) {
    return platform::is_host_handle(window) ? platform::host_windows() : window_provider();
}

}  // namespace

bool IsWindow(HWND window) { return answerer(window).is_window(window); }
bool IsWindowVisible(HWND window) { return answerer(window).is_visible(window); }
bool IsIconic(HWND window) { return answerer(window).is_minimised(window); }

int GetWindowTextA(HWND window, char* dest, int size) {
    if (dest == nullptr || size <= 0) return 0;
    return static_cast<int>(answerer(window).title(window, dest, static_cast<std::size_t>(size)));
}

bool SetWindowTextA(HWND window, char const* title) {
    return answerer(window).set_title(window, title != nullptr ? title : "");
}

std::uint32_t GetWindowProcessId(HWND window) { return answerer(window).process(window); }

bool WaitForWindowReady(HWND window, std::uint32_t milliseconds) {
    return answerer(window).wait_until_ready(window, milliseconds);
}

bool ShowWindow(HWND window, int command) { return answerer(window).show(window, command); }
HWND GetLastActivePopup(HWND window) { return answerer(window).last_active_popup(window); }
bool SetForegroundWindow(HWND window) { return answerer(window).set_foreground(window); }
HWND GetForegroundWindow() { return window_provider().foreground(); }

bool GetWindowRect(HWND window, RECT* out) {
    return out != nullptr && answerer(window).rectangle(window, out);
}

bool GetClientRect(HWND window, RECT* out) {
    RECT area;
    if (out == nullptr || !answerer(window).client_area(window, &area)) return false;
    *out = {0, 0, platform::width_of(area), platform::height_of(area)};
    return true;
}

bool ScreenToClient(HWND window, POINT* point) {
    RECT area;
    if (point == nullptr || !answerer(window).client_area(window, &area)) return false;
    *point = {platform::difference(point->x, area.left), platform::difference(point->y, area.top)};
    return true;
}

bool ClientToScreen(HWND window, POINT* point) {
    RECT area;
    if (point == nullptr || !answerer(window).client_area(window, &area)) return false;
    *point = {platform::sum(point->x, area.left), platform::sum(point->y, area.top)};
    return true;
}

bool MoveWindow(HWND window, int x, int y, int width, int height, bool repaint) {
    const RECT place{x, y, platform::sum(x, width), platform::sum(y, height)};
    return platform::is_host_handle(window) ? platform::move_host_window(window, place, repaint)
                                            : window_provider().move(window, place);
}

bool GetWindowPlacement(HWND window, WINDOWPLACEMENT* placement) {
    if (placement == nullptr || placement->length != sizeof *placement) return false;
    return answerer(window).placement(window, placement);
}

bool SetWindowPlacement(HWND window, WINDOWPLACEMENT const* placement) {
    if (placement == nullptr || placement->length != sizeof *placement) return false;
    return answerer(window).set_placement(window, *placement);
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
