#include "tarnwillow/text/lockedStrings.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "support/failingAllocator.h"
#include "support/guardPage.h"

namespace tarnwillow {
namespace {

using Bytes = std::basic_string<unsigned char>;

Bytes bytes(std::string_view text) { return {text.begin(), text.end()}; }

Bytes locked(Bytes text) {
    Lock_String(text.data());
    return text;
}

TEST(LockedStrings, TurnEachByteByItsPlace) {
    // 'A' ^ 0x6B is 0x2A; the ninth byte is turned by nothing again.
    EXPECT_EQ(locked(bytes("AAAAAAAAA")),
              (Bytes{0x2A, 0x54, 0xA8, 0x51, 0xA2, 0x45, 0x8A, 0x15, 0x2A}));
    EXPECT_EQ(locked(bytes("kkk")), (Bytes{0, 0, 0})) << "the mask itself";
}

TEST(LockedStrings, ComeBackByTheirLength) {
    Bytes text;
    for (int c = 1; c < 256; ++c)
        text += static_cast<unsigned char>(c);
    Bytes changed = locked(text);
    EXPECT_NE(changed, text);
    Unlock_String(changed.data(), changed.size());
    EXPECT_EQ(changed, text);
}

TEST(LockedStrings, ComeBackUpToTheFirstZeroWithoutALength) {
    Bytes text = locked(bytes("book"));  // its 'k' locks to zero
    Unlock_String(text.data(), 0);
    EXPECT_EQ(text, bytes(std::string_view("boo\0", 4)));
}

TEST(LockedStrings, WorkOnTheLowByteOfWideText) {
    std::u16string text = u"caf\u00E9 and more";
    const std::u16string original = text;
    Lock_String(text.data());
    for (char16_t unit : text)
        EXPECT_LT(unit, 0x100);
    EXPECT_NE(text, original);
    Unlock_String(text.data());
    EXPECT_EQ(text, original);
    std::u16string beyond = u"\u0141\u0141";  // 0x12A; turned once 0x254
    Lock_String(beyond.data());
    EXPECT_EQ(beyond, u"\x2B\x56");
}

TEST(ProtectedStrings, AreHexadecimalAndComeBack) {
    char protected_text[9];
    ProtectString("AAAA", protected_text);
    EXPECT_STREQ(protected_text, "2A54A851");
    // With a byte that locks to zero in the middle.
    for (char const* text : {"", "x", "open sesame", "book keeper"}) {
        char hex[64];
        ProtectString(text, hex);
        char clear[32] = {};
        UnprotectString(hex, clear);
        EXPECT_STREQ(clear, text);
    }
}

TEST(ProtectedStrings, StayInTheirRoomWhateverTheTextIs) {
    for (char const* hex : {"2A54!!", "2A5", "!", "2!54", ""}) {
        const std::size_t room = (std::strlen(hex) + 1) / 2;
        const test::GuardPage page(room);
        std::memset(page.begin(), 0, room);
        UnprotectString(hex, page.begin());
    }
    char odd[3] = {};
    UnprotectString("2A5", odd);
    EXPECT_EQ(odd[0], 'A');
}

TEST(ProtectedStrings, AreNotTouchedWithoutMemory) {
    char dest[] = "before";
    {
        const test::FailingAllocator none;
        ProtectString("text", dest);
    }
    ProtectString(nullptr, dest);
    EXPECT_STREQ(dest, "before");
}

class LockedTable : public testing::Test {
protected:
    /// A record with that text, locked.
    static LockedStringTable record(std::string_view text) {
        LockedStringTable result{};
        text.copy(reinterpret_cast<char*>(result.Text), text.size());
        Lock_String(result.Text);
        return result;
    }
};

TEST_F(LockedTable, IsUnlockedAtTheFirstUse) {
    LockedStringTable table[] = {record("first"), record("se\xC3\xBC"
                                                         "ond")};
    char16_t const* const text = Get_Locked_String(table, 1);
    EXPECT_EQ(text, std::u16string(u"se\u00FCond"));
    EXPECT_EQ(static_cast<void const*>(text), table[1].Text);
    EXPECT_EQ(table[0].Unlocked, 0);
    EXPECT_NE(table[1].Unlocked, 0);
    EXPECT_EQ(Get_Locked_String(table, 1), text);
    EXPECT_EQ(text, std::u16string(u"se\u00FCond")) << "not unlocked twice";
}

TEST_F(LockedTable, HoldsLongTextsAndSurvivesBadOnes) {
    const auto table = std::make_unique<LockedStringTable[]>(3);
    table[0] = record(std::string(2498, 'x'));
    table[1] = record(std::string(2499, 'x'));
    std::memset(table[2].Text, 'x', sizeof table[2].Text);  // no terminator
    EXPECT_EQ(Get_Locked_String(table.get(), 0), std::u16string(2498, u'x'));
    EXPECT_EQ(Get_Locked_String(table.get(), 1), std::u16string());
    EXPECT_EQ(Get_Locked_String(table.get(), 2), std::u16string());
}

}  // namespace
}  // namespace tarnwillow
