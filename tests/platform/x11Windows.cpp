#include "tarnwillow/platform/x11Windows.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "support/childProcess.h"
#include "support/temporaryFolder.h"
#include "support/windowTexts.h"
#include "support/x11Display.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow::test {

namespace {

std::string state_of(HWND window) {
    WINDOWPLACEMENT placement{};
    placement.length = sizeof placement;
    if (!GetWindowPlacement(window, &placement)) return "none";
    return std::to_string(placement.showCmd) + (IsWindowVisible(window) ? "" : " hidden");
}

bool move_to(HWND window, int x, int y, int width, int height) {
    return MoveWindow(window, x, y, width, height, true);
}

WINDOWPLACEMENT placement_of(HWND window) {
    WINDOWPLACEMENT placement{};
    placement.length = sizeof placement;
    EXPECT_TRUE(GetWindowPlacement(window, &placement));
    return placement;
}

std::string monitors() {
    std::string all;
    EnumDisplayMonitors(
        nullptr, nullptr,
        [](HMONITOR, HDC, RECT* monitor, std::intptr_t data) {
            *reinterpret_cast<std::string*>(data) += text(*monitor) + "; ";
            return true;
        },
        reinterpret_cast<std::intptr_t>(&all));
    return all;
}

TEST(X11Windows, TellTheirTitleAndProcess) {
    TARNWILLOW_NEEDS_DISPLAY();
    X11Display display;
    Window window(
        "Gr\xC3\xBC\xC3\x9F"
        "e");
    EXPECT_TRUE(IsWindow(window.handle()));
    EXPECT_EQ(title_of(window.handle()),
              "Gr\xC3\xBC\xC3\x9F"
              "e");
    EXPECT_EQ(GetWindowProcessId(window.handle()),
              static_cast<std::uint32_t>(window.program().id()));
    window.tell(
        "latin Gr\xFC\xDF"
        "e");
    EXPECT_EQ(title_of(window.handle()),
              "Gr\xC3\xBC\xC3\x9F"
              "e");
    EXPECT_TRUE(SetWindowTextA(window.handle(), "ours"));
    EXPECT_EQ(title_of(window.handle()), "ours");
    window.tell("title " + std::string(400, 't'));
    EXPECT_EQ(title_of(window.handle()), std::string(255, 't'));
    char small[3];
    EXPECT_EQ(GetWindowTextA(window.handle(), small, sizeof small), 2);
}

TEST(X11Windows, AreAskedAboutInVainWhenThereAreNone) {
    TARNWILLOW_NEEDS_DISPLAY();
    X11Display display;
    Window window("closed");
    window.tell("close");
    for (HWND none : {window.handle(), HWND{nullptr}, to_window("1"), to_window("536870911"),
                      to_window("4294967295"), to_window("18446744073709551615")}) {
        RECT place{1, 2, 3, 4};
        EXPECT_FALSE(IsWindow(none) || IsWindowVisible(none) || IsIconic(none));
        EXPECT_FALSE(SetWindowTextA(none, "x") || SetForegroundWindow(none));
        EXPECT_FALSE(ShowWindow(none, SW_RESTORE) || move_to(none, 0, 0, 10, 10));
        EXPECT_FALSE(WaitForWindowReady(none, 1000));
        EXPECT_FALSE(GetWindowRect(none, &place) || GetClientRect(none, &place));
        EXPECT_EQ(text(place), "1,2 2x2") << "untouched";
        EXPECT_EQ(title_of(none) + state_of(none), "none");
        EXPECT_EQ(GetLastActivePopup(none), nullptr);
        EXPECT_EQ(GetWindowProcessId(none), 0U);
    }
}

TEST(X11Windows, AreShownAsEachCommandSays) {
    TARNWILLOW_NEEDS_DISPLAY();
    X11Display display;
    Window window("shown", false);
    const HWND handle = window.handle();
    EXPECT_FALSE(IsWindowVisible(handle));
    const struct {
        int command;
        char const* state;
    } steps[] = {
        {SW_SHOW, "1"},          {SW_MINIMIZE, "2"},      {SW_MINIMIZE, "2"},
        {SW_RESTORE, "1"},       {SW_SHOWMAXIMIZED, "3"}, {SW_SHOWMINIMIZED, "2"},
        {SW_SHOW, "2"},          {SW_RESTORE, "3"},       {SW_RESTORE, "1"},
        {SW_SHOWMAXIMIZED, "3"}, {SW_SHOWNORMAL, "1"},    {SW_HIDE, "1 hidden"},
        {SW_HIDE, "1 hidden"},   {SW_SHOWMINIMIZED, "2"}, {SW_SHOWMAXIMIZED, "3"},
        {SW_HIDE, "1 hidden"},   {SW_SHOWNORMAL, "1"},
    };
    std::string before = "hidden";
    for (const auto& step : steps) {
        const bool was_visible = before.find("hidden") == std::string::npos;
        EXPECT_EQ(ShowWindow(handle, step.command), was_visible) << step.command;
        const auto state = [&] {
            before = state_of(handle);
            // Whether a hidden window will come back maximised is the window manager's.
            return before == "3 hidden" ? "1 hidden" : before;
        };
        EXPECT_SOON_EQ(state(), step.state) << "command " << step.command;
    }
}

TEST(X11Windows, ComeToTheFront) {
    TARNWILLOW_NEEDS_DISPLAY();
    X11Display display;
    Window one("one"), two("two");
    for (Window* window : {&one, &two, &one}) {
        EXPECT_TRUE(SetForegroundWindow(window->handle()));
        EXPECT_SOON_EQ(GetForegroundWindow(), window->handle());
    }
}

TEST(X11Windows, KnowThePopupThatWasActiveLast) {
    TARNWILLOW_NEEDS_DISPLAY();
    X11Display display;
    Window window("main"), other("other");
    const HWND first = window.add_dialog("first");
    const HWND second = window.add_dialog("second");
    EXPECT_TRUE(SetForegroundWindow(first));
    EXPECT_SOON_EQ(GetLastActivePopup(window.handle()), first) << "it is in front";
    EXPECT_TRUE(SetForegroundWindow(window.handle()));
    EXPECT_SOON_EQ(GetLastActivePopup(window.handle()), window.handle());
    EXPECT_TRUE(SetForegroundWindow(other.handle()));
    EXPECT_TRUE(SetForegroundWindow(second));
    EXPECT_TRUE(SetForegroundWindow(other.handle()));
    EXPECT_SOON_EQ(GetLastActivePopup(window.handle()), second) << "the one nearest to the front";
    window.tell("input 4000000000");
    EXPECT_SOON_EQ(GetLastActivePopup(window.handle()), window.handle()) << "input came here last";
    EXPECT_EQ(GetLastActivePopup(first), first);
}

TEST(X11Windows, AreReadyWhenTheirProgramAnswers) {
    TARNWILLOW_NEEDS_DISPLAY();
    X11Display display;
    Window window("ready");
    EXPECT_TRUE(WaitForWindowReady(window.handle(), 30000));
    window.tell("hang");
    EXPECT_FALSE(WaitForWindowReady(window.handle(), 100));
    std::thread waker([&] { window.tell("wake"); });
    EXPECT_TRUE(WaitForWindowReady(window.handle(), 30000));
    waker.join();
    window.tell("hang");
    std::thread killer([&] { window.program().kill(); });
    EXPECT_FALSE(WaitForWindowReady(window.handle(), 30000));
    killer.join();
    Window mute("mute");
    mute.tell("mute");
    mute.tell("hang");
    EXPECT_TRUE(WaitForWindowReady(mute.handle(), 0)) << "nothing can be told";
    Window own("own");
    own.tell("hang");
    own.tell("pid " + std::to_string(getpid()));
    EXPECT_TRUE(WaitForWindowReady(own.handle(), 30000)) << "one does not wait for oneself";
}

TEST(X11Windows, DoNotDriftWhenTheirPlaceIsReadAndSet) {
    TARNWILLOW_NEEDS_DISPLAY();
    for (const bool with_manager : {true, false}) {
        X11Display display(with_manager);
        Window window("placed");
        const HWND handle = window.handle();
        ASSERT_TRUE(move_to(handle, 150, 120, 400, 300));
        EXPECT_SOON_EQ(place_of(handle), "150,120 400x300");
        RECT inner{};
        EXPECT_TRUE(GetClientRect(handle, &inner));
        EXPECT_EQ(inner.bottom < 300, with_manager) << "a frame has a title";
        for (int i = 0; i < 10; ++i) {
            const WINDOWPLACEMENT placement = placement_of(handle);
            EXPECT_TRUE(SetWindowPlacement(handle, &placement));
        }
        EXPECT_SOON_EQ(place_of(handle), "150,120 400x300");
        WINDOWPLACEMENT far = placement_of(handle);
        far.rcNormalPosition = {INT32_MIN, -20, INT32_MAX, 20};
        SetWindowPlacement(handle, &far);
        EXPECT_TRUE(IsWindow(handle));
    }
}

TEST(X11Windows, TakeTheirPlaceBeforeTheyAreShown) {
    TARNWILLOW_NEEDS_DISPLAY();
    X11Display display;
    Window window("placed", false);
    WINDOWPLACEMENT placement{};
    placement.length = sizeof placement;
    placement.rcNormalPosition = {900, 200, 1300, 500};
    placement.showCmd = SW_HIDE;
    EXPECT_TRUE(SetWindowPlacement(window.handle(), &placement));
    EXPECT_SOON_EQ(place_of(window.handle()), "900,200 400x300");
    EXPECT_FALSE(IsWindowVisible(window.handle()));
    ShowWindow(window.handle(), SW_SHOW);
    EXPECT_SOON_EQ(place_of(window.handle()), "900,200 400x300");
}

TEST(X11Windows, TakeTheirNormalPlaceFromEveryState) {
    TARNWILLOW_NEEDS_DISPLAY();
    X11Display display;
    Window window("placed");
    const HWND handle = window.handle();
    for (int state : {SW_SHOWMAXIMIZED, SW_SHOWMINIMIZED, SW_HIDE}) {
        ShowWindow(handle, state);
        WINDOWPLACEMENT placement{};
        placement.length = sizeof placement;
        placement.rcNormalPosition = {100, 100, 500, 400};
        placement.showCmd = SW_SHOW;
        EXPECT_TRUE(SetWindowPlacement(handle, &placement));
        EXPECT_SOON_EQ(place_of(handle) + " " + state_of(handle), "100,100 400x300 1") << state;
        placement.showCmd = SW_SHOWMINIMIZED;
        EXPECT_TRUE(SetWindowPlacement(handle, &placement));
        EXPECT_SOON_EQ(place_of(handle) + " " + state_of(handle), "100,100 400x300 2") << state;
    }
}

TEST(X11Desktop, HasItsMonitorsAndItsPanel) {
    TARNWILLOW_NEEDS_DISPLAY();
    X11Display display;
    EXPECT_EQ(monitors(), "0,0 800x800; 800,0 800x800; ");
    EXPECT_EQ(place_of(GetDesktopWindow()), "0,0 800x800");
    RECT bar{};
    EXPECT_FALSE(GetTaskBarRect(&bar));
    Window panel("panel", false);
    panel.tell("panel 30");
    panel.tell("show");
    EXPECT_TRUE(eventually([&] { return GetTaskBarRect(&bar); }));
    EXPECT_EQ(text(bar), "0,770 800x30");
    display.lose_monitor();
    EXPECT_EQ(monitors(), "0,0 800x800; ");
}

TEST(X11Display, ThatDiesTakesItsWindowsAndNobodyElse) {
    TARNWILLOW_NEEDS_DISPLAY();
    X11Display display(true, X11Display::own_name());
    const auto window = std::make_unique<Window>("gone");
    ASSERT_TRUE(IsWindow(window->handle()));
    display.kill_server();
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(IsWindow(window->handle()) || ShowWindow(window->handle(), SW_RESTORE));
        EXPECT_FALSE(WaitForWindowReady(window->handle(), 30000));
        EXPECT_EQ(monitors(), "0,0 1024x768; ") << "as without a display";
    }
    display.start_server();
    Window next("next");
    EXPECT_TRUE(eventually([&] { return IsWindow(next.handle()); }));
    EXPECT_EQ(title_of(next.handle()), "next");
}

class X11DisplayThatStandsStill : public testing::TestWithParam<bool> {};

TEST_P(X11DisplayThatStandsStill, IsWaitedForOnce) {
    TARNWILLOW_NEEDS_DISPLAY();
    X11Display display;
    Window window("still there");
    ASSERT_TRUE(IsWindow(window.handle()));
    display.freeze(true);
    if (!GetParam()) platform::leave_x11_windows();  // it connects anew
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 100; ++i)
        EXPECT_FALSE(IsWindow(window.handle()));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
    display.freeze(false);
    EXPECT_TRUE(eventually([&] { return IsWindow(window.handle()); }));
    EXPECT_EQ(title_of(window.handle()), "still there");
}

INSTANTIATE_TEST_SUITE_P(Connected, X11DisplayThatStandsStill, testing::Bool());

TEST(X11Display, IsReachedAnewByAForkedChild) {
    TARNWILLOW_NEEDS_DISPLAY();
    X11Display display;
    Window window("forked");
    ASSERT_TRUE(IsWindow(window.handle()));
    const pid_t child = fork();
    if (child == 0) _exit(title_of(window.handle()) == "forked" ? 0 : 1);
    int state = -1;
    ASSERT_EQ(waitpid(child, &state, 0), child);
    EXPECT_EQ(state, 0);
    EXPECT_EQ(title_of(window.handle()), "forked") << "the parent's own goes on";
}

TEST(X11Display, ServesThreadsAtOnce) {
    TARNWILLOW_NEEDS_DISPLAY();
    X11Display display;
    Window one("one"), two("two");
    const auto work = [](HWND window, char const* title) {
        for (int i = 0; i < 50; ++i) {
            EXPECT_EQ(title_of(window), title);
            EXPECT_TRUE(WaitForWindowReady(window, 30000));
        }
    };
    std::thread other(work, two.handle(), "two");
    work(one.handle(), "one");
    other.join();
}

TEST(X11Display, ThatIsNotThereLeavesTheWindowsWithoutADisplay) {
    const TemporaryFolder folder;
    for (char const* name : {":64999", "not a display", "", "127.0.0.1:64999"}) {
        setenv("DISPLAY", name, 1);
        platform::leave_x11_windows();
        const HWND window = New_Headless_Window("headless");
        EXPECT_EQ(title_of(window), "headless");
        EXPECT_TRUE(SetForegroundWindow(window));
        EXPECT_EQ(GetForegroundWindow(), window) << name;
        EXPECT_EQ(monitors(), "0,0 1024x768; ");
        EXPECT_FALSE(IsWindow(to_window("2097153")));
        Destroy_Headless_Window(window);
    }
    unsetenv("DISPLAY");
    platform::leave_x11_windows();
}

TEST(X11Display, AlsoKnowsTheWindowsWithoutADisplay) {
    TARNWILLOW_NEEDS_DISPLAY();
    const TemporaryFolder folder;
    X11Display display;
    const HWND window = New_Headless_Window("headless");
    EXPECT_EQ(title_of(window), "headless");
    EXPECT_TRUE(ShowWindow(window, SW_MINIMIZE));
    EXPECT_TRUE(IsIconic(window));
    Destroy_Headless_Window(window);
}

}  // namespace
}  // namespace tarnwillow::test
