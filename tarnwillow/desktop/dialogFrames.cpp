#include <algorithm>

#include "tarnwillow/desktop/displayGeometry.h"
#include "tarnwillow/desktop/windowHelpers.h"
#include "tarnwillow/platform/coordinates.h"

namespace tarnwillow {

using platform::difference;
using platform::height_of;
using platform::width_of;

namespace {

bool find_frame(HWND dialog, int control, RECT* out, bool hide) {
    HWND const frame = GetDlgItem(dialog, control);
    RECT place;
    if (frame == nullptr || !GetWindowRect(frame, &place)) return false;
    Global_To_Local_Rect(&place, out, dialog);
    if (hide) ShowWindow(frame, SW_HIDE);
    return true;
}

void store(short* out, std::int32_t value) {
    if (out != nullptr) *out = static_cast<short>(value);
}

struct Collapse {
    HWND dialog;
    RECT frame;  // on the screen
};

bool is_inside(const RECT& inner, const RECT& outer) {
    return inner.left >= outer.left && inner.right <= outer.right && inner.top >= outer.top &&
           inner.bottom <= outer.bottom;
}

bool hide_inside(HWND child, std::intptr_t data) {
    const auto& collapse = *reinterpret_cast<Collapse*>(data);
    RECT place;
    if (GetWindowRect(child, &place) && is_inside(place, collapse.frame))
        ShowWindow(child, SW_HIDE);
    return true;
}

bool move_up_below(HWND child, std::intptr_t data) {
    const auto& collapse = *reinterpret_cast<Collapse*>(data);
    RECT place;
    if (GetParent(child) != collapse.dialog || !GetWindowRect(child, &place)) return true;
    if (place.bottom < collapse.frame.bottom) return true;
    Global_To_Local_Rect(&place, &place, collapse.dialog);
    MoveWindow(child, place.left, difference(place.top, height_of(collapse.frame)), width_of(place),
               height_of(place), false);
    return true;
}

void shorten(HWND dialog, std::int32_t by) {
    RECT place;
    if (!GetWindowRect(dialog, &place)) return;
    HWND const parent = GetParent(dialog);
    if (parent != nullptr) Global_To_Local_Rect(&place, &place, parent);
    MoveWindow(dialog, place.left, place.top, width_of(place),
               std::max(difference(height_of(place), by), 0), false);
}

}  // namespace

void Get_Frame_Rect(HWND dialog, int control, RECT* out, bool hide) {
    RECT place;
    if (find_frame(dialog, control, &place, hide) && out != nullptr) *out = place;
}

void Get_Frame_Offset(HWND dialog, int control, short* x, short* y, bool hide) {
    Get_Frame_Offset(dialog, control, x, y, nullptr, nullptr, hide);
}

void Get_Frame_Offset(HWND dialog, int control, short* x, short* y, short* height, short* width,
                      bool hide) {
    RECT place;
    if (!find_frame(dialog, control, &place, hide)) return;
    store(x, place.left);
    store(y, place.top);
    store(height, height_of(place));
    store(width, width_of(place));
}

void Set_Window_Rect(HWND window, RECT const* rectangle) {
    if (rectangle == nullptr) return;
    MoveWindow(window, rectangle->left, rectangle->top, width_of(*rectangle), height_of(*rectangle),
               true);
}

void Collapse_Dialog_Frame(HWND dialog, int control) {
    Collapse collapse{dialog, {}};
    HWND const frame = GetDlgItem(dialog, control);
    if (frame == nullptr || !GetWindowRect(frame, &collapse.frame)) return;
    const auto data = reinterpret_cast<std::intptr_t>(&collapse);
    EnumChildWindows(dialog, hide_inside, data);
    EnumChildWindows(dialog, move_up_below, data);
    shorten(dialog, height_of(collapse.frame));
}

}  // namespace tarnwillow
