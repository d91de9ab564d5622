// The monitors and the task bar that a process without a display takes for its own.
#include <algorithm>
#include <mutex>

#include "tarnwillow/platform/forkLocks.h"
#include "tarnwillow/platform/headlessTable.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow::platform::headless {

namespace {

constexpr std::size_t kMostMonitors = 16;
constexpr RECT kUsual{0, 0, 1024, 768};

struct Desktop {
    std::mutex lock;
    RECT monitors[kMostMonitors] = {kUsual};
    std::size_t count = 1;
    RECT task_bar{};
    bool has_task_bar = false;

    void set(RECT const* given, std::size_t number, RECT const* bar) {
        const std::lock_guard hold(lock);
        count = given != nullptr ? std::min(number, kMostMonitors) : 0;
        std::copy_n(given, count, monitors);
        if (count == 0) monitors[count++] = kUsual;
        has_task_bar = bar != nullptr;
        if (has_task_bar) task_bar = *bar;
    }
};

Desktop& the_desktop() {
    static Desktop desktop;
    static const bool noted = note_fork_lock(desktop.lock, nullptr);
    static_cast<void>(noted);
    return desktop;
}

}  // namespace

bool is_desktop(HWND window) { return Hold::to_number(window) == kDesktop; }
HWND desktop() { return Hold::to_handle(kDesktop); }

RECT primary_monitor() {
    const std::lock_guard hold(the_desktop().lock);
    return the_desktop().monitors[0];
}

std::size_t monitors(RECT* dest, std::size_t room) {
    const std::lock_guard hold(the_desktop().lock);
    std::copy_n(the_desktop().monitors, std::min(room, the_desktop().count), dest);
    return the_desktop().count;
}

bool task_bar(RECT* out) {
    const std::lock_guard hold(the_desktop().lock);
    if (the_desktop().has_task_bar) *out = the_desktop().task_bar;
    return the_desktop().has_task_bar;
}

}  // namespace tarnwillow::platform::headless

namespace tarnwillow {

void Set_Headless_Desktop(RECT const* monitors, std::size_t count, RECT const* task_bar) {
    platform::headless::the_desktop().set(monitors, count, task_bar);
}

}  // namespace tarnwillow
