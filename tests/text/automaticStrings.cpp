#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <type_traits>

#include "support/failingAllocator.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/text/CAutoAPIString.h"
#include "tarnwillow/text/CAutoAnsiString.h"
#include "tarnwillow/text/CAutoUnicodeString.h"
#include "tarnwillow/text/characterSets.h"

namespace tarnwillow {
namespace {

using test::FailingAllocator;

constexpr long kNoRoom = HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);

/// A class, the width it converts from and to, and the held text that takes no allocation.
template <class S, class F, class T, std::size_t small>
struct Kind {
    using String = S;
    using From = F;
    using To = T;
    static constexpr std::size_t kSmall = small;
};
using Kinds = testing::Types<Kind<CAutoUnicodeString, char, char16_t, 255>,
                             Kind<CAutoAnsiString, char16_t, char, 255>,
                             Kind<CAutoAPIString, char, char16_t, 127>>;

template <class K>
class AutomaticString : public testing::Test {
protected:
    using String = typename K::String;
    using To = typename K::To;
    using Source = std::basic_string<typename K::From>;

    /// The text that the object hands out.
    static std::basic_string<To> converted(const Source& source) {
        const String text(source.c_str());
        return static_cast<To*>(text);
    }
    /// Blocks allocated for a text of that length.
    static long blocks(std::size_t length) {
        const Source source(length, 'x');
        const long before = test::live_allocations();
        const String text(source.c_str());
        return test::live_allocations() - before;
    }
    /// The status that the constructor throws, or 0.
    static long thrown(const Source& source) {
        try {
            const String text(source.c_str());
        } catch (long status) {
            return status;
        }
        return 0;
    }
};
TYPED_TEST_SUITE(AutomaticString, Kinds);

TYPED_TEST(AutomaticString, HoldsShortTextItself) {
    constexpr std::size_t kSmall = TypeParam::kSmall;
    EXPECT_EQ(this->blocks(0), 0);
    EXPECT_EQ(this->blocks(kSmall), 0);
    EXPECT_EQ(this->blocks(kSmall + 1), 1);
    for (std::size_t length : {std::size_t{0}, kSmall, kSmall + 1, std::size_t{5000}})
        EXPECT_EQ(this->converted(typename TestFixture::Source(length, 'x')),
                  std::basic_string<typename TypeParam::To>(length, 'x'));
}

TYPED_TEST(AutomaticString, HandsOutTextOfItsOwnWidthAsItIs) {
    typename TypeParam::To text[] = {'a', 0};
    const typename TypeParam::String same(text);
    EXPECT_EQ(static_cast<typename TypeParam::To*>(same), text);
}

TYPED_TEST(AutomaticString, HandsOutNullForNull) {
    using String = typename TypeParam::String;
    using To = typename TypeParam::To;
    EXPECT_EQ(static_cast<To*>(String(nullptr)), nullptr);
    EXPECT_EQ(static_cast<To*>(String(static_cast<char const*>(nullptr))), nullptr);
    EXPECT_EQ(static_cast<To*>(String(static_cast<char16_t const*>(nullptr))), nullptr);
}

TYPED_TEST(AutomaticString, ThrowsAStatusWithoutMemory) {
    const typename TestFixture::Source longer(TypeParam::kSmall + 1, 'x');
    const typename TestFixture::Source held(TypeParam::kSmall, 'x');
    const long before = test::live_allocations();
    const FailingAllocator none;
    EXPECT_EQ(this->thrown(longer), E_OUTOFMEMORY);
    EXPECT_EQ(this->thrown(held), 0);
    EXPECT_EQ(test::live_allocations(), before);
}

TYPED_TEST(AutomaticString, IsNotCopied) {
    EXPECT_FALSE(std::is_copy_constructible_v<typename TypeParam::String>);
    EXPECT_FALSE(std::is_copy_assignable_v<typename TypeParam::String>);
}

TEST(AutomaticStrings, ConvertBeyondAscii) {
    EXPECT_EQ(std::u16string(CAutoUnicodeString("a\xE2\x82\xAC\xFF\xF0\x9F\x98\x80")),
              u"a\u20AC\uFFFD\U0001F600");
    EXPECT_EQ(std::u16string(CAutoAPIString("\xC3\xA9")), u"\u00E9");
    std::string wide_letters;
    for (int i = 0; i < 100; ++i)
        wide_letters += "\xC3\xA9";
    EXPECT_EQ(std::u16string(CAutoAPIString(wide_letters.c_str())), std::u16string(100, u'\u00E9'));
}

TEST(AutomaticStrings, RefuseNarrowTextThatNeedsMoreBytesThanUnits) {
    for (std::size_t length : {1, 255, 256}) {
        const std::u16string text = std::u16string(length - 1, u'x') + u"\u00E9";
        const long before = test::live_allocations();
        try {
            const CAutoAnsiString narrow(text.c_str());
            ADD_FAILURE() << static_cast<char const*>(narrow);
        } catch (long status) {
            EXPECT_EQ(status, kNoRoom);
        }
        EXPECT_EQ(test::live_allocations(), before);
    }
}

TEST(AutomaticStrings, HandOutOnePointerByAllTheirOperators) {
    const CAutoAnsiString narrow(u"ab");
    char* const text = narrow;
    EXPECT_STREQ(text, "ab");
    EXPECT_EQ(static_cast<char const*>(narrow), text);
    EXPECT_EQ(static_cast<void const*>(static_cast<unsigned char*>(narrow)), text);
    EXPECT_EQ(static_cast<void const*>(static_cast<unsigned char const*>(narrow)), text);
    const CAutoAPIString api("ab");
    char16_t* const wide = api;
    EXPECT_EQ(std::u16string(wide), u"ab");
    EXPECT_EQ(static_cast<void*>(static_cast<char*>(api)), wide);
    EXPECT_EQ(static_cast<void*>(static_cast<unsigned char*>(api)), wide);
}

/// Runs a conversion into a destination of exactly `room` units: its status and its text.
template <class To, class From>
std::pair<long, std::basic_string<To>> convert(long (*conversion)(From const*, To*, int),
                                               From const* source, std::size_t room) {
    const std::unique_ptr<To[]> dest(new To[room]);
    std::fill_n(dest.get(), room, To('?'));
    const long result = conversion(source, dest.get(), static_cast<int>(room));
    return {result, room > 0 ? dest.get() : std::basic_string<To>()};
}

TEST(PlainConversion, ToNarrowTellsWhatDoesNotFit) {
    using Result = std::pair<long, std::string>;
    char16_t const ten[] = u"0123456789";
    EXPECT_EQ(convert(UnicodeToAnsi, ten, 9), Result(E_OUTOFMEMORY, ""));
    EXPECT_EQ(convert(UnicodeToAnsi, ten, 10), Result(kNoRoom, ""));
    EXPECT_EQ(convert(UnicodeToAnsi, ten, 11), Result(0, "0123456789"));
    EXPECT_EQ(convert(UnicodeToAnsi, u"", 0), Result(kNoRoom, ""));
    EXPECT_EQ(convert(UnicodeToAnsi, u"\u20AC\xD800", 6), Result(kNoRoom, ""));
    EXPECT_EQ(convert(UnicodeToAnsi, u"\u20AC\xD800", 7), Result(0, "\xE2\x82\xAC\xEF\xBF\xBD"));
    EXPECT_EQ((convert<char, char16_t>(UnicodeToAnsi, nullptr, 1)), Result(0, ""));
    EXPECT_EQ(UnicodeToAnsi(ten, nullptr, 0), 10);
    char one = '?';
    EXPECT_EQ(UnicodeToAnsi(ten, &one, -1), E_OUTOFMEMORY);
    EXPECT_EQ(one, '?');
}

TEST(PlainConversion, ToWideNeverLeavesItsRoom) {
    using Result = std::pair<long, std::u16string>;
    EXPECT_EQ(convert(AnsiToUnicode, "abc", 3), Result(kNoRoom, u""));
    EXPECT_EQ(convert(AnsiToUnicode, "abc", 4), Result(0, u"abc"));
    EXPECT_EQ(convert(AnsiToUnicode, "abc", 0), Result(kNoRoom, u""));
    EXPECT_EQ(convert(AnsiToUnicode, "\xE2\x82\xAC", 2), Result(0, u"\u20AC"))
        << "a terminator at the byte length would stand outside";
    EXPECT_EQ(convert(AnsiToUnicode, "\xE2\x82\xAC", 4), Result(0, u"\u20AC"));
    EXPECT_EQ(AnsiToUnicode("abc", nullptr, 0), 6);
    EXPECT_EQ((convert<char16_t, char>(AnsiToUnicode, nullptr, 1)), Result(0, u""));
}

}  // namespace
}  // namespace tarnwillow
