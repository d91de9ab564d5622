#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <string>
#include <utility>

#include "files/registryFixture.h"
#include "support/guardPage.h"

namespace tarnwillow {
namespace {

using test::Registry;

TEST_F(Registry, KeepsNumbersBoolsAndTextsOfBothWidths) {
    EXPECT_TRUE(settings.Set_Entry("Number", -7L));
    EXPECT_TRUE(settings.Set_Entry(u"Bool", true));
    EXPECT_TRUE(settings.Set_Entry("Text", "narrow \xC3\xA4"));
    EXPECT_TRUE(settings.Set_Entry(u"Wide", u"wide \u20AC"));
    EXPECT_EQ(number("NUMBER"), -7);
    EXPECT_EQ(number("Bool"), 1);
    EXPECT_EQ(wide_text(u"text"), u"narrow \u00E4");
    EXPECT_EQ(text("Wide"), "wide \xE2\x82\xAC");
    EXPECT_EQ(text("None"), "<none>");
    EXPECT_EQ(names(), "Number Bool Text Wide ");
}

TEST_F(Registry, NoNumberAndNoPointerIsTakenForABool) {
    EXPECT_TRUE(settings.Set_Entry("int", 7));
    EXPECT_TRUE(settings.Set_Entry("unsigned", 0x80000000U));
    EXPECT_TRUE(settings.Set_Entry("long long", -3LL));
    EXPECT_TRUE(settings.Set_Entry("zero", 0));
    EXPECT_EQ(number("int"), 7);
    EXPECT_EQ(number("unsigned"), -0x80000000L);
    EXPECT_EQ(number("long long"), -3);
    EXPECT_EQ(number("zero"), 0);
    EXPECT_FALSE(settings.Set_Entry("far", 0x100000000L));
    EXPECT_FALSE(settings.Set_Entry("far", 0x80000000L)) << "would come back as another number";
    EXPECT_FALSE(settings.Set_Entry("far", 0x100000000ULL));
    EXPECT_FALSE(settings.Set_Entry("null", nullptr));
    EXPECT_EQ(names(), "int unsigned long long zero ");
    const auto takes = [](auto value) {
        return requires(CRegistry & r) { r.Set_Entry("name", value); };
    };
    EXPECT_FALSE(takes(u"wide text under a narrow name"));
    EXPECT_FALSE(takes(L"text of the compiler's own wide type"));
    EXPECT_FALSE(takes(static_cast<int*>(nullptr)));
    EXPECT_FALSE(takes(static_cast<void*>(nullptr)));
    EXPECT_TRUE(takes("text"));
}

TEST_F(Registry, AMissingReadChangesNothing) {
    long value = 5;
    bool flag = true;
    EXPECT_FALSE(settings.Get_Entry("none", &value));
    EXPECT_FALSE(settings.Get_Entry(u"none", &flag));
    EXPECT_EQ(value, 5);
    EXPECT_TRUE(flag);
    EXPECT_FALSE(settings.Get_Entry("none", static_cast<long*>(nullptr)));
}

TEST_F(Registry, NumbersAreFourBytesWithTheirSign) {
    const unsigned char bytes[8] = {0xFF, 0xFF, 0xFF, 0xFF, 1, 0, 0, 0};
    EXPECT_TRUE(settings.Set_Entry(REG_BINARY, "short", bytes, 2));
    EXPECT_TRUE(settings.Set_Entry(REG_BINARY, "four", bytes, 4));
    EXPECT_TRUE(settings.Set_Entry(REG_BINARY, u"long", bytes, 8));
    EXPECT_EQ(number("short"), 0xFFFF) << "what is missing is zero";
    EXPECT_EQ(number("four"), -1);
    EXPECT_EQ(number("long"), -12345) << "too long";
    bool flag = false;
    EXPECT_TRUE(settings.Set_Entry("seven", 7) && settings.Get_Entry("seven", &flag));
    EXPECT_TRUE(flag);
    EXPECT_TRUE(settings.Set_Entry("zero", false) && settings.Get_Entry(u"zero", &flag));
    EXPECT_FALSE(flag);
}

TEST_F(Registry, TypesAreStoredAsEachFormSays) {
    const long numbers[2] = {1, 2};
    const char bytes[3] = {'a', 0, 'b'};
    EXPECT_TRUE(settings.Set_Entry("sz", bytes, sizeof bytes));
    EXPECT_TRUE(settings.Set_Entry("binary", numbers, sizeof numbers));
    EXPECT_TRUE(settings.Set_Entry("dword", 1L));
    EXPECT_TRUE(settings.Set_Entry(77, u"other", bytes, sizeof bytes));
    EXPECT_TRUE(settings.Set_Entry(nullptr, "default"));
    const std::pair<unsigned long, unsigned long> expected[] = {
        {REG_SZ, 3}, {REG_BINARY, 16}, {REG_DWORD, 4}, {77, 3}, {REG_SZ, 8}};
    for (unsigned long i = 0; i < std::size(expected); ++i) {
        char data[20];
        unsigned long type = 0, size = sizeof data;
        EXPECT_TRUE(settings.Get_Indexed_Value_Data(i, &type, data, &size));
        EXPECT_EQ(std::pair(type, size), expected[i]) << i;
    }
    char back[3];
    EXPECT_TRUE(settings.Get_Entry("sz", back, sizeof back));
    EXPECT_EQ(std::memcmp(back, bytes, sizeof back), 0);
    EXPECT_EQ(text(nullptr), "default");
}

TEST_F(Registry, OnlyTheWideFormTellsTooLongFromMissing) {
    settings.Set_Entry("v", "0123456789");
    char16_t wide[4];
    char narrow[4];
    unsigned long size = 4;
    EXPECT_FALSE(settings.Get_Entry(u"v", wide, &size));
    EXPECT_EQ(size, static_cast<unsigned long>(-1));
    size = 4;
    EXPECT_FALSE(settings.Get_Entry(u"none", wide, &size));
    EXPECT_EQ(size, 0U);
    size = 4;
    EXPECT_FALSE(settings.Get_Entry("v", narrow, &size));
    EXPECT_EQ(size, 0U);
    EXPECT_FALSE(settings.Get_Entry("v", narrow, 0));
    EXPECT_FALSE(settings.Get_Entry("v", narrow, -1));
    size = 0;
    EXPECT_TRUE(settings.Get_Entry(u"v", nullptr, &size)) << "asks for the length";
    EXPECT_EQ(size, 22U);
}

TEST_F(Registry, CleaningZeroesTheRestOfTheBufferAndNothingBehindIt) {
    settings.Set_Entry("text", "ab");
    settings.Set_Entry("blob", "unterminated", 4UL);
    settings.Set_Entry(REG_BINARY, "binary", "a\0b", 3UL);
    settings.Clean_Results(true);
    test::GuardPage page(8);
    std::memset(page.begin(), '~', 8);
    unsigned long size = 8;
    EXPECT_TRUE(settings.Get_Entry("text", page.begin(), &size));
    EXPECT_EQ(std::string(page.begin(), 8), std::string("ab\0\0\0\0\0\0", 8));
    EXPECT_EQ(size, 3U);
    EXPECT_TRUE(settings.Get_Entry("blob", page.end() - 4, 4));
    EXPECT_EQ(std::string(page.end() - 4, 4), "unte") << "no terminator anywhere";
    std::memset(page.begin(), '~', 8);
    EXPECT_TRUE(settings.Get_Entry("binary", page.begin(), 8));
    EXPECT_EQ(std::string(page.begin(), 3), std::string("a\0\0", 3)) << "whatever the type";
    EXPECT_TRUE(settings.Get_Entry(u"text", page.begin(), 4));
    EXPECT_EQ(std::u16string(page.as<char16_t>(), 4), std::u16string(u"ab\0\0", 4));
    std::memset(page.begin(), '~', 8);
    EXPECT_TRUE(settings.Get_Entry(u"binary", page.begin(), 4));
    EXPECT_EQ(std::string(page.begin(), 4), std::string("a\0b~", 4)) << "text only";
}

TEST_F(Registry, TheTwoFormsWithoutASizeTakeA256CharacterBuffer) {
    settings.Set_Entry("fits", std::string(255, 'x').c_str());
    settings.Set_Entry("long", std::string(256, 'x').c_str());
    settings.Set_Entry("bare", "no end", 6UL);
    EXPECT_EQ(text("fits").size(), 255U);
    EXPECT_EQ(wide_text(u"fits").size(), 255U);
    EXPECT_EQ(text("long"), "<none>");
    EXPECT_EQ(wide_text(u"long"), u"<none>");
    EXPECT_EQ(text("bare"), "no end");
    EXPECT_EQ(wide_text(u"bare"), u"no end");
}

TEST_F(Registry, DeletesAndFindsEntries) {
    settings.Set_Entry("a", "");
    EXPECT_TRUE(settings.Entry_Exists(u"A"));
    EXPECT_FALSE(settings.Entry_Exists("b"));
    EXPECT_FALSE(settings.Entry_Exists(nullptr));
    EXPECT_TRUE(settings.Delete_Entry("A"));
    EXPECT_FALSE(settings.Delete_Entry(u"a"));
    EXPECT_FALSE(settings.Entry_Exists("a"));
}

}  // namespace
}  // namespace tarnwillow
