#include <gtest/gtest.h>

#include <cstring>
#include <optional>

#include "support/childProcess.h"
#include "support/temporaryFolder.h"
#include "support/windowTexts.h"
#include "support/x11Display.h"
#include "tarnwillow/crossprocess/instanceControl.h"
#include "tarnwillow/crossprocess/instanceTable.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow::test {
namespace {

/// A program that starts: it asks whether it is the first, for the window of that number.
TARNWILLOW_CHILD(start_on_display) {
    const HWND window = to_window(std::string(argument));
    answer(First_Instance("app", "main", window) ? "first" : "second");
    return 0;
}

std::string start(HWND window) {
    RunningChild program("start_on_display",
                         std::to_string(reinterpret_cast<std::uintptr_t>(window)));
    return program.line();
}
std::string start(const Window& window) { return start(window.handle()); }

class InstancesOnDisplay : public testing::Test {
protected:
    void SetUp() override {
        TARNWILLOW_NEEDS_DISPLAY();
        detail::instance_table().detach();  // from the share that the load attached to
        ASSERT_EQ(detail::instance_table().attach(), 0);
        display.emplace();
    }
    void TearDown() override { detail::instance_table().detach(); }

    TemporaryFolder folder;
    std::optional<X11Display> display;
};

TEST_F(InstancesOnDisplay, ComeToTheFrontThoughMinimised) {
    Window one("one"), two("two");
    EXPECT_EQ(start(one), "first");
    RECT before{}, after{};
    EXPECT_TRUE(MoveWindow(one.handle(), 100, 50, 300, 200, true));
    EXPECT_TRUE(GetWindowRect(one.handle(), &before));
    EXPECT_TRUE(ShowWindow(one.handle(), SW_MINIMIZE));
    EXPECT_TRUE(SetForegroundWindow(two.handle()));
    EXPECT_EQ(start(two), "second");
    EXPECT_SOON_EQ(IsIconic(one.handle()), false);
    EXPECT_SOON_EQ(GetForegroundWindow(), one.handle());
    EXPECT_TRUE(eventually([&] {  // it may fly there
        return GetWindowRect(one.handle(), &after) &&
               std::memcmp(&before, &after, sizeof before) == 0;
    }));
    const HWND dialog = one.add_dialog("dialog");
    EXPECT_TRUE(SetForegroundWindow(two.handle()));
    EXPECT_EQ(start(two), "second");
    EXPECT_SOON_EQ(GetForegroundWindow(), dialog);
}

TEST_F(InstancesOnDisplay, AreDeadWithTheirProgram) {
    Window one("one"), two("two");
    EXPECT_EQ(start(one), "first");
    EXPECT_TRUE(Instance_Available("app", "main"));
    one.program().kill();
    EXPECT_TRUE(eventually([&] { return !IsWindow(one.handle()); }));
    EXPECT_EQ(start(two), "first");
}

TEST_F(InstancesOnDisplay, AreKnownByTheirTitle) {
    Window one("one");
    EXPECT_EQ(start(one), "first");
    one.tell("title two");
    EXPECT_FALSE(Instance_Available("app", "main"));
    Update_Instance("app", one.handle());
    EXPECT_TRUE(Instance_Available("app", "main"));
    one.tell("title three");
    EXPECT_EQ(start(one), "first");
}

TEST_F(InstancesOnDisplay, AreNotMistakenForTheNextWindowOfTheirNumber) {
    Window one("one");
    EXPECT_EQ(start(one), "first");
    one.tell("close");
    EXPECT_EQ(start(HWND{nullptr}), "first");
    one.tell("again one");
    EXPECT_EQ(start(one), "first");
    EXPECT_EQ(start(one), "second");
    one.tell("pid 1");
    EXPECT_FALSE(Instance_Available("app", "main")) << "another process's, of the same title";
    EXPECT_EQ(start(one), "first");
    EXPECT_EQ(start(one), "second");
    one.tell("close");
    one.tell("again other");
    EXPECT_EQ(start(one), "first");
}

TEST_F(InstancesOnDisplay, ThatHangAreWaitedForAndStillAlive) {
    Window one("one");
    EXPECT_EQ(start(one), "first");
    one.tell("hang");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(start(one), "second");
    const auto waited = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(waited, std::chrono::milliseconds(2900));
    EXPECT_LT(waited, std::chrono::seconds(20));
}

TEST_F(InstancesOnDisplay, GoWithTheirServer) {
    display.reset();
    display.emplace(true, X11Display::own_name());
    Window one("one");
    EXPECT_EQ(start(one), "first");
    EXPECT_TRUE(Instance_Available("app", "main"));
    display->kill_server();
    EXPECT_FALSE(Instance_Available("app", "main"));
    EXPECT_EQ(start(one), "first");
}

}  // namespace
}  // namespace tarnwillow::test
