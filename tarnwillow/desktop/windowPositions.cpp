#include "tarnwillow/desktop/windowPositions.h"

#include "tarnwillow/desktop/displayGeometry.h"
#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/platform/coordinates.h"

namespace tarnwillow {

using platform::difference;

namespace {

constexpr char kPositionsKey[] = "Window Positions";
constexpr std::int32_t kMargin = 5;

/// The edge for a window of that size that is to end short of `end`.
std::int32_t before(std::int32_t end, std::int32_t size) {
    return difference(difference(end, size), kMargin);
}

void bring_onto(const RECT& display, RECT* place) {
    const std::int32_t width = platform::width_of(*place), height = platform::height_of(*place);
    if (place->left < display.left) {
        place->left = 0;
        place->right = width;
    } else if (place->left > display.right) {
        place->left = before(display.right, width);
    }
    if (place->top < display.top)
        place->top = kMargin;
    else if (place->top > display.bottom)
        place->top = before(display.bottom, height);
}

bool read_position(char const* name, WINDOWPLACEMENT* out) {
    CRegistry settings;
    unsigned long size = sizeof *out;
    return settings.Open_Application_Key(kPositionsKey, HKEY_CURRENT_USER) &&
           settings.Get_Entry(name, out, &size) && size == sizeof *out &&
           out->length == sizeof *out;
}

}  // namespace

void Save_Window_Position(char const* name, HWND window) {
    alignas(long) WINDOWPLACEMENT placement{};
    placement.length = sizeof placement;
    if (name == nullptr || !GetWindowPlacement(window, &placement)) return;
    CRegistry settings;
    if (settings.Create_Application_Key(kPositionsKey, HKEY_CURRENT_USER))
        settings.Set_Entry(name, reinterpret_cast<long const*>(&placement),
                           static_cast<unsigned long>(sizeof placement));
}

bool Restore_Saved_Window_Position(char const* name, HWND window, bool foreground, bool show) {
    WINDOWPLACEMENT placement{};
    if (name == nullptr || !read_position(name, &placement)) return false;
    RECT display{};
    Get_Display_Rect(&display);
    bring_onto(display, &placement.rcNormalPosition);
    placement.showCmd = show ? SW_SHOW : SW_HIDE;
    if (!SetWindowPlacement(window, &placement)) return false;
    if (foreground) SetForegroundWindow(window);
    return true;
}

}  // namespace tarnwillow
