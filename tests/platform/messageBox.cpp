#include "tarnwillow/platform/messageBox.h"

#include <gtest/gtest.h>

#include <string>

#include "support/childProcess.h"

namespace tarnwillow {
namespace {

std::u16string shown;

int answer_yes(HWND, char16_t const* text, char16_t const* caption, std::uint32_t style) {
    shown =
        std::u16string(caption) + u"|" + text + u"|" + (style == MB_YESNO ? u"yes or no" : u"?");
    return IDYES;
}

TARNWILLOW_CHILD(boxes) {
    MessageBoxW(nullptr, u"one\r\rtwo\r\nthree \u20AC", u"Exception", MB_ICONERROR);
    return MessageBoxA(nullptr, nullptr, nullptr, MB_OKCANCEL | MB_ICONERROR);
}

}  // namespace

TEST(MessageBox, GoesToStandardErrorAndIsAnsweredAtOnce) {
    const test::ChildResult result = test::run_child("boxes");
    EXPECT_EQ(result.output, "Exception: one\n\ntwo\nthree \u20AC\nError: \n");
    EXPECT_EQ(result.exit_code, IDCANCEL);
}

TEST(MessageBox, IsPresentedByTheHost) {
    EXPECT_EQ(Set_Message_Box_Presenter(answer_yes), nullptr);
    EXPECT_EQ(MessageBoxA(nullptr, "t\u20AC", "c", MB_YESNO), IDYES);
    EXPECT_EQ(shown, u"c|t\u20AC|yes or no");
    MessageBoxA(nullptr, std::string(3000, 'x').c_str(), nullptr, MB_OK);
    EXPECT_EQ(shown, u"Error|" + std::u16string(2047, u'x') + u"|?");
    EXPECT_EQ(Set_Message_Box_Presenter(nullptr), answer_yes);
}

}  // namespace tarnwillow
