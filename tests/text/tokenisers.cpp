#include "tarnwillow/text/tokenisers.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstring>
#include <tuple>
#include <utility>

#include "support/failingAllocator.h"
#include "support/guardPage.h"
#include "tarnwillow/text/CStrTok.h"
#include "tarnwillow/text/CTokenString.h"
#include "tarnwillow/text/CWStrTok.h"
#include "tarnwillow/text/CWTokenString.h"
#include "text/bothWidths.h"

namespace tarnwillow {
namespace {

using test::FailingAllocator;
using test::TextAtGuardPage;
using test::Writable;

/// All the pieces that `next` gives, in order, with "|" behind each.
template <class Next>
std::string pieces(Next next) {
    std::string all;
    for (auto* piece = next(); piece != nullptr; piece = next())
        all += test::narrowed(piece) + "|";
    EXPECT_EQ(next(), nullptr) << "a text that is used up stays used up";
    return all;
}

template <class Char>
struct Kind;
template <>
struct Kind<char> {
    using TokenString = CTokenString;
    using StrTok = CStrTok;
    static constexpr auto kSmartok = smartok;
};
template <>
struct Kind<char16_t> {
    using TokenString = CWTokenString;
    using StrTok = CWStrTok;
    static constexpr auto kSmartok = wsmartok;
};

template <class Char>
class Tokens : public testing::Test {
protected:
    using TokenString = typename Kind<Char>::TokenString;
    using StrTok = typename Kind<Char>::StrTok;

    static constexpr Char kComma = ',';

    static std::string cut(std::string_view text, bool leading, bool trailing) {
        Writable<Char> copy(text);
        TokenString tokens(copy, kComma);
        tokens.Strip_Leading_Spaces(leading);
        tokens.Strip_Trailing_Spaces(trailing);
        return pieces([&] { return tokens.Next_Token(0); });
    }
    static std::string cut_at_any(std::string_view text, std::string_view separators,
                                  bool honour_quotes) {
        StrTok tokens(Writable<Char>(text), honour_quotes);
        const Writable<Char> set(separators);
        return pieces([&] { return tokens.Next(set); });
    }
    static std::string smart(std::string_view text, std::string_view separators) {
        const Writable<Char> copy(text);
        const Writable<Char> set(separators);
        Char* start = copy;
        return pieces([&] { return Kind<Char>::kSmartok(std::exchange(start, nullptr), set); });
    }
    static std::string prepared(std::string_view text, std::string_view marks, bool to_upper) {
        const std::basic_string<Char> wide(text.begin(), text.end());
        const TextAtGuardPage<Char> guarded{std::basic_string_view<Char>(wide)};
        Prepare_Tokens(guarded.text(), Writable<Char>(marks), to_upper);
        return test::narrowed(guarded.text());
    }
};
TYPED_TEST_SUITE(Tokens, test::Widths);

TYPED_TEST(Tokens, AreCutAtOneSeparator) {
    EXPECT_EQ(this->cut("a,,b", false, false), "a||b|");
    EXPECT_EQ(this->cut("a,", false, false), "a|") << "nothing behind a last separator";
    EXPECT_EQ(this->cut(",a", false, false), "|a|");
    EXPECT_EQ(this->cut("", false, false), "");
    EXPECT_EQ(this->cut("\"a,b\"", false, false), "\"a|b\"|") << "quotes mean nothing";
}

TYPED_TEST(Tokens, AreStrippedOfSpacesOnly) {
    EXPECT_EQ(this->cut(" a , b ", true, true), "a|b|");
    EXPECT_EQ(this->cut(" a , b ", true, false), "a |b |");
    EXPECT_EQ(this->cut(" a , b ", false, true), " a| b|");
    EXPECT_EQ(this->cut("   ", true, false), "");
    EXPECT_EQ(this->cut("  ,a", false, true), " |a|") << "the first one stays";
    EXPECT_EQ(this->cut("\ta\t", true, true), "\ta\t|");
}

TYPED_TEST(Tokens, MayChangeTheSeparatorAndGiveTheRest) {
    const Writable<TypeParam> text("a;b,c, d,e");
    typename TestFixture::TokenString tokens(text, this->kComma);
    EXPECT_EQ(test::narrowed(tokens.Next_Token(';')), "a");
    EXPECT_EQ(test::narrowed(tokens.Next_Token(0)), "b");
    EXPECT_EQ(test::narrowed(tokens.Next_Token(0)), "c");
    tokens.Strip_Spaces(true);
    EXPECT_EQ(test::narrowed(tokens.Remainder()), "d,e");
    EXPECT_EQ(tokens.Next_Token(0), nullptr);
    EXPECT_EQ(test::narrowed(tokens.Remainder()), "");
}

TYPED_TEST(Tokens, WithoutASeparatorAreTheWholeText) {
    const Writable<TypeParam> text("a,b");
    typename TestFixture::TokenString tokens(text, TypeParam(0));
    EXPECT_EQ(pieces([&] { return tokens.Next_Token(0); }), "a,b|");
    typename TestFixture::TokenString none(static_cast<TypeParam*>(nullptr), this->kComma);
    EXPECT_EQ(none.Next_Token(0), nullptr);
    EXPECT_EQ(none.Remainder(), nullptr);
}

TEST(TokenString, CutsTheCallersTextOnlyIfItIsNarrow) {
    char text[] = "a,b";
    CTokenString tokens(text, ',');
    EXPECT_EQ(tokens.Next_Token(0), text);
    EXPECT_EQ(text[1], 0);
    char16_t const wide[] = u"a,b";
    CWTokenString copy(wide, u',');
    EXPECT_NE(copy.Next_Token(0), wide);
    EXPECT_EQ(std::u16string(wide), u"a,b");
}

TEST(TokenString, FollowsATextThatTheCallerShortens) {
    char text[] = "a,b,c";
    CTokenString tokens(text, ',');
    tokens.Next_Token(0);
    text[3] = 0;
    EXPECT_STREQ(tokens.Next_Token(0), "b");
    EXPECT_EQ(tokens.Next_Token(0), nullptr);
}

TEST(TokenString, LeavesAloneWhatTheCallerAppends) {
    for (const auto& [appended, piece, rest] :
         {std::tuple{",cd", "ab", "cd"}, {"c,d", "abc", "d"}}) {
        char text[8] = "ab";
        CTokenString tokens(text, ',');
        std::strcpy(text + 2, appended);
        EXPECT_STREQ(tokens.Next_Token(0), piece);
        EXPECT_EQ(tokens.Next_Token(0), nullptr);
        EXPECT_STREQ(text + std::strlen(piece) + 1, rest);
    }
}

TEST(TokenString, WithoutMemoryHasNoTokens) {
    const FailingAllocator none;
    CWTokenString tokens(u"a,b", u',');
    EXPECT_EQ(tokens.Next_Token(0), nullptr);
    EXPECT_EQ(tokens.Remainder(), nullptr);
}

TYPED_TEST(Tokens, AreCutAtAnyOfASet) {
    EXPECT_EQ(this->cut_at_any("a \"b c\" d", " ", true), "a|\"b c\"|d|");
    EXPECT_EQ(this->cut_at_any("a \"b c\" d", " ", false), "a|\"b|c\"|d|");
    EXPECT_EQ(this->cut_at_any(",a;b,", ",;", true), "|a|b||");
    EXPECT_EQ(this->cut_at_any("a,\"b,c", ",", true), "a|\"b,c|") << "an open quote protects all";
    EXPECT_EQ(this->cut_at_any("", ",", true), "|");
    EXPECT_EQ(this->cut_at_any("a,b", "", true), "a,b|");
}

TYPED_TEST(Tokens, GiveTheWholeRestForNullSeparators) {
    const Writable<TypeParam> text("a,b,c");
    const Writable<TypeParam> comma(",");
    typename TestFixture::StrTok tokens(text, true);
    EXPECT_EQ(test::narrowed(tokens.Next(comma)), "a");
    EXPECT_EQ(test::narrowed(tokens.Next(nullptr)), "b,c");
    EXPECT_EQ(tokens.Next(comma), nullptr);
    EXPECT_EQ(text.str(), "a,b,c");
    const auto smart = Kind<TypeParam>::kSmartok;
    EXPECT_EQ(test::narrowed(smart(text, comma)), "a");
    EXPECT_EQ(test::narrowed(smart(nullptr, nullptr)), "b,c");
    EXPECT_EQ(smart(nullptr, comma), nullptr);
}

TYPED_TEST(Tokens, OfANullCopyAreNoneAndOfAFailedOneThrow) {
    typename TestFixture::StrTok tokens(static_cast<TypeParam const*>(nullptr), true);
    EXPECT_EQ(tokens.Next(nullptr), nullptr);
    const Writable<TypeParam> text("a");
    const FailingAllocator none;
    int thrown = 0;
    try {
        typename TestFixture::StrTok failed(text, false);
    } catch (int value) {
        thrown = value;
    }
    EXPECT_EQ(thrown, -1);
}

TYPED_TEST(Tokens, InPlaceHonourQuotesAndStartAnew) {
    EXPECT_EQ(Kind<TypeParam>::kSmartok(nullptr, Writable<TypeParam>(",")), nullptr);
    EXPECT_EQ(this->smart("a,\"b,c\",", ","), "a|\"b,c\"||");
    EXPECT_EQ(this->smart("x y", " "), "x|y|");
}

TYPED_TEST(Tokens, ArePreparedBetweenMarksOnly) {
    struct {
        char const *text, *marks;
        bool upper;
        char const* result;
    } const cases[] = {
        {"ab 'cd' ef", "'", true, "ab 'CD' ef"},
        {"AB %C_z% EF", "%", false, "AB %c_z% EF"},
        {"a''b 'c'", "'", true, "a''b 'C'"},
        {"'a' %b% c", "'%", true, "'A' %B% c"},
        {"x 'a%b' c", "'%", true, "x 'A%B' c"},
        {"ab 'cd", "'", true, "ab 'CD"},
        {"ab '", "'%", true, "ab '"},
        {"''", "''", true, "''"},
        {"'[`{@\xE9'", "'", true, "'[`{@\xE9'"},
        {"'a'b'c'", "", true, "'a'b'c'"},
        {"", "'", true, ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(this->prepared(c.text, c.marks, c.upper), c.result) << c.text;
}

TYPED_TEST(Tokens, ThatCannotBeWrittenEndQuietly) {
    test::GuardPage page(4096);
    TypeParam* const text = page.as<TypeParam>();
    text[0] = text[2] = '\'';
    text[1] = 'a';
    mprotect(page.begin(), 4096, PROT_READ);
    Prepare_Tokens(text, Writable<TypeParam>("'"), true);
    EXPECT_EQ(text[1], TypeParam('a'));
}

std::string without_space(std::string_view text, char replacement) {
    const TextAtGuardPage<char> guarded(text);
    Tokenize_Whitespace(guarded.text(), replacement);
    const std::string result = guarded.text();
    for (std::size_t i = result.size(); i <= text.size(); ++i)
        EXPECT_EQ(guarded.text()[i], 0);
    return result;
}

TEST(TokenizeWhitespace, ReplacesOneForOneOutsideQuotes) {
    EXPECT_EQ(without_space("a  \"b c\"\n", '_'), "a__\"b c\"");
    EXPECT_EQ(without_space(" a\t\r\nb ", '_'), "_a__b_");
    EXPECT_EQ(without_space(" a\t\r\nb ", 0), "ab");
    EXPECT_EQ(without_space("\"a\t\nb", '_'), "\"a\tb") << "an open quote protects, not line feeds";
    EXPECT_EQ(without_space("", '_'), "");
}

TEST(TokenizeWhitespace, TakesTextOfAnyLength) {
    EXPECT_EQ(without_space(std::string(10000, ' '), ','), std::string(10000, ','));
}

/// Options as "name=value", "name" without a value, with "." behind the last.
std::string options(std::string_view line) {
    const TextAtGuardPage<char> guarded(line);
    std::string all;
    for (char* at = guarded.text(); at != nullptr;) {
        char* option = nullptr;
        char* value = nullptr;
        at = Next_Cmdline_Option(at, &option, &value);
        all += (option != nullptr ? option : "-") +
               (value != nullptr ? "=" + std::string(value) : "") + (at != nullptr ? " " : ".");
    }
    return all;
}

TEST(CommandLine, GivesOptionsWithTheirValues) {
    EXPECT_EQ(options("prog /a 1 /b \"x y\" /c"), "a=1 b=\"x y\" c.");
    EXPECT_EQ(options("/a\t /b/c \t1 2"), "a b/c=1 -.");
    EXPECT_EQ(options("/a \"open 1 /b"), "a=\"open 1 /b.");
    EXPECT_EQ(options("/a 1 "), "a=1.") << "a blank at the very end is nothing more";
    EXPECT_EQ(options("/a "), "a.");
    EXPECT_EQ(options("/a  "), "a=.");
    for (char const* none : {"", "prog", "prog /"})
        EXPECT_EQ(options(none), "-.") << none;
}

TEST(CommandLine, ClearsItsOutputs) {
    char text[] = "none";
    char* option = text;
    char* value = text;
    EXPECT_EQ(Next_Cmdline_Option(text, &option, &value), nullptr);
    EXPECT_EQ(option, nullptr);
    EXPECT_EQ(value, nullptr);
}

}  // namespace
}  // namespace tarnwillow
