#include "tarnwillow/desktop/displayGeometry.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/iconFiles.h"
#include "support/reports.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/platform/CPlainHostWindow.h"
#include "tarnwillow/platform/headlessWindows.h"
#include "tarnwillow/platform/ownText.h"
#include "tarnwillow/platform/windowProvider.h"

namespace tarnwillow {

bool operator==(const RECT& one, const RECT& other) {
    return one.left == other.left && one.top == other.top && one.right == other.right &&
           one.bottom == other.bottom;
}

std::ostream& operator<<(std::ostream& out, const RECT& r) {
    return out << r.left << "," << r.top << "," << r.right << "," << r.bottom;
}

namespace test {
namespace {

TEST(Rectangles, MoveAndKeepTheirSize) {
    RECT place{10, 20, 40, 60};
    Adjust_Rect_To_Base(&place);
    EXPECT_EQ(place, (RECT{0, 0, 30, 40}));
    Adjust_Rect_To_Offset(&place, 5, 7);
    EXPECT_EQ(place, (RECT{7, 5, 37, 45}));
}

TEST(Rectangles, AreCentred) {
    const RECT square{100, 100, 200, 200};
    for (const auto& [before, after] : {std::pair{RECT{0, 0, 10, 10}, RECT{145, 145, 155, 155}},
                                        std::pair{RECT{3, 3, 14, 14}, RECT{144, 144, 155, 155}},
                                        std::pair{RECT{0, 0, 103, 10}, RECT{99, 145, 202, 155}}}) {
        RECT place = before;
        Center_Rect(&place, &square);
        EXPECT_EQ(place, after) << before;
    }
}

TEST(Rectangles, WrapAroundAtTheEnds) {
    RECT place{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX}, within = place;
    Center_Rect(&place, &within);
    Adjust_Rect_To_Offset(&place, INT32_MIN, INT32_MAX);
    Adjust_Rect_To_Base(&place);
    EXPECT_EQ(place, (RECT{0, 0, -1, -1}));
}

TEST(Rectangles, BecomeLocalToAWindow) {
    CPlainHostWindow window({100, 200, 400, 500});
    window.Set_Frame({3, 20, 3, 3});
    RECT place{150, 250, 160, 270};
    Global_To_Local_Rect(&place, &place, window.Handle());
    EXPECT_EQ(place, (RECT{47, 30, 57, 50}));
    RECT same{};
    Global_To_Local_Rect(&place, &same, nullptr);
    EXPECT_EQ(same, place);
}

class Display : public testing::Test {
protected:
    ~Display() override {
        Set_Headless_Desktop(nullptr, 0, nullptr);
        platform::leave_headless_windows();
    }
    static void set(const std::vector<RECT>& monitors) {
        Set_Headless_Desktop(monitors.data(), monitors.size(), nullptr);
    }
    static RECT extent() {
        RECT out{};
        Get_Display_Rect(&out);
        return out;
    }
    static RECT extent_for(const RECT& normal) {
        const HWND window = New_Headless_Window("window");
        WINDOWPLACEMENT placement{44, 0, SW_SHOWMINIMIZED, {}, {}, normal};
        EXPECT_TRUE(SetWindowPlacement(window, &placement));
        RECT out{};
        Get_Display_Rect_For_Window(window, &out);
        Destroy_Headless_Window(window);
        return out;
    }

    TemporaryFolder folder;
};

constexpr RECT kMain{0, 0, 1024, 768}, kLeft{-1024, 0, 0, 768}, kRight{1024, 0, 1824, 600};

TEST_F(Display, LosesToTheTaskBarAllButFivePixels) {
    struct {
        RECT bar;
        int width, height;
    } const cases[] = {{{0, 738, 1024, 768}, 1024, 743},
                       {{0, 0, 1024, 30}, 1024, 743},
                       {{0, 0, 60, 768}, 969, 768},
                       {{964, 0, 1024, 768}, 969, 768},
                       {{0, 0, 50, 50}, 979, 768}};
    int width = 0, height = 0;
    for (const auto& one : cases) {
        Set_Headless_Desktop(&kMain, 1, &one.bar);
        Get_Screen_Dimensions(&width, &height);
        EXPECT_EQ(std::pair(width, height), std::pair(one.width, one.height)) << one.bar;
    }
    set({kMain});
    Get_Screen_Dimensions(&width, &height);
    EXPECT_EQ(std::pair(width, height), std::pair(1024, 768)) << "no task bar";
}

TEST_F(Display, AddsWhatStandsOut) {
    EXPECT_EQ(extent(), kMain);
    set({kMain, kLeft});
    EXPECT_EQ(extent(), (RECT{-1024, 0, 1024, 768}));
    set({kMain, kRight});
    EXPECT_EQ(extent(), (RECT{0, 0, 1024 + 1824, 768})) << "added, not united";
    set({kMain, {0, -768, 1024, 0}});
    EXPECT_EQ(extent(), kMain) << "above";
    set({kMain, {0, 768, 1024, 1536}});
    EXPECT_EQ(extent(), (RECT{0, 768, 1024, 768 + 1536})) << "below";
    RECT grown{1, 2, 3, 4};
    set({kMain});
    Get_Display_Rect(&grown);
    EXPECT_EQ(grown, (RECT{1, 2, 1027, 772})) << "what the caller had was kept";
}

TEST_F(Display, OfAWindowIsTheMonitorThatHoldsItsCorner) {
    set({kMain, kRight, kLeft});
    EXPECT_EQ(extent_for({1100, 10, 1200, 100}), (RECT{0, 0, 1824, 600}));
    EXPECT_EQ(extent_for({1024, 10, 1200, 100}), (RECT{0, 0, 1024 + 1824, 768})) << "on the bound";
    EXPECT_EQ(extent_for({500, 10, 9999, 9999}), kMain);
    EXPECT_EQ(extent_for({-500, 10, -400, 100}), (RECT{-1024, 0, 1024, 768})) << "moved to 0,0";
    EXPECT_EQ(extent_for({9000, 10, 9100, 100}), RECT{}) << "on none";
    RECT untouched = kLeft;
    Get_Display_Rect_For_Window(nullptr, &untouched);
    EXPECT_EQ(untouched, kLeft);
}

TEST_F(Display, IsTheDesktopWindowWithoutAnEnumeration) {
    set({kRight, kMain});
    RECT out{};
    detail::search_monitors("no such library", -1, -1, &out);
    EXPECT_EQ(out, kRight);
}

TEST_F(Display, EndsTheEnumerationWithAFault) {
    const ReportCollector collector;
    RECT monitor = kMain;
    detail::MonitorSearch search{-1, -1, reinterpret_cast<RECT*>(std::uintptr_t{8})};
    const auto data = reinterpret_cast<std::intptr_t>(&search);
    EXPECT_FALSE(detail::RectMonitorEnumProc(nullptr, nullptr, &monitor, data));
    EXPECT_EQ(collector.names(), u"RectMonitorEnumProc");
    EXPECT_EQ(collector.reports().at(0).level, ExceptionLevelHandled);
}

class IconFiles : public Display {
protected:
    IconFiles() {
        CRegistry settings;
        EXPECT_TRUE(settings.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE));
        EXPECT_TRUE(settings.Set_Entry("Content", folder.file("content/").c_str()));
        std::filesystem::create_directory(folder.file("content"));
    }
    void write(char const* name, const std::string& content) {
        write_file(folder.file(name), content);
    }
    /// The side of the icon, 0 for none.
    static int side(const std::string& file, int size) {
        const HICON icon = Load_Icon_From_File(nullptr, platform::widened(file).c_str(), size);
        int width = 0, height = 0;
        Get_Icon_Size(icon, &width, &height);
        DestroyIcon(icon);
        return width;
    }
    static std::string both_sizes() {
        return ico_file({{32, 32, 32, png_square(32, 1)}, {16, 16, 32, png_square(16, 1)}});
    }
};

TEST_F(IconFiles, AreLoadedInTheSizeAskedFor) {
    write("own.ico", both_sizes());
    for (const auto& [size, side_found] : {std::pair{32, 32}, std::pair{16, 16}, std::pair{48, 32},
                                           std::pair{20, 32}, std::pair{15, 16}, std::pair{0, 16}})
        EXPECT_EQ(side(folder.file("own.ico"), size), side_found) << size;
}

TEST_F(IconFiles, AreLookedForInTheContentFolder) {
    write("content/app.ico", both_sizes());
    write("content/broken.ico", "no icon");
    EXPECT_EQ(side("app.ico", 16), 16);
    EXPECT_EQ(side("absent.ico", 16), 0);
    EXPECT_EQ(side("broken.ico", 16), 0);
    EXPECT_EQ(side(std::string(5000, 'x'), 16), 0);
    EXPECT_EQ(Load_Icon_From_File(nullptr, nullptr, 16), nullptr);
}

}  // namespace
}  // namespace test
}  // namespace tarnwillow
