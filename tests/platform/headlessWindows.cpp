#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <thread>
#include <vector>

#include "support/childProcess.h"
#include "support/runningChild.h"
#include "support/temporaryFolder.h"
#include "support/windowTexts.h"
#include "tarnwillow/platform/headlessWindows.h"
#include "tarnwillow/platform/processIdentity.h"
#include "tarnwillow/platform/windowProvider.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow::test {
namespace {

std::string number_of(HWND window) {
    return std::to_string(reinterpret_cast<std::uintptr_t>(window));
}

/// A window whose title it changes, or whose program it makes ready, as it is told.
TARNWILLOW_CHILD(window_owner) {
    const HWND window = New_Headless_Window(std::string(argument).c_str());
    answer(number_of(window));
    for (std::string request; read_request(&request);) {
        if (request == "busy" || request == "ready")
            Set_Headless_Window_Ready(window, request == "ready");
        else
            SetWindowTextA(window, request.c_str());
        answer("done");
    }
    return 0;
}

class HeadlessWindows : public testing::Test {
protected:
    ~HeadlessWindows() override { platform::leave_headless_windows(); }
    HWND make(char const* title, HWND owner = nullptr) {
        windows.push_back(New_Headless_Window(title, owner));
        return windows.back();
    }

    TemporaryFolder folder;
    std::vector<HWND> windows;
};

TEST_F(HeadlessWindows, HaveATitleAndAState) {
    const HWND window = make("title");
    ASSERT_NE(window, nullptr);
    EXPECT_LE(reinterpret_cast<std::uintptr_t>(window), UINT32_MAX);
    EXPECT_TRUE(IsWindow(window));
    EXPECT_EQ(title_of(window), "title");
    EXPECT_EQ(GetWindowProcessId(window), static_cast<std::uint32_t>(getpid()));
    EXPECT_TRUE(SetWindowTextA(window, std::string(300, 't').c_str()));
    EXPECT_EQ(title_of(window), std::string(255, 't'));
    EXPECT_TRUE(IsWindowVisible(window) && !IsIconic(window));
    EXPECT_TRUE(ShowWindow(window, SW_MINIMIZE));
    EXPECT_TRUE(IsIconic(window));
    EXPECT_TRUE(ShowWindow(window, SW_HIDE));
    EXPECT_FALSE(IsWindowVisible(window));
    EXPECT_FALSE(ShowWindow(window, SW_RESTORE));
    EXPECT_TRUE(IsWindowVisible(window) && !IsIconic(window));
}

TEST_F(HeadlessWindows, AreNotMistakenForOneAnother) {
    const HWND window = make("one");
    EXPECT_TRUE(Destroy_Headless_Window(window));
    EXPECT_FALSE(Destroy_Headless_Window(window));
    const HWND next = make("two");
    EXPECT_NE(next, window);
    const auto beyond = reinterpret_cast<std::uintptr_t>(next) + (std::uintptr_t{1} << 32);
    for (HWND none : {window, HWND{nullptr}, reinterpret_cast<HWND>(beyond),
                      reinterpret_cast<HWND>(std::uintptr_t{0xFFFFFFFF})}) {
        EXPECT_FALSE(IsWindow(none));
        EXPECT_FALSE(SetWindowTextA(none, "x"));
        EXPECT_FALSE(SetForegroundWindow(none));
        EXPECT_FALSE(WaitForWindowReady(none, 1000));
        EXPECT_EQ(title_of(none), "");
        EXPECT_EQ(GetLastActivePopup(none), nullptr);
        EXPECT_EQ(GetWindowProcessId(none), 0U);
    }
}

TEST_F(HeadlessWindows, KnowWhoWasActiveLast) {
    const HWND window = make("main");
    EXPECT_EQ(GetLastActivePopup(window), window);
    const HWND dialog = make("dialog", window);
    EXPECT_EQ(GetLastActivePopup(window), dialog);
    EXPECT_TRUE(SetForegroundWindow(window));
    EXPECT_EQ(GetLastActivePopup(window), window);
    EXPECT_EQ(GetForegroundWindow(), window);
    Destroy_Headless_Window(window);
    EXPECT_EQ(GetForegroundWindow(), nullptr);
}

TEST_F(HeadlessWindows, AreSeenByAllProcessesAndGoWithTheirOwn) {
    RunningChild child("window_owner", "theirs");
    const HWND window = to_window(child.line());
    EXPECT_EQ(title_of(window), "theirs");
    EXPECT_EQ(GetWindowProcessId(window), static_cast<std::uint32_t>(child.id()));
    EXPECT_EQ(child.ask("new title"), "done");
    EXPECT_EQ(title_of(window), "new title");
    EXPECT_TRUE(SetForegroundWindow(window));
    EXPECT_EQ(GetForegroundWindow(), window);
    EXPECT_FALSE(Destroy_Headless_Window(window)) << "another process's";
    EXPECT_FALSE(Set_Headless_Window_Ready(window, false));
    child.kill();
    EXPECT_FALSE(IsWindow(window));
    EXPECT_EQ(GetForegroundWindow(), nullptr);
}

TEST_F(HeadlessWindows, AreWaitedForUntilTheirProgramIsReady) {
    RunningChild child("window_owner", "theirs");
    const HWND window = to_window(child.line());
    EXPECT_TRUE(WaitForWindowReady(window, 0));
    ASSERT_EQ(child.ask("busy"), "done");
    EXPECT_FALSE(WaitForWindowReady(window, 1));
    std::thread other([&] { EXPECT_EQ(child.ask("ready"), "done"); });
    EXPECT_TRUE(WaitForWindowReady(window, 60000));
    other.join();
    ASSERT_EQ(child.ask("busy"), "done");
    std::thread killer([&] { child.kill(); });
    EXPECT_FALSE(WaitForWindowReady(window, 60000));
    killer.join();
}

TEST_F(HeadlessWindows, FindRoomAgainBehindDeadProcesses) {
    for (int i = 0; i < 1024; ++i)
        make("many");
    EXPECT_NE(windows.back(), nullptr);
    EXPECT_EQ(New_Headless_Window("one too many"), nullptr);
    Destroy_Headless_Window(windows[500]);
    RunningChild child("window_owner", "last");
    EXPECT_NE(child.line(), "0");
    EXPECT_EQ(New_Headless_Window("one too many"), nullptr);
    child.kill();
    EXPECT_NE(make("its place"), nullptr);
}

/// As somebody may do who can reach the files.
void shorten_files(const std::filesystem::path& in) {
    for (const auto& file : std::filesystem::recursive_directory_iterator(in))
        if (file.path().filename().string().find("windows") != std::string::npos)
            std::filesystem::resize_file(file, 0);
}

TEST_F(HeadlessWindows, AreGoneWhereSomebodyShortensTheirTable) {
    RunningChild child("window_owner", "theirs");
    const HWND theirs = to_window(child.line());
    const HWND mine = make("mine");
    EXPECT_FALSE(SetWindowTextA(mine, reinterpret_cast<char const*>(16)));
    EXPECT_TRUE(IsWindow(mine)) << "a bad pointer costs no window";
    shorten_files(folder.path());
    char title[10] = "untouched";
    EXPECT_EQ(GetWindowTextA(theirs, title, sizeof title), 0);
    EXPECT_STREQ(title, "");
    EXPECT_FALSE(IsWindow(mine) || SetForegroundWindow(theirs) || Destroy_Headless_Window(mine));
    EXPECT_EQ(make("not before the others are gone"), nullptr);
    EXPECT_EQ(child.ask("still answers"), "done");
    child.kill();
    EXPECT_EQ(title_of(make("next")), "next");
    std::thread([] { EXPECT_EQ(GetForegroundWindow(), nullptr); }).join();
}

std::vector<int> numbers(const RECT& r) { return {r.left, r.top, r.right, r.bottom}; }

using Numbers = std::vector<int>;

Numbers edges_of(HWND window) {
    RECT place{-1, -1, -1, -1};
    GetWindowRect(window, &place);
    return numbers(place);
}

TEST_F(HeadlessWindows, HaveAPlaceThatOtherProcessesSee) {
    RunningChild child("window_owner", "theirs");
    for (HWND window : {make("own"), to_window(child.line())}) {
        EXPECT_TRUE(MoveWindow(window, 10, -20, 300, 200, true));
        EXPECT_EQ(edges_of(window), Numbers({10, -20, 310, 180}));
        RECT client{};
        EXPECT_TRUE(GetClientRect(window, &client));
        EXPECT_EQ(numbers(client), Numbers({0, 0, 300, 200}));
        POINT point{INT32_MIN, 0};
        EXPECT_TRUE(ScreenToClient(window, &point) && ClientToScreen(window, &point));
        EXPECT_EQ(point.x, INT32_MIN);
    }
    EXPECT_EQ(edges_of(nullptr), Numbers({-1, -1, -1, -1}));
}

TEST_F(HeadlessWindows, KeepAPlacementByteForByte) {
    const HWND window = make("placed");
    WINDOWPLACEMENT set{44, 2, SW_SHOWMAXIMIZED, {3, 4}, {5, 6}, {7, 8, 90, 100}}, got{};
    EXPECT_FALSE(GetWindowPlacement(window, &got)) << "no length";
    got.length = 44;
    EXPECT_TRUE(SetWindowPlacement(window, &set) && GetWindowPlacement(window, &got));
    EXPECT_EQ(std::memcmp(&set, &got, sizeof set), 0);
    EXPECT_EQ(edges_of(window), Numbers({0, 0, 1024, 768})) << "maximised";
    ShowWindow(window, SW_MINIMIZE);
    EXPECT_EQ(edges_of(window), Numbers({7, 8, 90, 100}));
    ShowWindow(window, SW_RESTORE);
    EXPECT_EQ(edges_of(window), Numbers({0, 0, 1024, 768})) << "as it was before";
    set.length = 43;
    EXPECT_FALSE(SetWindowPlacement(window, &set));
    set = {44, 0, SW_SHOW, {}, {}, {1, 2, 3, 4}};
    EXPECT_TRUE(SetWindowPlacement(window, &set));
    EXPECT_EQ(edges_of(window), Numbers({1, 2, 3, 4})) << "neither minimised nor maximised";
}

std::vector<Numbers> monitors(RECT const* clip) {
    std::vector<Numbers> found;
    const auto note = [](HMONITOR, HDC, RECT* monitor, std::intptr_t into) {
        auto& list = *reinterpret_cast<std::vector<Numbers>*>(into);
        list.push_back(numbers(*monitor));
        return list.size() < 3;
    };
    EnumDisplayMonitors(nullptr, clip, note, reinterpret_cast<std::intptr_t>(&found));
    return found;
}

TEST_F(HeadlessWindows, StandOnADesktopThatCanBeSet) {
    const Numbers first{0, 0, 800, 600}, left{-640, 0, 0, 480};
    const RECT two[] = {{0, 0, 800, 600}, {-640, 0, 0, 480}}, many[4] = {}, bar{0, 570, 800, 600};
    Set_Headless_Desktop(two, 2, &bar);
    EXPECT_EQ(monitors(nullptr), std::vector({first, left}));
    const RECT beside{-10, 0, 0, 10};
    EXPECT_EQ(monitors(&beside), std::vector({left}));
    EXPECT_EQ(edges_of(GetDesktopWindow()), first);
    RECT found{};
    EXPECT_TRUE(GetTaskBarRect(&found));
    EXPECT_EQ(found.top, 570);
    Set_Headless_Desktop(many, 4, nullptr);
    EXPECT_EQ(monitors(nullptr).size(), 3U) << "ended by the procedure";
    EXPECT_FALSE(GetTaskBarRect(&found));
    Set_Headless_Desktop(nullptr, 0, nullptr);
    EXPECT_EQ(edges_of(GetDesktopWindow()), Numbers({0, 0, 1024, 768}));
}

TEST_F(HeadlessWindows, MakeWayForAnotherProvider) {
    auto other = platform::window_provider();
    other.is_window = [](HWND) { return true; };
    platform::set_window_provider(&other);
    EXPECT_TRUE(IsWindow(nullptr));
    platform::set_window_provider(nullptr);
    EXPECT_FALSE(IsWindow(nullptr));
}

TEST(ProcessIdentity, TellsAProcessFromTheNextOneOfItsNumber) {
    using platform::ProcessIdentity;
    const ProcessIdentity self = platform::current_process();
    EXPECT_EQ(self.id, static_cast<std::uint32_t>(getpid()));
    EXPECT_TRUE(platform::is_running(self));
    EXPECT_FALSE(platform::is_running({self.id, self.started - 1}));
    EXPECT_FALSE(platform::is_running({}));
    const pid_t child = fork();
    if (child == 0) _exit(0);
    const ProcessIdentity zombie{static_cast<std::uint32_t>(child), self.started};
    siginfo_t ended;
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(platform::identify_process(zombie.id).id, 0U) << "ended, but not yet waited for";
    waitpid(child, nullptr, 0);
}

}  // namespace
}  // namespace tarnwillow::test
