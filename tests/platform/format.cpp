#include "tarnwillow/platform/format.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "support/guardPage.h"

namespace tarnwillow::platform {
namespace {

using test::GuardPage;

template <class... Values>
std::string narrow(char const* format, Values... values) {
    char out[3000];
    const std::size_t length = format_text(out, sizeof out, format, values...);
    return {out, length};
}

template <class... Values>
std::u16string wide(char16_t const* format, Values... values) {
    char16_t out[3000];
    const std::size_t length = format_text(out, 3000, format, values...);
    return {out, length};
}

/// What the C runtime makes of the same, and that the wide family agrees.
template <class... Values>
void expect_as_c(char const* format, Values... values) {
    char expected[3000];
    std::snprintf(expected, sizeof expected, format, values...);
    EXPECT_EQ(narrow(format, values...), expected) << format;
    const std::u16string wide_format(format, format + std::strlen(format));
    EXPECT_EQ(wide(wide_format.c_str(), values...),
              std::u16string(expected, expected + std::strlen(expected)))
        << format;
}

/// The text in a buffer of exactly `capacity` units that ends where nothing may be touched.
template <class Char, class... Values>
std::basic_string<Char> cut(std::size_t capacity, Char const* format, Values... values) {
    const GuardPage page(capacity * sizeof(Char));
    const std::size_t length = format_text(page.as<Char>(), capacity, format, values...);
    EXPECT_EQ(length, std::char_traits<Char>::length(page.as<Char>()));
    return page.as<Char>();
}

}  // namespace

TEST(Format, PrintsIntegersAsCDoes) {
    for (const char* format : {"%d",   "%5d|",   "%-5d|", "%05d", "%+d", "% d",  "%.3d",  "%8.3d",
                               "%.0d", "%-08d|", "%+.0i", "%u",   "%x",  "%#X",  "%#10x", "%o",
                               "%#o",  "%#.0o",  "%hd",   "%hhu", "%hx", "%hhd", "%#.5x", "%08.3x"})
        for (const int value : {0, 1, -1, 42, -32769, INT_MAX, INT_MIN})
            expect_as_c(format, value);
    for (const char* format : {"%lld", "%llu", "%llx", "%#llo", "%+25lld", "%jd", "%zu", "%td"})
        for (const long long value : {0LL, -1LL, LLONG_MAX, LLONG_MIN})
            expect_as_c(format, value);
    expect_as_c("%*d|%-*d|%.*d|%.*d", 6, 1, -6, 2, 3, 4, -1, 5);
}

TEST(Format, PrintsRealNumbersAsCDoes) {
    for (const char* format :
         {"%f",    "%.0f",  "%#.0f",   "%3.3f",   "%012.2f", "%-12.1f|", "%+e",
          "%.0e",  "%#.0e", "%E",      "%g",      "%G",      "%#g",      "%.3g",
          "%.10g", "%.0g",  "%.1200f", "%.1100e", "%.1090g", "%#.1090g", "% F"})
        for (const double value :
             {0.0, -0.0, 1.0, -1.5, 0.1, 99999.95, 999999.4, 1e-5, 123456789.0,
              1.7976931348623157e308, 5e-324, 1e100, std::nan(""), HUGE_VAL, -HUGE_VAL})
            expect_as_c(format, value);
    expect_as_c("%Lf|%g", 2.5L, 999999.5);
    EXPECT_EQ(narrow("%#g", 999999.5), "1.00000e+06");
}

TEST(Format, RoundsRealNumbersExactly) {
    std::uint64_t state = 1;
    for (int i = 0; i < 20000; ++i) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        const double value = std::ldexp(static_cast<double>(state >> 11), i % 128 - 117);
        expect_as_c("%.*f", i % 17, value);
    }
    for (const double half : {0.5, 1.5, 2.5, 0.125, 0.375, 1e15 + 0.5, 0.0009765625})
        for (int places = 0; places < 12; ++places)
            expect_as_c("%.*f", places, half);
}

TEST(Format, TakesLongsAs32Bits) {
    EXPECT_EQ(narrow("%ld %lx %u", -2L, 0x1'8000'0001L, 0x1'0000'0002L), "-2 80000001 2");
    EXPECT_EQ(wide(u"%li|%d", 7L, -1L), u"7|-1");
    EXPECT_EQ(narrow("%I32d %I64d %I64u %I64x %Id", 1, -2LL, ULLONG_MAX, 1LL << 40, -3LL),
              "1 -2 18446744073709551615 10000000000 -3");
    EXPECT_EQ(wide(u"%I64d", LLONG_MIN), u"-9223372036854775808");
}

TEST(Format, ChoosesTheWidthOfTextByFamilyAndPrefix) {
    EXPECT_EQ(narrow("%s %S %hs %ls %ws", "a", u"b\u20AC", "c", u"d", u"e"), "a b\u20AC c d e");
    EXPECT_EQ(wide(u"%s %S %hs %ls %ws", u"a\u20AC", "b\u20AC", "c", u"d", u"e"),
              u"a\u20AC b\u20AC c d e");
    EXPECT_EQ(narrow("%c%C%hc%lc", 'a', u'\u20AC', 'b', u'c'),
              "a\u20AC"
              "bc");
    EXPECT_EQ(wide(u"%c%C%hc%wc", u'\u20AC', 'a', 'b', u'c'),
              u"\u20AC"
              u"abc");
    EXPECT_EQ(narrow("%S", u"\xD800x"), "\uFFFDx");
    EXPECT_EQ(wide(u"%S", "\xFFx"), u"\uFFFDx");
    EXPECT_EQ(narrow("%s %S", nullptr, nullptr), "(null) (null)");
    EXPECT_EQ(wide(u"%s %S %.2s", nullptr, nullptr, nullptr), u"(null) (null) (n");
}

TEST(Format, PadsAndLimitsText) {
    EXPECT_EQ(narrow("%5s|%-5s|%.2s|%3c", "ab", "ab", "abc", 'x'), "   ab|ab   |ab|  x");
    EXPECT_EQ(wide(u"%5S|%-5S|%.2S|%6.1S", "\u20AC", "\u20AC", "abc", "xy"),
              u"    \u20AC|\u20AC    |ab|     x");
    EXPECT_EQ(narrow("%5S|%-5S|%.4S|%5.2S", u"\u20AC", u"\u20AC", u"\u20AC\u20AC", u"a\u20AC"),
              "  \u20AC|\u20AC  |\u20AC|    a");
    EXPECT_EQ(narrow("%.2s|%.3s", "\u20AC", "\u20AC"), "|\u20AC");
    EXPECT_EQ(wide(u"%.1s|%.2s", u"\U0001F600", u"\U0001F600"), u"|\U0001F600");
}

TEST(Format, ReadsNoMoreTextThanThePrecision) {
    const GuardPage page(6);
    std::string("abcdef").copy(page.begin(), 6);
    EXPECT_EQ(narrow("%.6s", page.begin()), "abcdef");
    EXPECT_EQ(wide(u"%.6S", page.begin()), u"abcdef");
    EXPECT_EQ(wide(u"%.*s", 3, page.as<char16_t>()).size(), 3U);
}

TEST(Format, StaysWithinTheBufferAndCutsAtACharacter) {
    EXPECT_EQ(cut(4, "%s", "abcd"), "abc");
    EXPECT_EQ(cut(4, "abcd%n", nullptr), "abc");
    EXPECT_EQ(cut(4, "%d", 12345), "123");
    EXPECT_EQ(cut(4, "%9d", 1), "   ");
    EXPECT_EQ(cut(1, "%s", "abcd"), "");
    EXPECT_EQ(cut(4, "x\u20AC"), "x");
    EXPECT_EQ(cut(5, "x\u20ACy"), "x\u20AC");
    EXPECT_EQ(cut(4, "x%S", u"\u20AC"), "x");
    EXPECT_EQ(cut(3, u"x%s", u"\U0001F600"), u"x");
    EXPECT_EQ(cut(3, u"x%S", "\U0001F600"), u"x");
    EXPECT_EQ(cut(4, u"%sy",
                  u"\U0001F600"
                  u"a"),
              u"\U0001F600"
              u"a");
    EXPECT_EQ(cut(4, u"%.2000000000d", 1), u"000");
    char untouched = 'x';
    EXPECT_EQ(format_text(&untouched, std::size_t{0}, "abc"), 0U);
    EXPECT_EQ(untouched, 'x');
}

TEST(Format, KeepsWhatIsNoConversion) {
    EXPECT_EQ(narrow("100%% 5%! %y %"), "100% 5%! %y %");
    EXPECT_EQ(wide(u"%%%\u20AC%-3"), u"%%\u20AC%-3");
    EXPECT_EQ(narrow(nullptr), "");
    int untouched = 5;
    EXPECT_EQ(narrow("ab%n%d", &untouched, 1), "ab1");
    EXPECT_EQ(untouched, 5);
}

TEST(Format, PrintsPointersAsSixteenDigits) {
    EXPECT_EQ(narrow("%p|%20p", reinterpret_cast<void*>(0xABCDEF), nullptr),
              "0000000000ABCDEF|    0000000000000000");
    EXPECT_EQ(narrow("%a %.1A", 1.0, -0.5), "0x1p+0 -0X1.0P-1");
}

}  // namespace tarnwillow::platform
