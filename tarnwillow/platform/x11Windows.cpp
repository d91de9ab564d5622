#include "tarnwillow/platform/x11Windows.h"

#include <cstring>

#include "tarnwillow/platform/headlessWindows.h"
#include "tarnwillow/platform/x11Link.h"
#include "tarnwillow/platform/x11Monitors.h"
#include "tarnwillow/platform/x11Places.h"
#include "tarnwillow/platform/x11Properties.h"
#include "tarnwillow/platform/x11State.h"
#include "tarnwillow/platform/x11Texts.h"

namespace tarnwillow::platform {

namespace {

using x11::ask;
using x11::Connection;
using x11::State;
using x11::to_window;

const WindowProvider& headless() { return headless_windows(); }

bool is_window(HWND window) {
    return ask(false, [&](Connection& x) { return x11::exists(x, to_window(window)); });
}

std::uint32_t process(HWND window) {
    return ask(0U, [&](Connection& x) {
        if (to_window(window) == 0) return 0U;
        return x11::word_of(x, to_window(window), x11::Name::net_wm_pid).value_or(0);
    });
}

std::size_t title(HWND window, char* dest, std::size_t size) {
    dest[0] = 0;
    return ask(std::size_t{0},
               [&](Connection& x) { return x11::title_of(x, to_window(window), dest, size); });
}

bool set_title(HWND window, char const* title) {
    return ask(false, [&](Connection& x) { return x11::give_title(x, to_window(window), title); });
}

State state_of(HWND window) {
    return ask(State{}, [&](Connection& x) { return x11::state_of(x, to_window(window)); });
}

bool is_visible(HWND window) { return state_of(window).visible(); }
bool is_minimised(HWND window) { return state_of(window).minimised; }

/// The operation of the server's windows, or that of the windows without a display, for the handle.
template <auto OfServer, auto OfHeadless, class... Arguments>
auto either(HWND window, Arguments... arguments) {
    const bool of_server = x11::has_display() && !is_headless(window);
    return of_server ? OfServer(window, arguments...)
                     : (headless().*OfHeadless)(window, arguments...);
}

// Questions without a window go to the server if it answers.

HWND foreground() {
    const HWND none = reinterpret_cast<HWND>(UINTPTR_MAX);
    const HWND found = ask(none, [](Connection&) { return HWND{nullptr}; });
    return found == none ? headless().foreground() : x11::foreground();
}

HWND desktop() {
    const HWND root = ask(HWND{nullptr}, [](Connection& x) { return x11::to_handle(x.root()); });
    return root != nullptr ? root : headless().desktop();
}

std::size_t monitors(RECT* dest, std::size_t room) {
    const std::size_t count =
        ask(std::size_t{0}, [&](Connection& x) { return x11::monitors(x, dest, room); });
    return count > 0 ? count : headless().monitors(dest, room);
}

bool task_bar(RECT* out) {
    bool answered = false;
    const bool found = ask(false, [&](Connection& x) {
        answered = true;
        return x11::task_bar(x, out);
    });
    return answered ? found : headless().task_bar(out);
}

bool beep(std::uint32_t kind) {
    const bool done =
        ask(false, [](Connection& x) { return x.confirm(xcb_bell_checked(x.raw(), 0)); });
    return done || headless().beep(kind);
}

using Table = WindowProvider;

constexpr WindowProvider kX11{
    .is_window = either<is_window, &Table::is_window>,
    .process = either<process, &Table::process>,
    .title = either<title, &Table::title>,
    .set_title = either<set_title, &Table::set_title>,
    .set_foreground = either<x11::set_foreground, &Table::set_foreground>,
    .show = either<x11::show, &Table::show>,
    .is_visible = either<is_visible, &Table::is_visible>,
    .is_minimised = either<is_minimised, &Table::is_minimised>,
    .last_active_popup = either<x11::last_active_popup, &Table::last_active_popup>,
    .foreground = foreground,
    .wait_until_ready = either<x11::wait_until_ready, &Table::wait_until_ready>,
    .rectangle = either<x11::rectangle, &Table::rectangle>,
    .client_area = either<x11::client_area, &Table::client_area>,
    .move = either<x11::move, &Table::move, const RECT&>,
    .placement = either<x11::placement, &Table::placement>,
    .set_placement = either<x11::set_placement, &Table::set_placement, const WINDOWPLACEMENT&>,
    .desktop = desktop,
    .monitors = monitors,
    .task_bar = task_bar,
    .beep = beep,
};

}  // namespace

const WindowProvider& x11_windows() { return kX11; }

void leave_x11_windows() { x11::leave(); }

}  // namespace tarnwillow::platform
