// An X server of the test's own, with two monitors and a window manager. DISPLAY names it as long
// as the object lives.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <string_view>
#include <thread>

#include "support/runningChild.h"
#include "tarnwillow/platform/api.h"

namespace tarnwillow::test {

class X11Display {
public:
    /// The screen is 1600 by 800; the monitors are its halves, the left one the primary.
    /// Its number is one that is free, or the given name's.
    explicit X11Display(bool with_manager = true, std::string name = {});
    ~X11Display();
    X11Display(const X11Display&) = delete;
    X11Display& operator=(const X11Display&) = delete;

    /// A name that no other process's displays get, for those that end and come back.
    static std::string own_name();

    /// What is not installed on this machine of what a display needs; empty if all is there.
    static std::string missing();

    /// Takes the right monitor away.
    void lose_monitor();

    /// Ends the server, and starts it again under the same name.
    void kill_server();
    void start_server();

    /// Stops the server where it stands, or lets it go on.
    void freeze(bool frozen);

private:
    void start_manager();

    /// Ended with the object.
    struct Process {
        pid_t id = -1;
        ~Process();
        void end(int signal);
    };

    std::string name_;
    Process server_;
    Process manager_;
};

/// A program of the desktop: see standins/window.c.
class Window {
public:
    explicit Window(std::string_view title, bool shown = true);

    HWND handle() const { return handle_; }
    RunningChild& program() { return program_; }

    /// Has the program do something.
    void tell(std::string_view command);

    HWND add_dialog(std::string_view title);

private:
    RunningChild program_;
    HWND handle_;
};

/// Whether that comes true: a server, a window manager and programs take their time.
template <class Test>
bool eventually(Test test) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!test()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::yield();
    }
    return true;
}

/// What `read` gives as soon as that is what is wanted; what it gave last if it never is.
template <class Read, class Wanted>
auto soon(Read read, const Wanted& wanted) {
    auto value = read();
    eventually([&] { return (value = read()) == wanted; });
    return value;
}

}  // namespace tarnwillow::test

/// At the head of a test: skips it where no display can be had.
#define TARNWILLOW_NEEDS_DISPLAY()                                                        \
    if (const std::string lacks = ::tarnwillow::test::X11Display::missing(); lacks != "") \
    GTEST_SKIP() << "not installed: " << lacks

/// For what a window manager has been asked to do: a busy machine may take longer than the library
/// waits for it.
#define EXPECT_SOON_EQ(actual, expected) \
    EXPECT_EQ(::tarnwillow::test::soon([&] { return actual; }, expected), expected)
