#include "tarnwillow/desktop/windowPositions.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/temporaryFolder.h"
#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/platform/CPlainHostWindow.h"
#include "tarnwillow/platform/headlessWindows.h"

namespace tarnwillow::test {
namespace {

using Place = std::vector<int>;

class WindowPositions : public testing::Test {
protected:
    WindowPositions() : window(New_Headless_Window("window")) {
        other = New_Headless_Window("other");
        SetForegroundWindow(other);
    }
    ~WindowPositions() override {
        Set_Headless_Desktop(nullptr, 0, nullptr);
        platform::leave_headless_windows();
    }
    void place(const RECT& normal, int command = SW_SHOWNORMAL) {
        const WINDOWPLACEMENT placement{44,     3,      static_cast<std::uint32_t>(command),
                                        {1, 2}, {3, 4}, normal};
        ASSERT_TRUE(SetWindowPlacement(window, &placement));
    }
    Place place_of() {
        RECT r{};
        GetWindowRect(window, &r);
        return {r.left, r.top, r.right, r.bottom};
    }
    /// Where a window that was saved there comes back.
    Place restored(const RECT& saved) {
        place(saved);
        Save_Window_Position("main", window);
        place({1, 1, 2, 2});
        EXPECT_TRUE(Restore_Saved_Window_Position("main", window, false, true));
        return place_of();
    }
    void store(void const* data, unsigned long size) {
        CRegistry settings;
        ASSERT_TRUE(settings.Create_Application_Key("Window Positions", HKEY_CURRENT_USER));
        ASSERT_TRUE(settings.Set_Entry("main", static_cast<long const*>(data), size));
    }

    TemporaryFolder folder;
    HWND window, other;
};

TEST_F(WindowPositions, ComeBack) {
    EXPECT_EQ(restored({30, 40, 330, 240}), Place({30, 40, 330, 240}));
    EXPECT_EQ(GetForegroundWindow(), other);
    EXPECT_TRUE(Restore_Saved_Window_Position("main", window, true, false));
    EXPECT_EQ(GetForegroundWindow(), window);
    EXPECT_FALSE(IsWindowVisible(window));
}

TEST_F(WindowPositions, AreStoredAs44Bytes) {
    place({5, 6, 700, 800}, SW_SHOWMAXIMIZED);
    Save_Window_Position("main", window);
    CRegistry settings;
    ASSERT_TRUE(settings.Open_Application_Key("Window Positions", HKEY_CURRENT_USER));
    std::int32_t stored[20] = {};
    unsigned long size = sizeof stored;
    ASSERT_TRUE(settings.Get_Entry("main", stored, &size));
    const std::int32_t expected[] = {44, 3, SW_SHOWMAXIMIZED, 1, 2, 3, 4, 5, 6, 700, 800};
    ASSERT_EQ(size, sizeof expected);
    EXPECT_EQ(std::memcmp(stored, expected, sizeof expected), 0);
}

TEST_F(WindowPositions, ComeBackNeitherMinimisedNorMaximised) {
    for (int command : {SW_SHOWMINIMIZED, SW_SHOWMAXIMIZED}) {
        place({30, 40, 330, 240}, command);
        Save_Window_Position("main", window);
        EXPECT_TRUE(Restore_Saved_Window_Position("main", window, false, true));
        EXPECT_EQ(place_of(), Place({30, 40, 330, 240}));
        EXPECT_TRUE(IsWindowVisible(window) && !IsIconic(window));
    }
}

TEST_F(WindowPositions, AreBroughtOntoTheMonitorsThatThereAre) {
    EXPECT_EQ(restored({2000, 50, 2300, 250}), Place({1024 - 300 - 5, 50, 2300, 250}));
    EXPECT_EQ(restored({-900, 50, -600, 250}), Place({0, 50, 300, 250}));
    EXPECT_EQ(restored({50, -20, 350, 180}), Place({50, 5, 350, 180}));
    EXPECT_EQ(restored({50, 900, 350, 1100}), Place({50, 768 - 200 - 5, 350, 1100}));
    EXPECT_EQ(restored({1024, 768, 1124, 868}), Place({1024, 768, 1124, 868})) << "on the bound";
    const RECT two[] = {{0, 0, 1024, 768}, {-1024, 0, 0, 768}};
    Set_Headless_Desktop(two, 2, nullptr);
    EXPECT_EQ(restored({-900, 50, -600, 250}), Place({-900, 50, -600, 250}));
}

TEST_F(WindowPositions, ThatAreNotThereLeaveTheWindowAlone) {
    const Place before = place_of();
    EXPECT_FALSE(Restore_Saved_Window_Position("main", window, true, false)) << "no key";
    Save_Window_Position("another", window);
    EXPECT_FALSE(Restore_Saved_Window_Position("main", window, true, false)) << "no value";
    EXPECT_FALSE(Restore_Saved_Window_Position(nullptr, window, true, false));
    WINDOWPLACEMENT longer[2] = {{44, 0, 1, {}, {}, {1, 2, 3, 4}}, {}};
    for (unsigned long size : {0UL, 4UL, 43UL, 45UL, 88UL}) {
        store(longer, size);
        EXPECT_FALSE(Restore_Saved_Window_Position("main", window, true, false)) << size;
    }
    longer[0].length = 45;
    store(longer, 44);
    EXPECT_FALSE(Restore_Saved_Window_Position("main", window, true, false));
    EXPECT_EQ(place_of(), before);
    EXPECT_TRUE(IsWindowVisible(window));
    EXPECT_EQ(GetForegroundWindow(), other);
}

TEST_F(WindowPositions, MayHoldAnyNumbers) {
    for (std::int32_t low : {INT32_MIN, -1, 0, INT32_MAX})
        for (std::int32_t high : {INT32_MIN, 0, INT32_MAX}) {
            const WINDOWPLACEMENT wild{44, 0, 1, {}, {}, {low, low, high, high}};
            store(&wild, sizeof wild);
            EXPECT_TRUE(Restore_Saved_Window_Position("main", window, false, true));
            const int left = place_of()[0];
            const bool beyond = low == INT32_MAX;
            EXPECT_TRUE(beyond || left == std::max(low, 0)) << low << " " << high;
        }
}

TEST_F(WindowPositions, AreKeptForRegisteredWindowsAndNotForNone) {
    CPlainHostWindow dialog({10, 20, 110, 220});
    Save_Window_Position("dialog", dialog.Handle());
    MoveWindow(dialog.Handle(), 0, 0, 1, 1, true);
    EXPECT_TRUE(Restore_Saved_Window_Position("dialog", dialog.Handle(), true, true));
    EXPECT_EQ(dialog.Get_Rectangle().bottom, 220);
    Save_Window_Position("none", nullptr);
    EXPECT_FALSE(Restore_Saved_Window_Position("none", window, false, true));
    EXPECT_FALSE(Restore_Saved_Window_Position("dialog", nullptr, false, true)) << "no window";
}

}  // namespace
}  // namespace tarnwillow::test
