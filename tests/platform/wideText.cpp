#include "tarnwillow/platform/wideText.h"

#include <gtest/gtest.h>

#include <string>

#include "support/guardPage.h"

namespace tarnwillow::wide {
namespace {

using test::GuardPage;

int sign(int value) { return (value > 0) - (value < 0); }

TEST(WideText, IsMeasuredNoFurtherThanAsked) {
    const GuardPage page(3 * sizeof(char16_t));
    std::u16string(u"abc").copy(page.as<char16_t>(), 3);
    EXPECT_EQ(bounded_length(page.as<char16_t>(), 3), 3U);
    EXPECT_EQ(bounded_length(page.as<char16_t>(), 0), 0U);
    EXPECT_EQ(bounded_length(u"a", 3), 1U);
    EXPECT_EQ(length(u"ab\u20AC"), 3U);
}

TEST(WideText, IsComparedByUnits) {
    struct {
        char16_t const *a, *b;
        int with_case, without;
    } const cases[] = {
        {u"a", u"a", 0, 0},  {u"a", u"B", 1, -1},     {u"a", u"A", 1, 0},
        {u"ab", u"a", 1, 1}, {u"", u"a", -1, -1},     {u"_", u"a", -1, -1},
        {u"_", u"A", 1, -1}, {u"\uFF21", u"a", 1, 1}, {u"\u00C9", u"\u00E9", -1, -1}};
    for (const auto& c : cases) {
        EXPECT_EQ(sign(compare(c.a, c.b)), c.with_case);
        EXPECT_EQ(sign(compare(c.b, c.a)), -c.with_case);
        EXPECT_EQ(sign(compare_no_case(c.a, c.b)), c.without);
        EXPECT_EQ(sign(compare_no_case(c.b, c.a)), -c.without);
    }
    EXPECT_EQ(compare_no_case(u"ABx", u"aby", 2), 0);
    EXPECT_EQ(compare_no_case(u"a", u"b", 0), 0);
    EXPECT_LT(compare_no_case(u"ABx", u"aby", 3), 0);
}

TEST(WideText, IsSearched) {
    char16_t const* const text = u"abcabd";
    EXPECT_EQ(find(text, u'b'), text + 1);
    EXPECT_EQ(find(text, u'x'), nullptr);
    EXPECT_EQ(find(text, u"abd"), text + 3);
    EXPECT_EQ(find(text, u""), text);
    EXPECT_EQ(find(text, u"abe"), nullptr);
}

/// A destination of exactly `size` units, after an operation on it.
template <class Edit>
std::u16string room_of(std::size_t size, Edit edit) {
    const GuardPage page(size * sizeof(char16_t));
    std::u16string(size, u'?').copy(page.as<char16_t>(), size);
    edit(page.as<char16_t>());
    return {page.as<char16_t>(), size};
}

TEST(WideText, IsCopiedAndAppendedWithinItsRoom) {
    using namespace std::string_literals;
    const auto copied = [](std::size_t size, std::size_t expected) {
        return room_of(size, [=](char16_t* to) { EXPECT_EQ(copy(to, size, u"abc"), expected); });
    };
    EXPECT_EQ(copied(4, 3), u"abc\0"s);
    EXPECT_EQ(copied(3, 2), u"ab\0"s);
    EXPECT_EQ(copied(1, 0), u"\0"s);
    EXPECT_EQ(copied(0, 0), u"");
    const auto appended = [](std::size_t size, std::size_t expected) {
        return room_of(size, [=](char16_t* to) {
            copy(to, size, u"ab");
            EXPECT_EQ(append(to, size, u"cd"), expected);
        });
    };
    EXPECT_EQ(appended(5, 4), u"abcd\0"s);
    EXPECT_EQ(appended(4, 3), u"abc\0"s);
    const auto unterminated = [](char16_t* to) { EXPECT_EQ(append(to, 2, u"x"), 2U); };
    EXPECT_EQ(room_of(2, unterminated), u"??");
}

TEST(WideText, IsReadAsANumber) {
    struct {
        char16_t const* text;
        std::int32_t value;
    } const cases[] = {{u"", 0},
                       {u" \t\n\v\f\r-12x", -12},
                       {u"+7", 7},
                       {u"+-7", 0},
                       {u"x", 0},
                       {u"\uFF11", 0},
                       {u"2147483647", 2147483647},
                       {u"2147483648", 2147483647},
                       {u"-2147483648", -2147483647 - 1},
                       {u"-99999999999999999999999", -2147483647 - 1}};
    for (const auto& c : cases)
        EXPECT_EQ(to_int(c.text), c.value);
}

}  // namespace
}  // namespace tarnwillow::wide
