#include "tarnwillow/files/CRegistry.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support/failingAllocator.h"
#include "support/temporaryFolder.h"

namespace tarnwillow {
namespace {

using test::FailingAllocator;
using test::TemporaryFolder;

class Registry : public testing::Test {
protected:
    Registry() { EXPECT_TRUE(settings.Open_Application_Key("Test", HKEY_LOCAL_MACHINE)); }

    std::string path() {
        char text[300] = "~";
        settings.Get_Current_Path(text);
        return text;
    }
    long number(char const* name) {
        long value = -12345;
        return settings.Get_Entry(name, &value) ? value : -12345;
    }
    std::string text(char const* name) {
        char value[256] = "~";
        return settings.Get_Entry(name, value) ? value : "<none>";
    }
    std::u16string wide_text(char16_t const* name) {
        char16_t value[256] = u"~";
        return settings.Get_Entry(name, value) ? value : u"<none>";
    }
    /// Names of subkeys and values, in order.
    std::string names() {
        std::string all;
        char name[CRegistry::kNameRoom];
        for (unsigned long i = 0; settings.Get_Subkey(i, name); ++i)
            all += std::string(name) + "/ ";
        for (unsigned long i = 0; settings.Get_Indexed_Value(i, name); ++i)
            all += std::string(name) + " ";
        return all;
    }
    bool make(char const* below) {
        CRegistry other;
        return other.Open_Application_Key((std::string("Test\\") + below).c_str(),
                                          HKEY_LOCAL_MACHINE);
    }

    TemporaryFolder folder;
    CRegistry settings;
};

// Values.

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

}  // namespace
}  // namespace tarnwillow
