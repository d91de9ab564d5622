#include <gtest/gtest.h>

#include "support/temporaryFolder.h"
#include "support/windowTexts.h"
#include "support/x11Display.h"
#include "tarnwillow/desktop/windowPositions.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow::test {
namespace {

bool restore(char const* name, HWND window) {
    return Restore_Saved_Window_Position(name, window, false, true);
}

TEST(PositionsOnDisplay, ComeBackWithoutDrifting) {
    TARNWILLOW_NEEDS_DISPLAY();
    const TemporaryFolder folder;
    X11Display display;
    Window window("window");
    EXPECT_FALSE(restore("window", window.handle()));
    ASSERT_TRUE(MoveWindow(window.handle(), 900, 100, 400, 300, true));
    for (int i = 0; i < 5; ++i) {
        Save_Window_Position("window", window.handle());
        Window next("next", i % 2 == 0);
        EXPECT_TRUE(restore("window", next.handle()));
        EXPECT_SOON_EQ(place_of(next.handle()), "900,100 400x300");
        EXPECT_TRUE(IsWindowVisible(next.handle()));
        Save_Window_Position("window", next.handle());
    }
}

TEST(PositionsOnDisplay, ComeBackOntoTheMonitorThatIsLeft) {
    TARNWILLOW_NEEDS_DISPLAY();
    const TemporaryFolder folder;
    X11Display display;
    Window window("window");
    ASSERT_TRUE(MoveWindow(window.handle(), 1000, 100, 300, 200, true));
    Save_Window_Position("window", window.handle());
    ShowWindow(window.handle(), SW_MINIMIZE);
    display.lose_monitor();
    // The left edge goes where the window fits by five pixels; the right edge stays.
    EXPECT_TRUE(restore("window", window.handle()));
    EXPECT_SOON_EQ(place_of(window.handle()), "495,100 805x200");
    EXPECT_SOON_EQ(IsIconic(window.handle()), false);
}

}  // namespace
}  // namespace tarnwillow::test
