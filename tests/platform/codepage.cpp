#include "tarnwillow/platform/codepage.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "support/guardPage.h"

namespace tarnwillow::platform {
namespace {

using test::GuardPage;

constexpr char32_t kReplacement = 0xFFFD;

// The plain way, to compare with: what a lead byte announces, then how much of it is well-formed.
struct Lead {
    unsigned char first, last, second_first, second_last;
    std::size_t length;
};
constexpr Lead kLeads[] = {
    {0x00, 0x7F, 0, 0, 1},       {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
    {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
    {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4}};

Lead lead_of(unsigned char byte) {
    for (const Lead& lead : kLeads)
        if (byte >= lead.first && byte <= lead.last) return lead;
    return {byte, byte, 0, 0, 0};
}

std::size_t well_formed(const std::string& text, std::size_t at, const Lead& lead) {
    std::size_t count = 1;
    for (; count < lead.length && at + count < text.size(); ++count) {
        const auto byte = static_cast<unsigned char>(text[at + count]);
        const unsigned first = count == 1 ? lead.second_first : 0x80;
        const unsigned last = count == 1 ? lead.second_last : 0xBF;
        if (byte < first || byte > last) break;
    }
    return count;
}

std::u32string decoded(const std::string& text) {
    std::u32string points;
    for (std::size_t at = 0; at < text.size();) {
        const auto first = static_cast<unsigned char>(text[at]);
        const Lead lead = lead_of(first);
        const std::size_t count = well_formed(text, at, lead);
        char32_t point = lead.length < 2 ? first : first & (0x7F >> lead.length);
        for (std::size_t i = 1; i < count; ++i)
            point = point * 64 + (static_cast<unsigned char>(text[at + i]) - 0x80);
        points += count == lead.length ? point : kReplacement;
        at += count;
    }
    return points;
}

std::u32string decoded(const std::u16string& text) {
    std::u32string points;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char32_t unit = text[at];
        const char32_t next = at + 1 < text.size() ? text[at + 1] : 0;
        if (unit < 0xD800 || unit > 0xDFFF) {
            points += unit;
        } else if (unit < 0xDC00 && next >= 0xDC00 && next <= 0xDFFF) {
            points += 0x10000 + (unit - 0xD800) * 0x400 + (next - 0xDC00);
            ++at;
        } else {
            points += kReplacement;
        }
    }
    return points;
}

void append(std::u16string& text, char32_t point) {
    if (point >= 0x10000) {
        text += static_cast<char16_t>(0xD7C0 + point / 0x400);
        point = 0xDC00 + point % 0x400;
    }
    text += static_cast<char16_t>(point);
}

void append(std::string& text, char32_t point) {
    const auto add = [&text](char32_t byte) { text += static_cast<char>(byte); };
    if (point < 0x80) return add(point);
    if (point < 0x800) return add(0xC0 + point / 64), add(0x80 + point % 64);
    if (point < 0x10000)
        add(0xE0 + point / 4096);
    else
        add(0xF0 + point / 262144), add(0x80 + point / 4096 % 64);
    add(0x80 + point / 64 % 64), add(0x80 + point % 64);
}

template <class Char>
std::basic_string<Char> encoded(const std::u32string& points) {
    std::basic_string<Char> text;
    for (const char32_t point : points)
        append(text, point);
    return text;
}

Conversion convert(char const* from, std::size_t length, char16_t* to, std::size_t room) {
    return narrow_to_wide(from, length, to, room);
}
Conversion convert(char16_t const* from, std::size_t length, char* to, std::size_t room) {
    return wide_to_narrow(from, length, to, room);
}
std::size_t length_after(const std::string& text) {
    return narrow_to_wide_length(text.data(), text.size());
}
std::size_t length_after(const std::u16string& text) {
    return wide_to_narrow_length(text.data(), text.size());
}

template <class Char>
struct Other;
template <>
struct Other<char> {
    using To = char16_t;
};
template <>
struct Other<char16_t> {
    using To = char;
};

template <class Char>
class CodePage : public testing::Test {
protected:
    using Text = std::basic_string<Char>;
    using To = typename Other<Char>::To;

    /// Both texts end at pages that nobody may touch.
    static std::pair<std::size_t, std::basic_string<To>> converted(const Text& text,
                                                                   std::size_t room) {
        const GuardPage source(text.size() * sizeof(Char));
        const GuardPage dest(room * sizeof(To));
        text.copy(source.as<Char>(), text.size());
        const Conversion done = convert(source.as<Char const>(), text.size(), dest.as<To>(), room);
        return {done.consumed, {dest.as<To>(), done.written}};
    }
    static void check(const Text& text) {
        const std::basic_string<To> expected = encoded<To>(decoded(text));
        ASSERT_EQ(length_after(text), expected.size());
        ASSERT_EQ(converted(text, expected.size()), std::pair(text.size(), expected));
    }
    /// Units of all kinds, in runs, so that long plain stretches meet every break.
    Text random_text() {
        Text text;
        for (int runs = number(6); runs > 0; --runs) {
            const int kind = number(4);
            for (int units = number(40); units > 0; --units)
                text += kind == 0 ? static_cast<Char>(number(128)) : hard_unit(kind);
        }
        return text;
    }
    int number(int below) { return static_cast<int>(random() % static_cast<unsigned>(below)); }
    Char hard_unit(int kind) {
        if constexpr (sizeof(Char) == 1) {
            constexpr unsigned char kBytes[] = {0xC2, 0xE0, 0xED, 0xF0, 0xF4, 0x80, 0xA0, 0xBF};
            return static_cast<Char>(kind == 1 ? kBytes[number(8)] : 0x80 + number(128));
        } else {
            return static_cast<Char>(kind == 1 ? 0xD800 + number(0x800) : number(0x10000));
        }
    }
    std::mt19937 random{20};
};
using Widths = testing::Types<char, char16_t>;
TYPED_TEST_SUITE(CodePage, Widths);

TYPED_TEST(CodePage, ConvertsEveryCharacter) {
    std::u32string points;
    for (char32_t point = 0; point < 0x110000; ++point)
        if (point < 0xD800 || point > 0xDFFF) points += point;
    const auto text = encoded<TypeParam>(points);
    const auto other = encoded<typename TestFixture::To>(points);
    EXPECT_TRUE(this->converted(text, other.size()) == std::pair(text.size(), other));
    EXPECT_EQ(length_after(text), other.size());
}

TYPED_TEST(CodePage, AgreesWithThePlainWayOnAnyUnits) {
    for (int i = 0; i < 5000; ++i)
        ASSERT_NO_FATAL_FAILURE(this->check(this->random_text())) << i;
}

TYPED_TEST(CodePage, StopsInFrontOfACharacterThatDoesNotFit) {
    for (std::size_t front : {0, 15, 16, 40}) {
        const std::u32string points =
            std::u32string(front, U'x') + U"\u00E9\u20AC\U0001F600\uFFFDz\U0010FFFF";
        const auto text = encoded<TypeParam>(points);
        const std::size_t whole = encoded<typename TestFixture::To>(points).size();
        for (std::size_t room = 0; room <= whole; ++room) {
            std::size_t fit = points.size();
            while (encoded<typename TestFixture::To>(points.substr(0, fit)).size() > room)
                --fit;
            const std::u32string part = points.substr(0, fit);
            EXPECT_EQ(this->converted(text, room),
                      std::pair(encoded<TypeParam>(part).size(),
                                encoded<typename TestFixture::To>(part)));
        }
    }
}

TEST(BrokenNarrowText, BecomesOneReplacementForEachStretch) {
    struct {
        char const* text;
        char16_t const* result;
    } const cases[] = {{"\xE2\x82"
                        "a",
                        u"\uFFFDa"},
                       {"\xF0\x9F\x98", u"\uFFFD"},
                       {"\xC0\xAF", u"\uFFFD\uFFFD"},
                       {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
                       {"\xF4\x90\x80", u"\uFFFD\uFFFD\uFFFD"},
                       {"\xF0\x80", u"\uFFFD\uFFFD"},
                       {"\x80\xFF", u"\uFFFD\uFFFD"},
                       {"\xC3\xC3\xA9", u"\uFFFD\u00E9"}};
    for (const auto& c : cases) {
        char16_t dest[8] = {};
        narrow_to_wide(c.text, std::char_traits<char>::length(c.text), dest, 7);
        EXPECT_EQ(std::u16string(dest), c.result);
    }
}

}  // namespace
}  // namespace tarnwillow::platform
