#include "tarnwillow/text/urlParsing.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/guardPage.h"
#include "text/bothWidths.h"

namespace tarnwillow {
namespace {

/// "host|port|path", with an "s" behind the port of a secure URL; or "refused". The URL ends at a
/// page that may not be read, and the description held something else before.
std::string parsed(std::u16string_view url) {
    const test::TextAtGuardPage<char16_t> text(url);
    const auto description = std::make_unique<InternetResourceDesc>();
    std::fill_n(reinterpret_cast<char*>(description.get()), sizeof *description, 'x');
    const long result = Parse_URL(text.text(), description.get());
    if (result == E_INVALIDARG) return "refused";
    EXPECT_EQ(result, S_OK);
    return test::narrowed(description->Host) + "|" + std::to_string(description->Port) +
           (description->Secure ? "s|" : "|") + test::narrowed(description->Path);
}

std::u16string with_length(std::u16string_view start, std::size_t length) {
    return std::u16string(start) + std::u16string(length, u'x');
}

}  // namespace

TEST(UrlParsing, TakesUrlsApart) {
    EXPECT_EQ(parsed(u"HTTP://Host"), "Host|80|/");
    EXPECT_EQ(parsed(u"https://h:8443/x"), "h|8443s|x");
    EXPECT_EQ(parsed(u"ftp://h/"), "h|21|/");
    EXPECT_EQ(parsed(u"http://h/a/b"), "h|80|a/b");
    EXPECT_EQ(parsed(u"http://h//a"), "h|80|/a");
    EXPECT_EQ(parsed(u"http://h/a%20b?c#d"), "h|80|a%20b?c#d");
    EXPECT_EQ(parsed(u"http://"), "|80|/");
}

TEST(UrlParsing, ReadsPortsAsTheyStand) {
    EXPECT_EQ(parsed(u"http://h:/x"), "h|0|x");
    EXPECT_EQ(parsed(u"http://h:65537"), "h|1|/");
    EXPECT_EQ(parsed(u"https://user:12pass@h/x"), "user|12s|x");
    EXPECT_EQ(parsed(u"http://h:" + std::u16string(254, u'0') + u"7/x"), "h|7|x");
    EXPECT_EQ(parsed(u"http://h:" + std::u16string(255, u'0') + u"7/x"), "refused");
}

TEST(UrlParsing, DecodesFourEntitiesInThePath) {
    EXPECT_EQ(parsed(u"http://h/a?x=1&amp;y=2"), "h|80|a?x=1&y=2");
    EXPECT_EQ(parsed(u"http://h/a&LT;b&gt;&Quot;"), "h|80|a<b>\"");
    EXPECT_EQ(parsed(u"http://h/&amp;lt;"), "h|80|&lt;");
    EXPECT_EQ(parsed(u"http://a&lt;b/c"), "a&lt;b|80|c");
    for (const char16_t* rest : {u"&", u"&x", u"&l", u"&lt", u"&amp", u"&quot", u"&apos;"})
        EXPECT_EQ(parsed(std::u16string(u"http://h/a") + rest), "h|80|a" + test::narrowed(rest));
}

TEST(UrlParsing, RefusesOtherSchemes) {
    for (const char16_t* url : {u"", u"h", u"h/x", u"http", u"http:/", u"http:/h", u"gopher://h"})
        EXPECT_EQ(parsed(url), "refused") << test::narrowed(url);
    InternetResourceDesc description;
    EXPECT_EQ(Parse_URL(nullptr, &description), E_INVALIDARG);
    EXPECT_EQ(Parse_URL(u"http://h", nullptr), E_INVALIDARG);
}

TEST(UrlParsing, KnowsTheRoomForHostAndPath) {
    EXPECT_NE(parsed(with_length(u"http://", 254)), "refused");
    EXPECT_EQ(parsed(with_length(u"http://", 255)), "refused");
    EXPECT_NE(parsed(with_length(u"http://h/", 2046)), "refused");
    EXPECT_EQ(parsed(with_length(u"http://h/", 2047)), "refused");
    EXPECT_NE(parsed(with_length(u"http://h/&amp;", 2045)), "refused");
}

}  // namespace tarnwillow
