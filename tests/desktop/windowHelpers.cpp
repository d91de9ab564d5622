#include "tarnwillow/desktop/windowHelpers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/failingAllocator.h"
#include "support/reports.h"
#include "tarnwillow/platform/CPlainHostFont.h"
#include "tarnwillow/platform/CPlainHostWindow.h"

namespace tarnwillow::test {
namespace {

using Numbers = std::vector<int>;

Numbers place_of(HWND window) {
    RECT r{};
    GetWindowRect(window, &r);
    return {r.left, r.top, r.right, r.bottom};
}

class Frames : public testing::Test {
protected:
    Frames() { dialog.Set_Frame({2, 20, 2, 2}); }

    CPlainHostWindow dialog{{100, 100, 402, 422}};
    CPlainHostWindow frame{{10, 200, 290, 300}, dialog.Handle(), 7};
    CPlainHostWindow inside{{20, 210, 120, 300}, dialog.Handle(), 8};
    CPlainHostWindow above{{10, 10, 100, 199}, dialog.Handle(), 9};
};

TEST_F(Frames, AreToldInTheDialogsClientArea) {
    RECT place{};
    Get_Frame_Rect(dialog.Handle(), 7, &place, false);
    EXPECT_EQ(Numbers({place.left, place.top, place.right, place.bottom}),
              Numbers({10, 200, 290, 300}));
    short x = 0, y = 0, height = 0, width = 0;
    Get_Frame_Offset(dialog.Handle(), 7, &x, &y, false);
    EXPECT_EQ(Numbers({x, y}), Numbers({10, 200}));
    Get_Frame_Offset(dialog.Handle(), 8, &x, &y, &height, &width, false);
    EXPECT_EQ(Numbers({x, y, height, width}), Numbers({20, 210, 90, 100}));
    width = 0;
    Get_Frame_Offset(dialog.Handle(), 9, nullptr, &y, nullptr, &width, false);
    EXPECT_EQ(Numbers({y, width}), Numbers({10, 90}));
    EXPECT_TRUE(frame.Is_Visible());
}

TEST_F(Frames, AreHiddenOnRequest) {
    RECT place;
    short x;
    Get_Frame_Rect(dialog.Handle(), 7, &place, true);
    Get_Frame_Offset(dialog.Handle(), 8, &x, &x, true);
    EXPECT_FALSE(frame.Is_Visible() || inside.Is_Visible());
    EXPECT_TRUE(above.Is_Visible());
}

TEST_F(Frames, ThatAreMissingChangeNothing) {
    RECT place{1, 2, 3, 4};
    short x = 5, y = 6;
    for (HWND owner : {dialog.Handle(), HWND{nullptr}}) {
        Get_Frame_Rect(owner, 99, &place, true);
        Get_Frame_Offset(owner, 99, &x, &y, true);
        Collapse_Dialog_Frame(owner, 99);
    }
    EXPECT_EQ(Numbers({place.left, place.bottom, x, y}), Numbers({1, 4, 5, 6}));
    EXPECT_EQ(place_of(dialog.Handle()), Numbers({100, 100, 402, 422}));
}

TEST_F(Frames, AreSet) {
    const RECT place{1, 2, 31, 42};
    Set_Window_Rect(dialog.Handle(), &place);
    EXPECT_EQ(place_of(dialog.Handle()), Numbers({1, 2, 31, 42}));
}

TEST_F(Frames, AtTheBottomFoldAway) {
    Collapse_Dialog_Frame(dialog.Handle(), 7);
    EXPECT_FALSE(frame.Is_Visible() || inside.Is_Visible());
    EXPECT_TRUE(above.Is_Visible());
    EXPECT_EQ(place_of(above.Handle()), Numbers({112, 130, 202, 319})) << "where it was";
    EXPECT_EQ(place_of(dialog.Handle()), Numbers({100, 100, 402, 322}));
}

TEST_F(Frames, InTheMiddleCloseTheGap) {
    CPlainHostWindow group({10, 310, 290, 318}, dialog.Handle(), 10);
    CPlainHostWindow grandchild({1, 1, 9, 7}, group.Handle(), 11);
    CPlainHostWindow half({0, 250, 300, 299}, dialog.Handle(), 12);
    Collapse_Dialog_Frame(dialog.Handle(), 7);
    EXPECT_EQ(place_of(group.Handle()), Numbers({112, 330, 392, 338}));
    EXPECT_EQ(place_of(grandchild.Handle()), Numbers({113, 331, 121, 337})) << "with its parent";
    EXPECT_EQ(place_of(half.Handle()), Numbers({102, 370, 402, 419})) << "neither in nor below";
    EXPECT_TRUE(group.Is_Visible() && grandchild.Is_Visible() && half.Is_Visible());
}

int beeps = 0;

class EditField : public testing::Test {
protected:
    EditField() {
        beeps = 0;
        Set_Beep_Procedure([](std::uint32_t kind) { return beeps += kind == 1, true; });
    }
    ~EditField() override { Set_Beep_Procedure(nullptr); }

    struct Counting : CPlainHostWindow {
        using CPlainHostWindow::CPlainHostWindow;
        bool Set_Text(char const* text) override {
            ++writes;
            return CPlainHostWindow::Set_Text(text);
        }
        int writes = 0;
    };

    /// The field after filtering, as "text start end beeps".
    std::string filtered(const std::string& text, unsigned start, unsigned end, char const* allowed,
                         char const* forbidden) {
        beeps = 0;
        edit.Set_Text(text.c_str());
        edit.Set_Selection(start, end);
        edit.writes = 0;
        Filter_Edit_Field(edit.Handle(), allowed, forbidden);
        char found[2000];
        edit.Get_Text(found, sizeof found);
        edit.Get_Selection(&start, &end);
        return found + (" " + std::to_string(start)) + " " + std::to_string(end) + " " +
               std::to_string(beeps);
    }

    Counting edit{RECT{0, 0, 100, 20}};
};

constexpr char kDigits[] = "0123456789";

TEST_F(EditField, LosesWhatIsNotAllowed) {
    EXPECT_EQ(filtered("12a3", 3, 3, kDigits, nullptr), "123 2 2 1");
    EXPECT_EQ(filtered("ab12", 1, 4, kDigits, nullptr), "12 0 2 2");
    EXPECT_EQ(filtered("x\xC3\xA9\xC3\xA8y", 4, 4, "x\xC3\xA9", nullptr), "x\xC3\xA9 2 2 2");
    EXPECT_EQ(filtered("ab", 0, 0, "", nullptr), " 0 0 2");
}

TEST_F(EditField, LosesWhatIsForbidden) {
    EXPECT_EQ(filtered("a/b\\c", 5, 5, nullptr, "/\\"), "abc 3 3 2");
    EXPECT_EQ(filtered("\xC3\xA8\xFF!", 1, 1, nullptr, "\xC3\xA9!"), "\xC3\xA8\xFF 0 0 1")
        << "whole characters are compared";
}

TEST_F(EditField, IsNotWrittenWhenNothingOffends) {
    EXPECT_EQ(filtered("123", 1, 2, kDigits, nullptr), "123 1 2 0");
    EXPECT_EQ(filtered("a1", 1, 2, kDigits, "1"), "a1 1 2 0") << "both lists";
    EXPECT_EQ(filtered("a1", 1, 2, nullptr, nullptr), "a1 1 2 0");
    EXPECT_EQ(edit.writes, 0);
    Filter_Edit_Field(nullptr, kDigits, nullptr);
}

TEST_F(EditField, IsReadUpTo255Characters) {
    std::string accents;
    for (int i = 0; i < 300; ++i)
        accents += "\xC3\xA9";
    EXPECT_EQ(filtered(accents, 9, 9, nullptr, "x"), accents + " 9 9 0");
    EXPECT_EQ(filtered("x" + accents, 9, 9, nullptr, "x"), accents.substr(0, 2 * 254) + " 8 8 1");
}

class Measures : public testing::Test {
protected:
    Measures() { box.Set_Font(&font); }
    long height(char const* text) { return Textbox_Height(box.Handle(), text); }

    // A word of n letters is 10 n + 3 + 1 wide, a blank 14.
    CPlainHostFont font{10, 20, 3};
    CPlainHostWindow box{{0, 0, 100, 50}};
};

TEST_F(Measures, TellWidthAndHeight) {
    EXPECT_EQ(Text_Width(box.Handle(), "abc"), 34);
    EXPECT_EQ(Text_Width(box.Handle(), ""), 4);
    EXPECT_EQ(Text_Line_Height(box.Handle()), 20);
    box.Set_Font(nullptr);
    EXPECT_EQ(Text_Width(box.Handle(), "abc"), 22) << "in the stock font";
    EXPECT_EQ(Text_Width(nullptr, "abc"), 0);
    EXPECT_EQ(Text_Width(box.Handle(), nullptr), 0);
    EXPECT_EQ(Text_Line_Height(nullptr), 0);
}

TEST_F(Measures, BreakTextsAtBlanks) {
    EXPECT_EQ(height(""), 0);
    EXPECT_EQ(height("   "), 20);
    EXPECT_EQ(height("abc"), 20);
    EXPECT_EQ(height("abcd abc"), 20) << "44 + 14 + 34 of 100";
    EXPECT_EQ(height("abcd abcd"), 40);
    EXPECT_EQ(height("ab  ab ab ab"), 40);
    EXPECT_EQ(height("abcdefghij"), 40) << "too wide by itself";
    EXPECT_EQ(height("abcdefghij a abcdefghij"), 80);
}

TEST_F(Measures, FailWithoutMemory) {
    const FailingAllocator no_memory;
    EXPECT_EQ(height("abc"), -1);
}

TEST_F(Measures, FailWithAFaultInTheHostsFont) {
    struct Faulting : CPlainHostFont {
        using CPlainHostFont::CPlainHostFont;
        std::int32_t Text_Extent(char const* text, std::size_t length) override {
            if (*text == 'x') fault();
            return CPlainHostFont::Text_Extent(text, length);
        }
    } faulting{10, 20};
    box.Set_Font(&faulting);
    const ReportCollector collector;
    const long before = live_allocations();
    EXPECT_EQ(height("abc x"), -1);
    EXPECT_EQ(height(nullptr), -1);
    EXPECT_EQ(live_allocations(), before);
    EXPECT_EQ(collector.names(), u"Textbox_Height,Textbox_Height");
    EXPECT_EQ(height("abc"), 20) << "nothing stayed locked";
}

}  // namespace
}  // namespace tarnwillow::test
