#include "tarnwillow/platform/headlessWindows.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>

#include "tarnwillow/platform/clock.h"
#include "tarnwillow/platform/headlessTable.h"
#include "tarnwillow/platform/processIdentity.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow::platform {

using namespace headless;

namespace {

constexpr RECT kFirstPlace{0, 0, 640, 480};
constexpr POINT kAnywhere{-1, -1};

bool is_own(Window const* window) {
    return window != nullptr && window->process == static_cast<std::uint32_t>(getpid());
}

std::size_t copy_text(char* dest, std::size_t size, char const* source, std::size_t length) {
    const std::size_t count = std::min(size - 1, length);
    std::memmove(dest, source, count);
    dest[count] = 0;
    return count;
}

void give_title(Window& window, char const* title) {
    std::memset(window.title, 0, kTitleSize);
    copy_text(window.title, kTitleSize, title, std::strlen(title));
}

/// `changed` says that the waiters may look again.
void futex(std::uint32_t& word, int operation, std::uint32_t value, timespec const* timeout) {
    syscall(SYS_futex, &word, operation, value, timeout, nullptr, 0);
}

// The provider's operations.

bool is_window(HWND window) { return is_desktop(window) || Hold().find(window) != nullptr; }

std::uint32_t process_of(HWND window) {
    const Hold hold;
    Window const* const found = hold.find(window);
    return found != nullptr ? found->process : 0;
}

std::size_t title_of(HWND window, char* dest, std::size_t size) {
    dest[0] = 0;
    const Hold hold;
    Window const* const found = hold.find(window);
    if (found == nullptr) return 0;
    char title[kTitleSize];
    std::memcpy(title, found->title, sizeof title);
    return copy_text(dest, size, title, strnlen(title, kTitleSize - 1));
}

bool set_title(HWND window, char const* title) {
    const Hold hold;
    Window* const found = hold.find(window);
    if (found != nullptr) give_title(*found, title);
    return found != nullptr;
}

bool has_state(HWND window, State state) {
    const Hold hold;
    Window const* const found = hold.find(window);
    return found != nullptr && (found->state & state) != 0;
}

bool is_visible(HWND window) { return has_state(window, kVisible); }
bool is_minimised(HWND window) { return has_state(window, kMinimised); }

/// What a command makes of a state. Restoring a minimised window that was maximised maximises it.
std::uint32_t shown(std::uint32_t state, int command) {
    switch (command) {
        case SW_HIDE:
            return state & ~kVisible;
        case SW_SHOW:
            return state | kVisible;
        case SW_SHOWMINIMIZED:
        case SW_MINIMIZE:
            return state | kVisible | kMinimised;
        case SW_SHOWMAXIMIZED:
            return kVisible | kMaximised;
        case SW_SHOWNORMAL:
            return kVisible;
        case SW_RESTORE:
            return (state & kMinimised) != 0 ? (state & kMaximised) | kVisible : kVisible;
        default:
            return state;
    }
}

bool show(HWND window, int command) {
    const Hold hold;
    Window* const found = hold.find(window);
    if (found == nullptr) return false;
    const bool was_visible = (found->state & kVisible) != 0;
    found->state = shown(found->state, command);
    return was_visible;
}

bool set_foreground(HWND window) {
    const Hold hold;
    Window* const found = hold.find(window);
    if (found == nullptr) return false;
    found->activated = ++hold.table().activations;
    hold.table().foreground = found->handle;
    return true;
}

HWND foreground() {
    const Hold hold;
    if (!hold) return nullptr;
    Window const* const found = hold.find(hold.table().foreground);
    return found != nullptr ? Hold::to_handle(found->handle) : nullptr;
}

HWND last_active_popup(HWND window) {
    const Hold hold;
    Window const* latest = hold.find(window);
    if (latest == nullptr) return nullptr;
    const std::uint32_t owner = latest->handle;
    for (const Window& popup : hold.table().windows) {
        if (popup.handle == 0 || popup.owner != owner || popup.activated <= latest->activated)
            continue;
        if (hold.find(popup.handle) == &popup) latest = &popup;
    }
    return Hold::to_handle(latest->handle);
}

/// The window's word that tells whether its program is busy, if it is; null if not. `*gone` is set
/// if there is no such window.
std::uint32_t* busy_word(HWND window, bool* gone) {
    const Hold hold;
    Window* const found = hold.find(window);
    *gone = found == nullptr;
    return found != nullptr && found->busy != 0 ? &found->busy : nullptr;
}

bool wait_until_ready(HWND window, std::uint32_t milliseconds) {
    // A program that dies while it is waited for wakes nobody.
    constexpr std::uint32_t kLook = 100;
    const std::uint32_t started = GetTickCount();
    for (;;) {
        bool gone = false;
        std::uint32_t* const busy = busy_word(window, &gone);
        if (busy == nullptr) return !gone;
        const std::uint32_t waited = GetTickCount() - started;
        if (waited >= milliseconds) return false;
        const std::uint32_t turn = std::min(milliseconds - waited, kLook);
        const timespec timeout{0, static_cast<long>(turn) * 1000000};
        futex(*busy, FUTEX_WAIT, 1, &timeout);
    }
}

bool rectangle(HWND window, RECT* out) {
    if (is_desktop(window)) return *out = primary_monitor(), true;
    const Hold hold;
    Window const* const found = hold.find(window);
    if (found == nullptr) return false;
    *out = (found->state & (kMaximised | kMinimised)) == kMaximised ? primary_monitor()
                                                                    : found->normal;
    return true;
}

bool move(HWND window, const RECT& place) {
    const Hold hold;
    Window* const found = hold.find(window);
    if (found == nullptr) return false;
    found->normal = place;
    found->state &= ~kMaximised;
    return true;
}

std::uint32_t show_command(std::uint32_t state) {
    if ((state & kMinimised) != 0) return SW_SHOWMINIMIZED;
    return (state & kMaximised) != 0 ? SW_SHOWMAXIMIZED : SW_SHOWNORMAL;
}

bool placement(HWND window, WINDOWPLACEMENT* out) {
    const Hold hold;
    Window const* const found = hold.find(window);
    if (found == nullptr) return false;
    *out = {out->length,      found->flags,     show_command(found->state),
            found->minimised, found->maximised, found->normal};
    return true;
}

bool set_placement(HWND window, const WINDOWPLACEMENT& placement) {
    const Hold hold;
    Window* const found = hold.find(window);
    if (found == nullptr) return false;
    found->normal = placement.rcNormalPosition;
    found->minimised = placement.ptMinPosition;
    found->maximised = placement.ptMaxPosition;
    found->flags = placement.flags;
    found->state = shown(found->state & kVisible, static_cast<int>(placement.showCmd));
    return true;
}

bool beep(std::uint32_t) { return false; }

constexpr WindowProvider kHeadlessWindows{
    .is_window = guarded<is_window>,
    .process = guarded<process_of>,
    .title = guarded<title_of>,
    .set_title = guarded<set_title>,
    .set_foreground = guarded<set_foreground>,
    .show = guarded<show>,
    .is_visible = guarded<is_visible>,
    .is_minimised = guarded<is_minimised>,
    .last_active_popup = guarded<last_active_popup>,
    .foreground = guarded<foreground>,
    .wait_until_ready = guarded<wait_until_ready>,
    .rectangle = guarded<rectangle>,
    .client_area = guarded<rectangle>,  // there are no frames
    .move = guarded<move>,
    .placement = guarded<placement>,
    .set_placement = guarded<set_placement>,
    .desktop = desktop,
    .monitors = monitors,
    .task_bar = task_bar,
    .beep = beep,
};

/// A record that no living window has, or null.
Window* free_record(Table& table) {
    for (Window& window : table.windows)
        if (window.handle == 0 || !is_running({window.process, window.started})) return &window;
    return nullptr;
}

HWND add_window(char const* title, HWND owner) {
    const Hold hold;
    if (!hold) return nullptr;
    Table& table = hold.table();
    Window* const window = free_record(table);
    if (window == nullptr) return nullptr;
    std::memset(window, 0, sizeof *window);
    const ProcessIdentity self = current_process();
    window->process = self.id;
    window->started = self.started;
    window->owner = Hold::to_number(owner);
    window->state = kVisible;
    window->normal = kFirstPlace;
    window->minimised = window->maximised = kAnywhere;
    window->activated = ++table.activations;
    give_title(*window, title);
    table.uses = table.uses % kMostUses + 1;
    const auto record = static_cast<std::uint32_t>(window - table.windows);
    // Stored last: a program that dies in here leaves no window.
    std::atomic_ref(window->handle)
        .store(kHeadless | (table.uses * kWindows + record), std::memory_order_release);
    return Hold::to_handle(window->handle);
}

bool remove_window(HWND window) {
    const Hold hold;
    Window* const found = hold.find(window);
    if (!is_own(found)) return false;
    found->handle = 0;
    return true;
}

bool set_ready(HWND window, bool ready) {
    const Hold hold;
    Window* const found = hold.find(window);
    if (!is_own(found)) return false;
    std::atomic_ref(found->busy).store(ready ? 0 : 1, std::memory_order_release);
    futex(found->busy, FUTEX_WAKE, INT32_MAX, nullptr);
    return true;
}

bool remove_own_windows() {
    const Hold hold;
    if (!hold) return false;
    for (Window& window : hold.table().windows)
        if (is_own(&window)) window.handle = 0;
    return true;
}

}  // namespace

const WindowProvider& headless_windows() { return kHeadlessWindows; }

bool is_headless(HWND window) { return (Hold::to_number(window) & kKinds) == kHeadless; }

void leave_headless_windows() {
    guarded<remove_own_windows>();
    leave_table();
}

}  // namespace tarnwillow::platform

namespace tarnwillow {

using platform::headless::guarded;

HWND New_Headless_Window(char const* title, HWND owner) {
    return guarded<platform::add_window>(title != nullptr ? title : "", owner);
}

bool Destroy_Headless_Window(HWND window) { return guarded<platform::remove_window>(window); }

bool Set_Headless_Window_Ready(HWND window, bool ready) {
    return guarded<platform::set_ready>(window, ready);
}

}  // namespace tarnwillow
