#include "tarnwillow/desktop/displayGeometry.h"

#include <new>
#include <string>

#include "tarnwillow/core/CWeakAPICall.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/files/CDiskFile.h"
#include "tarnwillow/files/applicationFolders.h"
#include "tarnwillow/platform/coordinates.h"

namespace tarnwillow {

using platform::difference;
using platform::height_of;
using platform::sum;
using platform::width_of;

namespace {

constexpr int kUsableOfTaskBar = 5;
constexpr std::int32_t kEverywhere = -1;
constexpr char kMonitorLibrary[] = "User32.dll";

/// The corner for a size centred in the stretch between `from` and `to`.
std::int32_t centred(std::int32_t size, std::int32_t from, std::int32_t to) {
    return sum(from, difference(difference(to, from), size) / 2);
}

bool holds(const RECT& monitor, std::int32_t x, std::int32_t y) {
    return x >= monitor.left && x <= monitor.right && y >= monitor.top && y <= monitor.bottom;
}

// Stored positions were corrected against this measure from the beginning, so it stays: edges are
// added, not united, and the top is taken from the monitor that begins lower.
void widen(RECT* result, const RECT& monitor) {
    if (monitor.left < result->left) result->left = sum(result->left, monitor.left);
    if (monitor.top > result->top) result->top = sum(result->top, monitor.top);
    if (monitor.right > result->right) result->right = sum(result->right, monitor.right);
    if (monitor.bottom > result->bottom) result->bottom = sum(result->bottom, monitor.bottom);
}

bool can_open(char16_t const* path, bool* missing) {
    CDiskFile file;
    const int result = file.Open(path, false, false);
    *missing = result == ERROR_FILE_NOT_FOUND;
    return result == 0;
}

/// Where the icon's file stands; empty if nowhere.
std::u16string icon_path(char16_t const* file) {
    bool missing = false;
    if (can_open(file, &missing)) return file;
    char16_t folder[256];
    Get_App_Folder_Path(AppFolderContent, folder, false);
    std::u16string path = std::u16string(folder) + file;
    can_open(path.c_str(), &missing);
    return missing ? std::u16string() : path;
}

enum class Kind { none, large, small };

HICON extract(const std::u16string& path, Kind kind) {
    HICON icon = nullptr;
    ExtractIconExW(path.c_str(), 0, kind == Kind::large ? &icon : nullptr,
                   kind == Kind::small ? &icon : nullptr, 1);
    return icon;
}

HICON load_icon(const std::u16string& path, int size) {
    if (path.empty()) return nullptr;
    const Kind exact = size == 32 ? Kind::large : size == 16 ? Kind::small : Kind::none;
    HICON const icon = extract(path, exact);
    return icon != nullptr ? icon : extract(path, size >= 16 ? Kind::large : Kind::small);
}

}  // namespace

void Global_To_Local_Rect(RECT const* global, RECT* local, void* window) {
    POINT corners[] = {{global->left, global->top}, {global->right, global->bottom}};
    for (POINT& corner : corners)
        ScreenToClient(static_cast<HWND>(window), &corner);
    *local = {corners[0].x, corners[0].y, corners[1].x, corners[1].y};
}

void Adjust_Rect_To_Base(RECT* rectangle) {
    *rectangle = {0, 0, width_of(*rectangle), height_of(*rectangle)};
}

void Adjust_Rect_To_Offset(RECT* rectangle, int top, int left) {
    *rectangle = {sum(rectangle->left, left), sum(rectangle->top, top), sum(rectangle->right, left),
                  sum(rectangle->bottom, top)};
}

void Center_Rect(RECT* rectangle, RECT const* within) {
    const std::int32_t width = width_of(*rectangle), height = height_of(*rectangle);
    const std::int32_t left = centred(width, within->left, within->right);
    const std::int32_t top = centred(height, within->top, within->bottom);
    *rectangle = {left, top, sum(left, width), sum(top, height)};
}

void Get_Screen_Dimensions(int* width, int* height) {
    RECT screen{}, bar{};
    GetWindowRect(GetDesktopWindow(), &screen);
    *width = screen.right;
    *height = screen.bottom;
    if (!GetTaskBarRect(&bar)) return;
    if (width_of(bar) > height_of(bar))
        *height = difference(*height, difference(height_of(bar), kUsableOfTaskBar));
    else
        *width = difference(*width, difference(width_of(bar), kUsableOfTaskBar));
}

void Get_Display_Rect(RECT* out) {
    detail::search_monitors(kMonitorLibrary, kEverywhere, kEverywhere, out);
}

void Get_Display_Rect_For_Window(HWND window, RECT* out) {
    WINDOWPLACEMENT placement{};
    placement.length = sizeof placement;
    if (!GetWindowPlacement(window, &placement)) return;
    RECT normal = placement.rcNormalPosition;
    if (normal.left < 0 || normal.top < 0) Adjust_Rect_To_Base(&normal);
    detail::search_monitors(kMonitorLibrary, normal.left, normal.top, out);
}

HICON Load_Icon_From_File(HINSTANCE, char16_t const* file, int size) {
    if (file == nullptr) return nullptr;
    try {
        return load_icon(icon_path(file), size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

namespace detail {

bool RectMonitorEnumProc(HMONITOR, HDC, RECT* rectangle, std::intptr_t data) {
    return reporting_guard(
        ExceptionLevelHandled, u"RectMonitorEnumProc",
        [&] {
            const RECT monitor = *not_null(rectangle);
            const MonitorSearch& search = *not_null(reinterpret_cast<MonitorSearch*>(data));
            const bool everywhere = search.x == kEverywhere && search.y == kEverywhere;
            if (everywhere || holds(monitor, search.x, search.y))
                widen(not_null(search.result), monitor);
            return true;
        },
        [] { return false; });
}

void search_monitors(char const* library, std::int32_t x, std::int32_t y, RECT* out) {
    CWeakAPICall call;
    auto* const enumerate = reinterpret_cast<decltype(&EnumDisplayMonitors)>(
        call.Load_Call(library, "EnumDisplayMonitors"));
    if (enumerate == nullptr) {
        GetWindowRect(GetDesktopWindow(), out);
        return;
    }
    MonitorSearch search{y, x, out};
    enumerate(nullptr, nullptr, RectMonitorEnumProc, reinterpret_cast<std::intptr_t>(&search));
}

}  // namespace detail
}  // namespace tarnwillow
