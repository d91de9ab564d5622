#include "tarnwillow/platform/CPlainHostWindow.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "tarnwillow/platform/coordinates.h"
#include "tarnwillow/platform/hostWindows.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow {

using platform::difference;
using platform::sum;

CPlainHostWindow::CPlainHostWindow(const RECT& place, HWND parent, int item, char const* text)
    : place(place), handle(nullptr) {
    CPlainHostWindow::Set_Text(text);
    handle = Register_Host_Window(this, parent, item);
}

CPlainHostWindow::~CPlainHostWindow() { Unregister_Host_Window(handle); }

std::size_t CPlainHostWindow::Get_Text(char* dest, std::size_t size) {
    const std::size_t length = std::min(size - 1, text.size());
    std::memcpy(dest, text.data(), length);
    dest[length] = 0;
    return length;
}

bool CPlainHostWindow::Set_Text(char const* new_text) {
    try {
        text = new_text != nullptr ? new_text : "";
    } catch (const std::bad_alloc&) {
        return false;
    }
    selection_start = selection_end = 0;
    return true;
}

bool CPlainHostWindow::Get_Selection(std::uint32_t* start, std::uint32_t* end) {
    *start = selection_start;
    *end = selection_end;
    return true;
}

bool CPlainHostWindow::Set_Selection(std::uint32_t start, std::uint32_t end) {
    selection_start = start;
    selection_end = end;
    return true;
}

RECT CPlainHostWindow::Get_Rectangle() {
    POINT corner{0, 0};
    const HWND parent = GetParent(handle);
    if (parent != nullptr) ClientToScreen(parent, &corner);
    return {sum(place.left, corner.x), sum(place.top, corner.y), sum(place.right, corner.x),
            sum(place.bottom, corner.y)};
}

RECT CPlainHostWindow::Get_Client_Area() {
    const RECT outer = Get_Rectangle();
    return {sum(outer.left, frame.left), sum(outer.top, frame.top),
            difference(outer.right, frame.right), difference(outer.bottom, frame.bottom)};
}

bool CPlainHostWindow::Move(const RECT& new_place, bool) {
    place = new_place;
    return true;
}

}  // namespace tarnwillow
