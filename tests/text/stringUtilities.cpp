#include "tarnwillow/text/stringUtilities.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/failingAllocator.h"
#include "support/guardPage.h"
#include "support/reports.h"
#include "tarnwillow/platform/status.h"
#include "text/bothWidths.h"

namespace tarnwillow {
namespace {

using test::FailingAllocator;
using test::Writable;

char* find_no_case(char const* text, char const* what) { return strstr_ncs(text, what); }
char16_t* find_no_case(char16_t const* text, char16_t const* what) {
    return wcsstr_ncs(text, what);
}

template <class Char>
class Strings : public testing::Test {
protected:
    using Text = Writable<Char>;

    /// The text after an operation on it, in a block that it and `room` just fill.
    template <class Edit>
    static std::string after(std::string_view text, Edit edit, std::size_t room = 0) {
        const Text units(text, room);
        edit(static_cast<Char*>(units));
        return units.str();
    }
    static std::string unescaped(std::string_view text, int size) {
        return after(text, [size](Char* units) { Url_Unescape(units, size); });
    }
    static std::string safe(std::string_view text, int size) {
        const auto edit = [size](Char* units) { Prepare_Log_String(units, size); };
        return after(text, edit, static_cast<std::size_t>(size) + 1);
    }
    /// Offset of the match, or -1.
    static long found(std::string_view text, std::string_view what) {
        const Text units(text);
        Char const* const match = find_no_case(units, Text(what));
        return match != nullptr ? match - units : -1;
    }
    /// The text behind, and with `keep` false also what is left in front: "front|tail".
    static std::string tail(std::string_view text, bool keep) {
        const Text units(text);
        const std::string behind = test::narrowed(Tail_String(units, Char('\\'), keep));
        return units.str() + "|" + behind;
    }
    /// The text after a replacement, or "false" if it was refused, which must change nothing.
    static std::string replaced(std::string_view text, char const* find, char const* by,
                                int limit = -1, std::size_t room = 100) {
        const Text units(text, room);
        if (Replace_String(units, Text(find), Text(by), limit)) return units.str();
        EXPECT_EQ(units.str(), text);
        return "false";
    }
};
TYPED_TEST_SUITE(Strings, test::Widths);

TYPED_TEST(Strings, AreFoundWithoutCase) {
    EXPECT_EQ(this->found("Hello", "LL"), 2);
    EXPECT_EQ(this->found("aaAb", "AB"), 2);
    EXPECT_EQ(this->found("ab", "abc"), -1);
    EXPECT_EQ(this->found("ab", ""), 0);
    EXPECT_EQ(this->found("", ""), 0);
    EXPECT_EQ(this->found("[\xC9", "{"), -1) << "only letters fold";
    EXPECT_EQ(this->found("\xC9", "\xE9"), -1) << "and only those of ASCII";
    EXPECT_EQ(this->found(std::string(298, 'x') + "Yz", "yZ"), 298);
}

TEST(Strings, BeginWithoutCase) {
    EXPECT_TRUE(String_Begins_With("Abc", "aB"));
    EXPECT_TRUE(String_Begins_With("Abc", ""));
    EXPECT_FALSE(String_Begins_With("a", "ab"));
    EXPECT_FALSE(String_Begins_With("\xC9", "\xE9"));
}

TEST(Strings, AreLookedUpInLists) {
    char16_t const* const list[] = {u"one", u"Two", u"two", nullptr};
    char16_t const* const empty[] = {nullptr};
    EXPECT_EQ(Which_String(u"two", list, true), 2);
    EXPECT_EQ(Which_String(u"TWO", list, false), 1);
    EXPECT_EQ(Which_String(u"TWO", list, true), -1);
    EXPECT_EQ(Which_String(u"tw", list, false), -1);
    EXPECT_EQ(Which_String(u"", empty, false), -1);
    EXPECT_TRUE(String_In_Set(u"ONE", list, false));
    EXPECT_FALSE(String_In_Set(u"ONE", list, true));
}

TEST(Strings, ThatCannotBeReadAreInNoList) {
    const test::ReportCollector reports;
    char16_t const* const* volatile nowhere = nullptr;
    EXPECT_EQ(Which_String(u"a", nowhere, true), -1);
    EXPECT_EQ(reports.names(), u"Which_String");
}

TYPED_TEST(Strings, AreTestedForCharactersOfASet) {
    using Text = typename TestFixture::Text;
    EXPECT_TRUE(Contains_Char(Text("abc"), Text("xc")));
    EXPECT_FALSE(Contains_Char(Text("abc"), Text("xyz")));
    EXPECT_FALSE(Contains_Char(Text("abc"), Text("")));
    EXPECT_FALSE(Contains_Char(Text(""), Text("abc")));
}

TEST(Characters, AreLookedUpInSets) {
    EXPECT_EQ(Char_In_Set('b', "abc"), 'b');
    EXPECT_EQ(Char_In_Set('x', "abc"), 0);
    EXPECT_EQ(Char_In_Set('\0', "abc"), 0);
    EXPECT_EQ(WChar_In_Set(u'\u20AC', u"a\u20AC"), u'\u20AC');
    EXPECT_EQ(WChar_In_Set(u'x', u"abc"), 0);
    EXPECT_TRUE(CharIsNotOneOf('x', "abc"));
    EXPECT_TRUE(CharIsNotOneOf('\0', "abc"));
    EXPECT_FALSE(CharIsNotOneOf('a', "abc"));
}

TYPED_TEST(Strings, LoseTheFirstOccurrence) {
    using Char = TypeParam;
    const auto strip = [](char const* what, bool expected) {
        return [=](Char* text) { EXPECT_EQ(Strip_String(text, Writable<Char>(what)), expected); };
    };
    EXPECT_EQ(this->after("abcabc", strip("bc", true)), "aabc");
    EXPECT_EQ(this->after("abc", strip("abc", true)), "");
    EXPECT_EQ(this->after("abc", strip("B", false)), "abc");
}

TYPED_TEST(Strings, LoseCharactersWhereverTheyStand) {
    using Char = TypeParam;
    EXPECT_EQ(this->after("\"a\"\"'b'\"", [](Char* text) { Strip_Quotes(text); }), "a'b'");
    EXPECT_EQ(this->after("''\"a'b'", [](Char* text) { Strip_Single_Quotes(text); }), "\"ab");
    EXPECT_EQ(this->after("\"\"", [](Char* text) { Strip_Quotes(text); }), "");
    char text[] = "axxbx";
    Strip_Char(text, 'x');
    EXPECT_STREQ(text, "ab");
}

TYPED_TEST(Strings, LoseWhiteSpaceOutsideQuotes) {
    const auto strip = [](TypeParam* text) { Strip_Whitespace(text); };
    EXPECT_EQ(this->after("a b \"c d\"", strip), "ab\"c d\"");
    EXPECT_EQ(this->after("\t\r\n \v\xA0", strip), "\v\xA0");
    EXPECT_EQ(this->after(" a\" b ", strip), "a\" b ");
}

TYPED_TEST(Strings, AreTrimmedAtOneEnd) {
    const auto trim = [](bool at_end) {
        return [at_end](TypeParam* text) { Trim_White_Space(text, at_end); };
    };
    EXPECT_EQ(this->after(" \ta b\r\n", trim(true)), " \ta b");
    EXPECT_EQ(this->after(" \ta b\r\n", trim(false)), "a b\r\n");
    EXPECT_EQ(this->after("   ", trim(true)), " ");
    EXPECT_EQ(this->after("   ", trim(false)), "");
    EXPECT_EQ(this->after("", trim(true)), "");
    EXPECT_EQ(this->after("", trim(false)), "");
}

TYPED_TEST(Strings, AreReplacedOnce) {
    EXPECT_EQ(this->replaced("aXbX", "X", "Y"), "aYbX");
    EXPECT_EQ(this->replaced("abc", "b", "12345"), "a12345c");
    EXPECT_EQ(this->replaced("abc", "bc", ""), "a");
    EXPECT_EQ(this->replaced("abc", "", "x"), "xabc");
    EXPECT_EQ(this->replaced("abc", "B", "x"), "false");
}

TYPED_TEST(Strings, AreReplacedWithinALimit) {
    EXPECT_EQ(this->replaced("abcd", "abc", "x", 6), "false") << "the estimate counts";
    EXPECT_EQ(this->replaced("abcd", "abc", "x", 7), "xd");
    EXPECT_EQ(this->replaced("abcd", "a", "xyz", 7, 7), "xyzbcd");
    EXPECT_EQ(this->replaced("abcd", "", "xyz", 7, 7), "false") << "no room for the terminator";
    EXPECT_EQ(this->replaced("abcd", "", "xyz", 8, 8), "xyzabcd");
}

TYPED_TEST(Strings, AreReplacedFromThemselvesAndNotWithoutMemory) {
    const Writable<TypeParam> text("aXbc", 10);
    EXPECT_TRUE(Replace_String(text, Writable<TypeParam>("X"), text + 2, -1));
    EXPECT_EQ(text.str(), "abcbc");
    const Writable<TypeParam> what("b");
    const FailingAllocator none;
    EXPECT_FALSE(Replace_String(text, what, what, -1));
}

TYPED_TEST(Strings, AreQuoted) {
    const auto quote = [](TypeParam* text) { Quote_String(text); };
    EXPECT_EQ(this->after("ab", quote, 5), "\"ab\"");
    EXPECT_EQ(this->after("\"\"", quote, 5), "\"\"\"\"");
    EXPECT_EQ(this->after("", quote, 3), "\"\"");
}

TYPED_TEST(Strings, GiveTheirLastComponent) {
    EXPECT_EQ(this->tail("a\\b\\c", true), "a\\b\\c|c");
    EXPECT_EQ(this->tail("a\\b\\c", false), "a\\b|c");
    EXPECT_EQ(this->tail("a\\", false), "a|");
    EXPECT_EQ(this->tail("\\c", false), "\\c|\\c");
    EXPECT_EQ(this->tail("abc", false), "abc|abc");
    EXPECT_EQ(this->tail("", false), "|");
    const std::basic_string<TypeParam> text{'a', '/', 'b'};
    EXPECT_EQ(Tail_String(text.c_str(), TypeParam('/')), text.c_str() + 2);
}

TYPED_TEST(Strings, AreTestedForDigits) {
    using Text = typename TestFixture::Text;
    for (char const* text : {"", "0123456789", "abcdefABCDEF"})
        EXPECT_TRUE(Is_Hex(Text(text))) << text;
    for (char const* text : {"g", "G", "1 ", "-1", "0x1", "/", ":", "@", "`", "\xB1"})
        EXPECT_FALSE(Is_Hex(Text(text))) << text;
    for (char const* text : {"", "0123456789"})
        EXPECT_TRUE(Is_Number(Text(text))) << text;
    for (char const* text : {"-1", "+1", "1.", "a", "/", ":", "\xB1"})
        EXPECT_FALSE(Is_Number(Text(text))) << text;
    EXPECT_FALSE(Is_Hex(u"\u0131\uFF11")) << "nothing above a byte is a digit";
}

TEST(Strings, AreMeasured) {
    EXPECT_EQ(Str_Buffer_Len(u"ab"), 6);
    EXPECT_EQ(Str_Buffer_Len("ab"), 3);
    EXPECT_EQ(Count_Lines("a\nb\n"), 3);
    EXPECT_EQ(Count_Lines(""), 1);
    EXPECT_EQ(Count_Lines(nullptr), 0);
}

TYPED_TEST(Strings, AreUnescaped) {
    struct {
        char const *text, *result;
    } const cases[] = {
        {"a%20b", "a b"},
        {"%41%4a%4A%e9", "AJJ\xE9"},
        {"100%", "100"},
        {"%4", "\x04"},
        {"a%zz%", "a%zz"},
        {"a%00b", "a"},
        {"%%41", "%A"},
        {"%4g", "%4g"},
        {"a+b", "a+b"},
        {"&LT;&gt;&aMp;", "<>&"},
        {"&nbsp;&quot;&am", "&nbsp;&quot;&am"},
        {"&amp;lt;", "&lt;"},
        {"%26lt;", "&lt;"},
        {"&", "&"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(this->unescaped(c.text, 100), c.result) << c.text;
}

TYPED_TEST(Strings, AreUnescapedAsFarAsTheSizeGoes) {
    EXPECT_EQ(this->unescaped("abcdef", 3), "abc");
    EXPECT_EQ(this->unescaped("a%20b%20c", 3), "a b");
    EXPECT_EQ(this->unescaped("ab", 0), "");
    EXPECT_EQ(this->unescaped("a%20", -1), "a%20");
}

TYPED_TEST(Strings, AreUnescapedUpToTheirTerminator) {
    for (char const* text : {"%4", "%", "&am", "&lt", "&"}) {
        const std::basic_string<TypeParam> units(text, text + std::strlen(text));
        const test::TextAtGuardPage<TypeParam> guarded{std::basic_string_view<TypeParam>(units)};
        Url_Unescape(guarded.text(), 1000);
        EXPECT_LE(test::narrowed(guarded.text()).size(), units.size());
    }
}

TYPED_TEST(Strings, AreMadeSafeAsAFormat) {
    EXPECT_EQ(this->safe("5% of", 10), "5%% of");
    EXPECT_EQ(this->safe("5%% of", 10), "5%% of");
    EXPECT_EQ(this->safe("50%25", 10), "50%%");
    EXPECT_EQ(this->safe("%s%%%n", 20), "%%s%%%%n");
    EXPECT_EQ(this->safe("100%", 10), "100") << "a mark at the very end is an escape";
}

TYPED_TEST(Strings, AreCutWithNoMarkApartFromItsTwin) {
    EXPECT_EQ(this->safe("a%sb", 5), "a%%sb");
    EXPECT_EQ(this->safe("a%sb", 4), "a%%s");
    EXPECT_EQ(this->safe("a%sb", 3), "a%%");
    EXPECT_EQ(this->safe("a%sb", 2), "a");
    EXPECT_EQ(this->safe("%s", 1), "");
    EXPECT_EQ(this->safe("%s", 0), "");
}

TYPED_TEST(Strings, AreOnlyUnescapedWithoutMemory) {
    const Writable<TypeParam> text("%s%41", 20);
    {
        const FailingAllocator none;
        Prepare_Log_String(text, 19);
    }
    EXPECT_EQ(text.str(), "%sA");
}

class ShellString : public testing::Test {
protected:
    ShellString() {
        wide.uType = STRRET_WSTR;
        wide.pOleStr = nullptr;
    }
    ~ShellString() override { CoTaskMemFree(wide.pOleStr); }

    void own(std::u16string_view text) {
        CoTaskMemFree(wide.pOleStr);
        const std::size_t bytes = (text.size() + 1) * sizeof(char16_t);
        wide.pOleStr = static_cast<char16_t*>(CoTaskMemAlloc(bytes));
        std::memcpy(wide.pOleStr, std::u16string(text).c_str(), bytes);
    }

    STRRET wide;
    char dest[8] = "?";
};

TEST_F(ShellString, ConvertsAndFreesWideText) {
    own(u"a\u20AC");
    EXPECT_EQ(DM_StrRetToStr(&wide, dest, 5), 0);
    EXPECT_STREQ(dest, "a\xE2\x82\xAC");
    EXPECT_EQ(wide.pOleStr, nullptr);
}

TEST_F(ShellString, KeepsWideTextThatDoesNotFit) {
    own(u"abc");
    for (int size : {2, 3}) {
        EXPECT_EQ(DM_StrRetToStr(&wide, dest, size), E_OUTOFMEMORY);
        EXPECT_STREQ(dest, "");
        EXPECT_NE(wide.pOleStr, nullptr);
    }
    EXPECT_EQ(DM_StrRetToStr(&wide, dest, 4), 0);
    EXPECT_EQ(DM_StrRetToStr(&wide, dest, 8), E_INVALIDARG) << "it is gone by now";
}

TEST_F(ShellString, CopiesNarrowText) {
    STRRET narrow;
    narrow.uType = STRRET_CSTR;
    std::memset(narrow.cStr, 'x', sizeof narrow.cStr);
    EXPECT_EQ(DM_StrRetToStr(&narrow, dest, 8), E_OUTOFMEMORY) << "a text without terminator";
    std::strcpy(narrow.cStr, "abc");
    EXPECT_EQ(DM_StrRetToStr(&narrow, dest, 3), E_OUTOFMEMORY);
    EXPECT_STREQ(dest, "");
    EXPECT_EQ(DM_StrRetToStr(&narrow, dest, 4), 0);
    EXPECT_STREQ(dest, "abc");
}

TEST_F(ShellString, RefusesOtherForms) {
    STRRET other;
    for (const auto& [type, status] : {std::pair{STRRET_OFFSET, E_NOTIMPL}, {3U, E_INVALIDARG}}) {
        other.uType = type;
        std::strcpy(dest, "?");
        EXPECT_EQ(DM_StrRetToStr(&other, dest, 8), status);
        EXPECT_STREQ(dest, "");
    }
    std::strcpy(dest, "?");
    EXPECT_EQ(DM_StrRetToStr(&other, dest, 0), E_OUTOFMEMORY);
    EXPECT_EQ(DM_StrRetToStr(&other, nullptr, 8), E_INVALIDARG);
    EXPECT_STREQ(dest, "?");
    EXPECT_EQ(DM_StrRetToStr(nullptr, dest, 8), E_INVALIDARG);
    EXPECT_STREQ(dest, "");
}

}  // namespace
}  // namespace tarnwillow
