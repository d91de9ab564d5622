#include "tarnwillow/platform/hostWindows.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/failingAllocator.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/platform/CPlainHostFont.h"
#include "tarnwillow/platform/CPlainHostWindow.h"
#include "tarnwillow/platform/headlessWindows.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow::test {
namespace {

class HostWindows : public testing::Test {
protected:
    ~HostWindows() override { platform::leave_headless_windows(); }

    static std::vector<int> place_of(HWND window) {
        RECT place{};
        if (!GetWindowRect(window, &place)) return {};
        return {place.left, place.top, place.right, place.bottom};
    }
    static std::vector<HWND> below(HWND parent) {
        std::vector<HWND> found;
        const auto note = [](HWND child, std::intptr_t into) {
            reinterpret_cast<std::vector<HWND>*>(into)->push_back(child);
            return true;
        };
        EnumChildWindows(parent, note, reinterpret_cast<std::intptr_t>(&found));
        return found;
    }

    TemporaryFolder folder;
    CPlainHostWindow dialog{{100, 100, 400, 300}};
    CPlainHostWindow group{{10, 20, 110, 120}, dialog.Handle(), 1, "group"};
    CPlainHostWindow field{{5, 5, 55, 25}, group.Handle(), 2, "field"};
};

using Place = std::vector<int>;
using Handles = std::vector<HWND>;

TEST_F(HostWindows, HaveHandlesApartFromAllOthers) {
    const auto number = reinterpret_cast<std::uintptr_t>(dialog.Handle());
    EXPECT_EQ(number >> 31, 1U);
    EXPECT_TRUE(IsWindow(dialog.Handle()));
    EXPECT_EQ(GetWindowProcessId(dialog.Handle()), static_cast<std::uint32_t>(getpid()));
    const HWND headless = New_Headless_Window("headless");
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(headless) >> 31, 0U);
    HWND gone;
    {
        CPlainHostWindow brief({}, nullptr, 0);
        gone = brief.Handle();
    }
    const CPlainHostWindow next({}, nullptr, 0);
    EXPECT_NE(next.Handle(), gone);
    for (HWND none : {gone, reinterpret_cast<HWND>(std::uintptr_t{0xFFFFFFFF}),
                      reinterpret_cast<HWND>(number + (std::uintptr_t{1} << 32))}) {
        EXPECT_FALSE(IsWindow(none) || ShowWindow(none, SW_SHOW) || SetWindowTextA(none, "x"));
        EXPECT_FALSE(MoveWindow(none, 0, 0, 1, 1, true) || SetForegroundWindow(none));
        EXPECT_EQ(GetParent(none), nullptr);
        EXPECT_EQ(Get_Window_Font(none), nullptr);
    }
    EXPECT_FALSE(Unregister_Host_Window(gone));
    EXPECT_EQ(Register_Host_Window(nullptr), nullptr);
    EXPECT_EQ(Register_Host_Window(&dialog, gone), nullptr) << "a parent that is none";
    const FailingAllocator no_memory;
    EXPECT_EQ(Register_Host_Window(&dialog), nullptr);
}

TEST_F(HostWindows, AnswerWhatIsAskedOfAnyWindow) {
    char text[4];
    EXPECT_EQ(GetWindowTextA(field.Handle(), text, sizeof text), 3);
    EXPECT_STREQ(text, "fie");
    EXPECT_TRUE(ShowWindow(field.Handle(), SW_HIDE));
    EXPECT_FALSE(IsWindowVisible(field.Handle()));
    EXPECT_FALSE(ShowWindow(field.Handle(), SW_SHOW));
    EXPECT_TRUE(WaitForWindowReady(field.Handle(), 0) && !IsIconic(field.Handle()));
    WINDOWPLACEMENT placement{44, 0, 0, {}, {}, {}};
    EXPECT_TRUE(GetWindowPlacement(dialog.Handle(), &placement));
    EXPECT_EQ(placement.rcNormalPosition.right, 400);
    placement.rcNormalPosition = {0, 0, 50, 60};
    placement.showCmd = SW_HIDE;
    EXPECT_TRUE(SetWindowPlacement(dialog.Handle(), &placement));
    EXPECT_EQ(place_of(dialog.Handle()), Place({0, 0, 50, 60}));
    EXPECT_FALSE(IsWindowVisible(dialog.Handle()));
    std::uint32_t start = 7, end = 7;
    EXPECT_TRUE(Set_Edit_Selection(field.Handle(), 1, 3));
    EXPECT_TRUE(Get_Edit_Selection(field.Handle(), &start, nullptr));
    EXPECT_TRUE(Get_Edit_Selection(field.Handle(), nullptr, &end));
    EXPECT_EQ(start * 10 + end, 13U);
    EXPECT_FALSE(Get_Edit_Selection(nullptr, &start, &end));
}

TEST_F(HostWindows, StandInTheirParents) {
    dialog.Set_Frame({2, 20, 2, 2});
    EXPECT_EQ(place_of(field.Handle()), Place({117, 145, 167, 165}));
    EXPECT_TRUE(MoveWindow(dialog.Handle(), 0, 0, 300, 200, true));
    EXPECT_TRUE(MoveWindow(field.Handle(), 1, 2, 3, 4, false));
    EXPECT_EQ(place_of(field.Handle()), Place({13, 42, 16, 46}));
    RECT client{};
    EXPECT_TRUE(GetClientRect(dialog.Handle(), &client));
    EXPECT_EQ(client.right * 1000 + client.bottom, 296178);
}

TEST_F(HostWindows, AreFoundByTheirParentAndNumber) {
    EXPECT_EQ(GetDlgItem(dialog.Handle(), 1), group.Handle());
    EXPECT_EQ(GetDlgItem(dialog.Handle(), 2), nullptr) << "a grandchild";
    EXPECT_EQ(GetParent(field.Handle()), group.Handle());
    EXPECT_EQ(below(dialog.Handle()), Handles({group.Handle(), field.Handle()}));
    EXPECT_EQ(below(group.Handle()), Handles({field.Handle()}));
    const HWND top = New_Headless_Window("top");
    const CPlainHostWindow control({}, top, 9);
    EXPECT_EQ(GetDlgItem(top, 9), control.Handle());
    Destroy_Headless_Window(top);
    EXPECT_EQ(GetDlgItem(top, 9), nullptr);
    EXPECT_TRUE(Unregister_Host_Window(group.Handle()));
    EXPECT_EQ(GetParent(field.Handle()), nullptr);
}

TEST_F(HostWindows, MayGoWhileTheyAreEnumerated) {
    const auto remove = [](HWND child, std::intptr_t) { return Unregister_Host_Window(child); };
    const CPlainHostWindow last({}, dialog.Handle(), 3);
    EXPECT_TRUE(EnumChildWindows(dialog.Handle(), remove, 0));
    EXPECT_EQ(below(dialog.Handle()), Handles());
    const auto stop = [](HWND, std::intptr_t) { return false; };
    const CPlainHostWindow another({}, dialog.Handle(), 3);
    EXPECT_FALSE(EnumChildWindows(dialog.Handle(), stop, 0));
    EXPECT_FALSE(EnumChildWindows(dialog.Handle(), nullptr, 0));
}

TEST_F(HostWindows, HaveAFontAndABell) {
    CPlainHostFont font(10, 20, 3), stock(5, 9);
    IHostFont* const usual = Get_Window_Font(field.Handle());
    ASSERT_NE(usual, nullptr);
    EXPECT_EQ(usual->Text_Extent("h\xC3\xA9\xFF", 4), 3 * 7) << "two characters and a stray byte";
    EXPECT_EQ(Set_Stock_Font(&stock), nullptr);
    EXPECT_EQ(Get_Window_Font(field.Handle()), &stock);
    EXPECT_EQ(Get_Window_Font(GetDesktopWindow()), &stock);
    field.Set_Font(&font);
    EXPECT_EQ(Get_Window_Font(field.Handle()), &font);
    EXPECT_EQ(Set_Stock_Font(nullptr), &stock);
    EXPECT_FALSE(MessageBeep(0)) << "nothing here makes a sound";
    EXPECT_EQ(Set_Beep_Procedure([](std::uint32_t kind) { return kind == 1; }), nullptr);
    EXPECT_TRUE(MessageBeep(1) && !MessageBeep(2));
    Set_Beep_Procedure(nullptr);
    EXPECT_EQ(GetSystemMetrics(SM_CXSCREEN) * 10000 + GetSystemMetrics(SM_CYSCREEN), 10240768);
}

}  // namespace
}  // namespace tarnwillow::test
