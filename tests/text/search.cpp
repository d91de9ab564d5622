#include "tarnwillow/platform/search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <random>
#include <string>

#include "support/guardPage.h"
#include "tarnwillow/platform/byteBlock.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow::platform {
namespace {

char32_t folded(char32_t c) { return c >= U'A' && c <= U'Z' ? c + 32 : c; }

template <class S>
struct SearchKind {
    using Finder = S;
    using Unit = typename S::unit_type;
    using Text = std::basic_string<Unit>;
    static constexpr bool kIgnoresCase =
        std::is_same_v<S, NarrowSearchNoCase> || std::is_same_v<S, WideSearchNoCase>;

    static std::size_t expected(const Text& text, const Text& pattern) {
        const auto same = [](Unit a, Unit b) {
            return kIgnoresCase ? folded(a) == folded(b) : a == b;
        };
        const auto at = std::search(text.begin(), text.end(), pattern.begin(), pattern.end(), same);
        const bool found = at != text.end() || pattern.empty();
        return found ? static_cast<std::size_t>(at - text.begin()) : kNotFound;
    }
};

template <class S>
class Searching : public testing::Test, public SearchKind<S> {
protected:
    using typename SearchKind<S>::Text;
    using typename SearchKind<S>::Unit;

    // The text ends at memory nobody may touch, and stands at an odd address.
    static std::size_t find(const Text& text, const Text& pattern) {
        const test::GuardPage text_page(text.size() * sizeof(Unit));
        const test::GuardPage pattern_page(pattern.size() * sizeof(Unit) + 1);
        std::memcpy(text_page.begin(), text.data(), text.size() * sizeof(Unit));
        std::memcpy(pattern_page.begin(), pattern.data(), pattern.size() * sizeof(Unit));
        return S(pattern_page.begin(), pattern.size()).find(text_page.begin(), text.size());
    }

    static Text repeat(std::size_t count, char unit) {
        return Text(count, static_cast<Unit>(unit));
    }
};

using Kinds = testing::Types<NarrowSearch, NarrowSearchNoCase, WideSearch, WideSearchNoCase>;
TYPED_TEST_SUITE(Searching, Kinds);

// Letters in both cases and what differs from them by the case bit alone.
TYPED_TEST(Searching, FindsWhatTheNaiveSearchFinds) {
    using Text = typename TestFixture::Text;
    using Unit = typename TestFixture::Unit;
    std::mt19937 random(20260102);
    const char32_t alphabet[] = {U'a', U'A', U'z', U'[', U'{', U'@', U'`', 0, 0xE1, 0xC1, 0x161};
    const auto make = [&](std::size_t length, std::size_t letters) {
        Text made(length, Unit{});
        for (Unit& unit : made)
            unit = static_cast<Unit>(alphabet[random() % letters]);
        return made;
    };
    for (int round = 0; round < 20000; ++round) {
        const std::size_t letters = 1 + random() % std::size(alphabet);
        const Text text = make(random() % 200, letters);
        const Text pattern = make(random() % 6, letters);
        ASSERT_EQ(this->find(text, pattern), this->expected(text, pattern)) << "round " << round;
    }
}

TYPED_TEST(Searching, FindsAtEveryPlaceOfTextsOfEveryLength) {
    using Text = typename TestFixture::Text;
    const Text pattern = {'w', 'o', 'r', 'd'};
    for (std::size_t length = 4; length < 150; ++length)
        for (const std::size_t at : {std::size_t{0}, length / 2, length - 4}) {
            Text text = this->repeat(length, 'r');
            text.replace(std::min(at, length - 4), 4, pattern);
            ASSERT_EQ(this->find(text, pattern), std::min(at, length - 4)) << length;
        }
}

// Long runs of one letter defeat the quick look at every position.
TYPED_TEST(Searching, StaysLinearOnRunsOfOneLetter) {
    using Text = typename TestFixture::Text;
    const Text half = this->repeat(50000, 'a');
    const Text other = this->repeat(1, 'b');
    const Text text = this->repeat(2000000, 'a') + other + half;
    const std::pair<Text, std::size_t> cases[] = {{half + other + half, 1950000},
                                                  {half + half + other, 1900000},
                                                  {other + half + half, kNotFound},
                                                  {half + other + half + other, kNotFound}};
    const auto begun = std::chrono::steady_clock::now();
    for (const auto& [pattern, expected] : cases)
        EXPECT_EQ(TypeParam(pattern.data(), pattern.size()).find(text.data(), text.size()),
                  expected);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(20));
}

// Patterns long enough, and texts mean enough, for the linear method to take over.
TYPED_TEST(Searching, FindsAlsoByTheLinearMethod) {
    using Text = typename TestFixture::Text;
    std::mt19937 random(20260103);
    for (int round = 0; round < 60; ++round) {
        Text pattern;
        const std::size_t period = 1 + random() % 60;
        while (pattern.size() < 400)
            pattern += this->repeat(period, 'a') + this->repeat(1, 'b');
        pattern[350 + random() % 50] = 'c';
        Text text;
        for (int i = 0; i < 60; ++i) {
            Text near = pattern;
            near[40 + random() % 360] = 'd';
            text += near;
        }
        const std::size_t at = text.size() + random() % 7;
        text.resize(at, 'a');
        text += pattern;
        ASSERT_EQ(this->find(text, pattern), this->expected(text, pattern)) << "round " << round;
    }
}

template <class Block>
std::uint32_t compare_blocks(const unsigned char* a, const unsigned char* b) {
    const Block low = Block::template equal<std::uint8_t>(
        Block::load(a) | Block::fill(std::uint8_t{0x20}), Block::load(b));
    const Block wide = Block::narrow(
        Block::template equal<char16_t>(Block::load(a), Block::load(b)),
        Block::template equal<char16_t>(Block::load(a) & Block::fill(char16_t{0x0F0F}),
                                        Block::fill(char16_t{0x0101})));
    return low.mask() | wide.mask() << 16;
}

// All results of one byte each, of units of any value.
template <class Block>
std::uint32_t narrow_blocks(const unsigned char* a, const unsigned char* b) {
    const Block bytes = Block::narrow(Block::load(a), Block::load(b));
    return bytes.mask() | Block::at_most(bytes, 0x3E).mask() << 16;
}

TEST(ByteBlocks, PlainCodeAndTheVectorUnitAgree) {
    std::mt19937 random(20260104);
    unsigned char a[16], b[16];
    for (int round = 0; round < 5000; ++round) {
        for (int i = 0; i < 16; ++i) {
            a[i] = "\x01\x41\x61\xF1"[random() % 4];
            b[i] = "\x01\x41\x61\xF1"[random() % 4];
        }
        ASSERT_EQ(compare_blocks<PlainBlock>(a, b), compare_blocks<ByteBlock>(a, b));
        for (int i = 0; i < 16; ++i)
            a[i] = "\x00\x3E\x3F\x7F\x80\xFF"[random() % 6];
        ASSERT_EQ(narrow_blocks<PlainBlock>(a, b), narrow_blocks<ByteBlock>(a, b));
    }
}

}  // namespace
}  // namespace tarnwillow::platform
