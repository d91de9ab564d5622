#include <gtest/gtest.h>

#include "support/failingAllocator.h"
#include "support/logCollector.h"
#include "tarnwillow/diagnostics/logging.h"

namespace tarnwillow {
namespace {

using test::LogCollector;

/// Both widths' lines, which must be alike.
std::u16string logged(const std::u16string& text, unsigned length) {
    const LogCollector narrow;
    _LOG_LARGE(8, std::string(text.begin(), text.end()).c_str(), length);
    const std::u16string lines = narrow.texts();
    const LogCollector wide;
    _LOG_LARGE(8, text.c_str(), length);
    EXPECT_EQ(wide.texts(), lines);
    return lines;
}

std::u16string logged(const std::u16string& text) {
    return logged(text, static_cast<unsigned>(text.size()));
}

std::u16string repeated(std::u16string_view what, int times) {
    std::u16string text;
    for (int i = 0; i < times; ++i)
        text += what;
    return text;
}

std::u16string part(char16_t number, const std::u16string& text) {
    return std::u16string(u"Part ") + number + u": \"" + text + u"\"|";
}

}  // namespace

TEST(LogLarge, WritesPartsOf160Characters) {
    const auto x = [](int count) { return std::u16string(static_cast<std::size_t>(count), u'x'); };
    EXPECT_EQ(logged(x(159)), x(159) + u"|");
    EXPECT_EQ(logged(x(160)), part(u'0', x(160)) + part(u'1', u""));
    EXPECT_EQ(logged(x(161)), part(u'0', x(160)) + part(u'1', u"x"));
    EXPECT_EQ(logged(u"abc", 2), u"ab|");
    EXPECT_EQ(logged(u"abc", 4000000000), u"abc|");
    EXPECT_EQ(logged(u"abc", 0), u"");
    EXPECT_EQ(logged(u"", 5), u"|");
}

TEST(LogLarge, SpellsPercentSignsOut) {
    EXPECT_EQ(logged(u"5% of %s"), u"5<PC> of <PC>s|");
    EXPECT_EQ(logged(repeated(u"%", 80)), part(u'0', repeated(u"<PC>", 40)) +
                                              part(u'1', repeated(u"<PC>", 40)) + part(u'2', u""));
}

TEST(LogLarge, WritesNothingWithoutATextOrMemory) {
    const LogCollector collector;
    _LOG_LARGE(8, reinterpret_cast<char const*>(1), 5);
    _LOG_LARGE(8, static_cast<char16_t const*>(nullptr), 5);
    _LOG_LARGE(22, "text", 4);
    {
        const test::FailingAllocator no_memory;
        _LOG_LARGE(8, "text", 4);
        EXPECT_EQ(no_memory.refused(), 1U);
    }
    EXPECT_EQ(collector.texts(), u"");
}

}  // namespace tarnwillow
