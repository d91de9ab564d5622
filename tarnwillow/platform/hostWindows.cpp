#include "tarnwillow/platform/hostWindows.h"

#include <unistd.h>

#include <atomic>

#include "tarnwillow/platform/CPlainHostFont.h"
#include "tarnwillow/platform/coordinates.h"
#include "tarnwillow/platform/hostRegistry.h"
#include "tarnwillow/platform/windowProvider.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow {

namespace {

IHostWindow* find(HWND window) {
    platform::HostRegistry* const registry = platform::host_registry();
    return registry != nullptr ? registry->find(window) : nullptr;
}

std::atomic<IHostFont*> stock_font{nullptr};
std::atomic<BeepProcedure> host_beep{nullptr};

IHostFont* current_stock_font() {
    static CPlainHostFont usual(7, 16);
    IHostFont* const set = stock_font.load();
    return set != nullptr ? set : &usual;
}

}  // namespace

HWND Register_Host_Window(IHostWindow* window, HWND parent, int item) {
    platform::HostRegistry* const registry = platform::host_registry();
    if (registry == nullptr || window == nullptr) return nullptr;
    if (parent != nullptr && !IsWindow(parent)) return nullptr;
    return registry->add(window, parent, item);
}

bool Unregister_Host_Window(HWND window) {
    platform::HostRegistry* const registry = platform::host_registry();
    return registry != nullptr && registry->remove(window);
}

HWND GetDlgItem(HWND dialog, int item) {
    platform::HostRegistry* const registry = platform::host_registry();
    return registry != nullptr && IsWindow(dialog) ? registry->child(dialog, item) : nullptr;
}

HWND GetParent(HWND window) {
    platform::HostRegistry* const registry = platform::host_registry();
    return registry != nullptr ? registry->parent(window) : nullptr;
}

bool EnumChildWindows(HWND parent, WNDENUMPROC procedure, std::intptr_t data) {
    platform::HostRegistry* const registry = platform::host_registry();
    if (registry == nullptr || procedure == nullptr || !IsWindow(parent)) return false;
    HWND child = nullptr;
    while ((child = registry->next_below(parent, child)) != nullptr)
        if (!procedure(child, data)) return false;
    return true;
}

bool Get_Edit_Selection(HWND edit, std::uint32_t* start, std::uint32_t* end) {
    IHostWindow* const found = find(edit);
    std::uint32_t first = 0, last = 0;
    if (found == nullptr || !found->Get_Selection(&first, &last)) return false;
    if (start != nullptr) *start = first;
    if (end != nullptr) *end = last;
    return true;
}

bool Set_Edit_Selection(HWND edit, std::uint32_t start, std::uint32_t end) {
    IHostWindow* const found = find(edit);
    return found != nullptr && found->Set_Selection(start, end);
}

IHostFont* Get_Window_Font(HWND window) {
    IHostWindow* const found = find(window);
    if (found == nullptr && !IsWindow(window)) return nullptr;
    IHostFont* const own = found != nullptr ? found->Get_Font() : nullptr;
    return own != nullptr ? own : current_stock_font();
}

IHostFont* Set_Stock_Font(IHostFont* font) { return stock_font.exchange(font); }

bool MessageBeep(std::uint32_t kind) {
    const BeepProcedure host = host_beep.load();
    return host != nullptr ? host(kind) : platform::window_provider().beep(kind);
}

BeepProcedure Set_Beep_Procedure(BeepProcedure procedure) { return host_beep.exchange(procedure); }

int GetSystemMetrics(int index) {
    if (index == SM_CXBORDER) return 1;
    RECT screen;
    if ((index != SM_CXSCREEN && index != SM_CYSCREEN) ||
        !GetWindowRect(GetDesktopWindow(), &screen))
        return 0;
    return index == SM_CXSCREEN ? platform::width_of(screen) : platform::height_of(screen);
}

namespace platform {

namespace {

bool is_window(HWND window) { return find(window) != nullptr; }
std::uint32_t process(HWND window) {
    return is_window(window) ? static_cast<std::uint32_t>(getpid()) : 0;
}

std::size_t title(HWND window, char* dest, std::size_t size) {
    IHostWindow* const found = find(window);
    *dest = 0;
    return found != nullptr ? found->Get_Text(dest, size) : 0;
}

bool set_title(HWND window, char const* text) {
    IHostWindow* const found = find(window);
    return found != nullptr && found->Set_Text(text);
}

bool set_foreground(HWND window) {
    IHostWindow* const found = find(window);
    return found != nullptr && found->Bring_To_Front();
}

bool is_visible(HWND window) {
    IHostWindow* const found = find(window);
    return found != nullptr && found->Is_Visible();
}

bool is_minimised(HWND) { return false; }

// A toolkit's window is shown or not: there is nothing between.
bool show(HWND window, int command) {
    IHostWindow* const found = find(window);
    if (found == nullptr) return false;
    const bool was_visible = found->Is_Visible();
    found->Show(command != SW_HIDE);
    return was_visible;
}

HWND last_active_popup(HWND window) { return is_window(window) ? window : nullptr; }
HWND no_window() { return nullptr; }
bool is_ready(HWND window, std::uint32_t) { return is_window(window); }

bool rectangle(HWND window, RECT* out) {
    IHostWindow* const found = find(window);
    return found != nullptr && (*out = found->Get_Rectangle(), true);
}

bool client_area(HWND window, RECT* out) {
    IHostWindow* const found = find(window);
    return found != nullptr && (*out = found->Get_Client_Area(), true);
}

bool move(HWND window, const RECT& place) { return move_host_window(window, place, true); }

bool placement(HWND window, WINDOWPLACEMENT* out) {
    RECT place;
    if (!rectangle(window, &place)) return false;
    const std::uint32_t command = is_visible(window) ? SW_SHOWNORMAL : SW_HIDE;
    *out = {out->length, 0, command, {-1, -1}, {-1, -1}, place};
    return true;
}

bool set_placement(HWND window, const WINDOWPLACEMENT& placement) {
    if (!move(window, placement.rcNormalPosition)) return false;
    show(window, static_cast<int>(placement.showCmd));
    return true;
}

std::size_t no_monitors(RECT*, std::size_t) { return 0; }
bool no_task_bar(RECT*) { return false; }
bool no_bell(std::uint32_t) { return false; }

constexpr WindowProvider kHost{
    .is_window = is_window,
    .process = process,
    .title = title,
    .set_title = set_title,
    .set_foreground = set_foreground,
    .show = show,
    .is_visible = is_visible,
    .is_minimised = is_minimised,
    .last_active_popup = last_active_popup,
    .foreground = no_window,
    .wait_until_ready = is_ready,
    .rectangle = rectangle,
    .client_area = client_area,
    .move = move,
    .placement = placement,
    .set_placement = set_placement,
    .desktop = no_window,
    .monitors = no_monitors,
    .task_bar = no_task_bar,
    .beep = no_bell,
};

}  // namespace

const WindowProvider& host_windows() { return kHost; }

bool move_host_window(HWND window, const RECT& place, bool repaint) {
    IHostWindow* const found = find(window);
    return found != nullptr && found->Move(place, repaint);
}

}  // namespace platform
}  // namespace tarnwillow
