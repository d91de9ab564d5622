#include "tarnwillow/text/encoders.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <thread>

#include "support/guardPage.h"
#include "tarnwillow/text/scratchRing.h"
#include "text/bothWidths.h"

namespace tarnwillow {
namespace {

using detail::ScratchRing;
using test::narrowed;
using test::TextAtGuardPage;

template <class Char>
class XmlEncoder : public testing::Test {
protected:
    static std::string encoded(std::string_view text) {
        const std::basic_string<Char> units(text.begin(), text.end());
        return narrowed(Encode_For_XML(TextAtGuardPage<Char>(units).text()));
    }
    static constexpr std::size_t kMost = ScratchRing::kSlotSize / sizeof(Char) - 1;
};
TYPED_TEST_SUITE(XmlEncoder, test::Widths);

TYPED_TEST(XmlEncoder, ReplacesTheReservedCharacters) {
    struct {
        char const* text;
        char const* result;
    } const cases[] = {
        {"", ""},
        {"a<b", "a&lt;b"},
        {"it's", "it's"},
        {"&amp;", "&amp;amp;"},
        {"\"<>&\"", "&quot;&lt;&gt;&amp;&quot;"},
        {"0123456789abcdef<0123456789abcdef>", "0123456789abcdef&lt;0123456789abcdef&gt;"},
        {"a long text whose one & stands behind", "a long text whose one &amp; stands behind"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(TestFixture::encoded(c.text), c.result);
    EXPECT_STREQ(narrowed(Encode_For_XML(static_cast<TypeParam*>(nullptr))).c_str(), "");
}

TYPED_TEST(XmlEncoder, TakesTheFirst1023Units) {
    EXPECT_EQ(this->encoded(std::string(2000, 'x')), std::string(1023, 'x'));
    EXPECT_EQ(this->encoded(std::string(1023, 'x') + "<"), std::string(1023, 'x'));
}

TYPED_TEST(XmlEncoder, CutsInFrontOfAnEntityThatDoesNotFit) {
    for (std::size_t plain = 0; plain < 12; ++plain) {
        const std::string front(plain, 'x');
        const std::string result = this->encoded(front + std::string(1000, '"'));
        ASSERT_EQ((result.size() - plain) % 6, 0U) << "half an entity";
        EXPECT_LE(result.size(), this->kMost);
        EXPECT_GT(result.size() + 6, this->kMost);
    }
}

TEST(Encoders, CutNoCharacterInTwo) {
    const std::string umlauts = [] {
        std::string text = "x";
        while (text.size() < 1030)
            text += "\u00FC";
        return text;
    }();
    EXPECT_EQ(Encode_For_XML(umlauts.c_str()), umlauts.substr(0, 1023));
    EXPECT_EQ(Encode_For_XML(umlauts.substr(1).c_str()), umlauts.substr(1, 1022));
    const std::u16string trees(u"x" + [] {
        std::u16string text;
        for (int i = 0; i < 600; ++i)
            text += u"\U0001F333";
        return text;
    }());
    EXPECT_EQ(Encode_For_XML(trees.c_str()), trees.substr(0, 1023));
    EXPECT_EQ(Encode_For_XML(trees.c_str() + 1), trees.substr(1, 1022));
}

TEST(Encoders, JoinBackslashesIntoSlashes) {
    EXPECT_STREQ(Encode_Path("a\\b\\\\c"), "a/b/c");
    EXPECT_STREQ(Encode_Path("\\\\\\"), "//");
    EXPECT_STREQ(Encode_Path("c:/x//y"), "c:/x//y");
    EXPECT_STREQ(Encode_Path(""), "");
    EXPECT_STREQ(Encode_Path(nullptr), "");
    EXPECT_EQ(std::strlen(Encode_Path(std::string(9000, '\\').c_str())), 2047U);
    EXPECT_EQ(std::strlen(Encode_Path(std::string(9000, 'x').c_str())), 2047U);
}

TEST(Encoders, NeverTouchTheNeighbours) {
    const auto take = [] { return static_cast<char*>(detail::scratch_ring().take()); };
    char *before, *slot, *after;
    do {
        before = take();
        slot = take();
        after = take();
    } while (slot < before || after < slot);  // the ring turned over just there
    for (std::size_t i = 0; i < ScratchRing::kSlots - 2; ++i)
        take();
    std::memset(before, 'B', ScratchRing::kSlotSize);
    std::memset(after, 'A', ScratchRing::kSlotSize);
    const std::string quotes(1023, '"');
    ASSERT_EQ(Encode_For_XML(quotes.c_str()), slot);
    EXPECT_EQ(std::string(before, ScratchRing::kSlotSize),
              std::string(ScratchRing::kSlotSize, 'B'));
    EXPECT_EQ(std::string(after, ScratchRing::kSlotSize), std::string(ScratchRing::kSlotSize, 'A'));
}

TEST(Encoders, GiveASlotAgainAfter1024Others) {
    char const* const first = Encode_For_XML("first");
    char const* const second = Encode_Path("second");
    EXPECT_STREQ(first, "first");
    EXPECT_NE(first, second);
    for (std::size_t i = 2; i < ScratchRing::kSlots; ++i)
        ASSERT_NE(static_cast<void const*>(Encode_For_XML(u"other")), first);
    EXPECT_EQ(Encode_For_XML("again"), first);
}

TEST(Encoders, GiveEveryThreadSlotsOfItsOwn) {
    constexpr int kEach = ScratchRing::kSlots / 4;
    std::vector<std::vector<void*>> taken(4);
    std::vector<std::thread> threads;
    for (auto& mine : taken)
        threads.emplace_back([&mine] {
            for (int i = 0; i < kEach; ++i)
                mine.push_back(detail::scratch_ring().take());
        });
    for (std::thread& thread : threads)
        thread.join();
    std::set<void*> all;
    for (const auto& mine : taken)
        all.insert(mine.begin(), mine.end());
    EXPECT_EQ(all.size(), ScratchRing::kSlots);
}

}  // namespace
}  // namespace tarnwillow
