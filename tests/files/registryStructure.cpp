// Opening, walking, counting, copying and deleting.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "files/registryFixture.h"
#include "support/failingAllocator.h"
#include "support/reports.h"
#include "tarnwillow/files/AccessEntry.h"

namespace tarnwillow {
namespace {

using test::FailingAllocator;
using test::Registry;

// Opening and walking.

TEST_F(Registry, AClosedObjectGivesFalse) {
    CRegistry closed;
    long value = 0;
    unsigned long count = 77, size = 8;
    char buffer[300];
    EXPECT_FALSE(closed.Get_Entry("a", &value) || closed.Get_Entry("a", buffer, &size) ||
                 closed.Get_Entry(u"a", reinterpret_cast<char16_t*>(buffer)) ||
                 closed.Set_Entry("a", 1) || closed.Set_Entry(u"a", u"") ||
                 closed.Entry_Exists("a") || closed.Delete_Entry("a"));
    EXPECT_FALSE(closed.Open_Subkey("a") || closed.Open_Subkey(0) || closed.Create_Subkey(u"a") ||
                 closed.Close_Subkey() || closed.Delete_Subkey("a") || closed.Clear_All_Values() ||
                 closed.Rename_Subkey("a", "b") || closed.Get_Subkey(0, buffer) ||
                 closed.Get_Indexed_Value_Data(0, nullptr, nullptr, nullptr));
    EXPECT_EQ(closed.Get_Num_Subkeys(&count), 0);
    EXPECT_EQ(closed.GetValueInfo(&count, &count, &count), 0);
    EXPECT_EQ(count, 77U);
    EXPECT_EQ(closed.GetMaxSubkeyLen(), 0U);
    EXPECT_EQ(closed.Set_Key_Permissions(nullptr, false), E_FAIL);
    EXPECT_EQ(closed.Current_Key(), nullptr);
}

TEST_F(Registry, TheApplicationKeyIsOneWhateverItsForm) {
    settings.Set_Entry("mark", 1);
    const auto has_mark = [](CRegistry& other) {
        return other.Open_Subkey("test") && other.Entry_Exists("mark");
    };
    CRegistry other;
    EXPECT_TRUE(other.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE) && has_mark(other));
    EXPECT_TRUE(other.Open_Application_Key("", HKEY_LOCAL_MACHINE) && has_mark(other));
    EXPECT_TRUE(other.Open_Application_KeyW(nullptr, HKEY_LOCAL_MACHINE) && has_mark(other));
    EXPECT_TRUE(other.Create_Application_KeyW(u"", HKEY_LOCAL_MACHINE) && has_mark(other));
    EXPECT_TRUE(other.Create_Application_Key("TEST", HKEY_LOCAL_MACHINE));
    EXPECT_TRUE(other.Entry_Exists("mark"));
    EXPECT_TRUE(other.Open_Application_Key_Ex(KEY_READ, "Test", HKEY_LOCAL_MACHINE));
    EXPECT_TRUE(other.Entry_Exists("mark"));
    EXPECT_FALSE(other.Set_Entry("mark", 2)) << "opened for reading";
    EXPECT_FALSE(other.Open_Application_Key_Ex(0, "none", HKEY_LOCAL_MACHINE));
    EXPECT_TRUE(other.Open_Key(HKEY_LOCAL_MACHINE, "Software\\fennt\\tarnwillow\\Test"));
    EXPECT_FALSE(other.Open_Application_Key_Ex(0, nullptr, HKEY_CURRENT_USER));
}

TEST_F(Registry, AFailedOpenLeavesTheObjectClosed) {
    EXPECT_FALSE(settings.Open_Key(HKEY_LOCAL_MACHINE, "no such key"));
    EXPECT_EQ(settings.Current_Key(), nullptr);
    EXPECT_EQ(path(), "");
    EXPECT_FALSE(settings.Open_Key(nullptr, "x"));
    EXPECT_FALSE(settings.Create_Key(HKEY_LOCAL_MACHINE, std::string(300, 'x').c_str()));
    EXPECT_FALSE(settings.Create_Key(HKEY_LOCAL_MACHINE, std::u16string(300, u'x').c_str()));
}

TEST_F(Registry, WalksDownAndUp) {
    const std::string top = path();
    EXPECT_EQ(top, "Software\\fennt\\tarnwillow\\Test");
    EXPECT_TRUE(settings.Create_Subkey("a"));
    EXPECT_TRUE(settings.Create_Subkey(u"b\u00E4"));
    EXPECT_EQ(path(), top + "\\a\\b\xC3\xA4");
    EXPECT_FALSE(settings.Open_Subkey("none"));
    EXPECT_FALSE(settings.Open_Subkey(nullptr));
    EXPECT_EQ(path(), top + "\\a\\b\xC3\xA4") << "stays where it was";
    EXPECT_TRUE(settings.Close_Subkey());
    EXPECT_EQ(path(), top + "\\a");
    EXPECT_TRUE(settings.Set_Entry("v", 1));
    EXPECT_TRUE(settings.Close_Subkey());
    EXPECT_EQ(names(), "a/ ");
    EXPECT_TRUE(settings.Close_Subkey()) << "from the first level to closed";
    EXPECT_EQ(settings.Current_Key(), nullptr);
    EXPECT_FALSE(settings.Close_Subkey());
}

TEST_F(Registry, SubkeysOpenByTheirPlace) {
    make("one");
    make("\xC3\xA4");
    EXPECT_TRUE(settings.Open_Subkey(0));
    EXPECT_NE(path().find("\\one"), std::string::npos);
    EXPECT_TRUE(settings.Open_Application_KeyW(u"Test", HKEY_LOCAL_MACHINE));
    EXPECT_TRUE(settings.Open_Subkey(1U));
    EXPECT_NE(path().find("\\\xC3\xA4"), std::string::npos);
    EXPECT_TRUE(settings.Close_Subkey());
    EXPECT_TRUE(settings.Open_Subkey_Ex(0, KEY_READ));
    EXPECT_FALSE(settings.Set_Entry("v", 1));
    EXPECT_TRUE(settings.Close_Subkey());
    EXPECT_FALSE(settings.Open_Subkey(2) || settings.Open_Subkey(-1));
    EXPECT_FALSE(settings.Open_Subkey_Ex("none", 0));
    EXPECT_TRUE(settings.Open_Subkey_Ex("one", 0) && settings.Set_Entry("v", 1));
}

TEST_F(Registry, ANullNameOpensTheRootWithoutAPath) {
    CRegistry other;
    EXPECT_TRUE(other.Open_Key(HKEY_CURRENT_USER, nullptr));
    char text[10] = "~";
    other.Get_Current_Path(text);
    EXPECT_STREQ(text, "");
    EXPECT_TRUE(other.Create_Subkey("below"));
    other.Get_Current_Path(text);
    EXPECT_STREQ(text, "below") << "the name alone";
    other.Get_Current_Path(text, 4);
    EXPECT_STREQ(text, "bel");
    EXPECT_TRUE(other.Open_Key(HKEY_CURRENT_USER, nullptr));
    EXPECT_TRUE(other.Delete_Subkey("below"));
    EXPECT_TRUE(other.Close_Subkey());
    EXPECT_EQ(other.Current_Key(), nullptr);
}

TEST_F(Registry, GoingUpToADeletedKeyCloses) {
    make("a\\b");
    EXPECT_TRUE(settings.Open_Subkey("a") && settings.Open_Subkey("b"));
    CRegistry other;
    EXPECT_TRUE(other.Open_Application_Key("Test", HKEY_LOCAL_MACHINE));
    EXPECT_TRUE(other.Delete_Subkey("a"));
    EXPECT_FALSE(settings.Set_Entry("v", 1));
    EXPECT_FALSE(settings.Close_Subkey());
    EXPECT_EQ(settings.Current_Key(), nullptr);
}

TEST_F(Registry, ACopyStandsOnItsOwn) {
    settings.Create_Subkey("a");
    const std::string before = path();
    CRegistry copy(settings);
    EXPECT_TRUE(settings.Open_Key(HKEY_CURRENT_USER, nullptr));
    char text[300];
    copy.Get_Current_Path(text);
    EXPECT_EQ(text, before);
    EXPECT_TRUE(copy.Set_Entry("v", 1) && copy.Close_Subkey() && copy.Close_Subkey());
    copy = settings;
    copy = *&copy;
    EXPECT_TRUE(copy.Set_Entry("v", 1));
    settings = CRegistry();
    EXPECT_EQ(settings.Current_Key(), nullptr);
}

TEST_F(Registry, BuildsPathsBelowTheApplicationKey) {
    char narrow[CRegistry::kBuiltKeyRoom];
    char16_t wide[CRegistry::kBuiltKeyRoom];
    EXPECT_TRUE(CRegistry::Build_Application_Key(narrow, "Log\\%s%d", "x", 7));
    EXPECT_STREQ(narrow, "Software\\fennt\\tarnwillow\\Log\\x7");
    EXPECT_TRUE(CRegistry::Build_Application_Key(wide, u"%s-%S", u"\u20AC", "n"));
    EXPECT_EQ(std::u16string(wide), u"Software\\fennt\\tarnwillow\\\u20AC-n");
    EXPECT_TRUE(CRegistry::Build_Application_Key(narrow, "%s", std::string(900, 'x').c_str()));
    EXPECT_EQ(std::strlen(narrow), CRegistry::kBuiltKeyRoom - 1);
    test::ReportCollector collector;
    EXPECT_FALSE(CRegistry::Build_Application_Key(narrow, "%s", reinterpret_cast<char*>(1)));
    EXPECT_FALSE(CRegistry::Build_Application_Key(wide, u"%s", reinterpret_cast<char16_t*>(2)));
    EXPECT_EQ(collector.names(),
              u"CRegistry::Build_Application_Key,CRegistry::Build_Application_KeyW");
}

// Counts and structure.

TEST_F(Registry, CountsAndLongestLengths) {
    make("a");
    make("longest");
    settings.Set_Entry("value", "four");
    settings.Set_Entry(u"v", u"12345678");
    unsigned long count = 0, name = 0, data = 0;
    EXPECT_EQ(settings.Get_Num_Subkeys(&count), 0);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(settings.Get_Num_Values(&count), 0);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(settings.Get_Iteration_Subkey_Buffer_Length(&data), 0);
    EXPECT_EQ(data, 18U);
    EXPECT_EQ(settings.Get_Iteration_Value_Buffer_Length(&name), 0);
    EXPECT_EQ(name, 5U);
    EXPECT_EQ(settings.GetMaxSubkeyLen(), 7U);
    EXPECT_EQ(settings.Get_Subkey_Info(&count, &name), 0);
    EXPECT_EQ(name, 7U);
    EXPECT_EQ(settings.GetValueInfo(&count, &name, &data), 0);
    EXPECT_EQ(count + name + data, 2U + 5 + 18);
    settings.Delete_Subkey("a");
    CRegistry other;
    other.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE);
    other.Delete_Subkey("Test");
    EXPECT_EQ(settings.Get_Num_Subkeys(&count), ERROR_KEY_DELETED);
}

TEST_F(Registry, NamesOf255CharactersDoNotFitTheBuffers) {
    make(std::string(254, 'a').c_str());
    make(std::string(255, 'b').c_str());
    char16_t name[CRegistry::kNameRoom];
    EXPECT_TRUE(settings.Get_Subkey(0, name));
    EXPECT_FALSE(settings.Get_Subkey(1, name));
    EXPECT_TRUE(settings.Open_Subkey(0));
    EXPECT_TRUE(settings.Close_Subkey());
    EXPECT_FALSE(settings.Open_Subkey(1));
}

TEST_F(Registry, CopiesValuesOfUpToAThousandBytes) {
    make("from\\a\\b");
    make("to");
    CRegistry from, to;
    from.Open_Application_Key("Test\\from", HKEY_LOCAL_MACHINE);
    to.Open_Application_Key("Test\\to", HKEY_LOCAL_MACHINE);
    const std::string bytes(1001, 'x');
    from.Set_Entry(REG_BINARY, "1000", bytes.data(), 1000UL);
    from.Set_Entry(REG_BINARY, "1001", bytes.data(), 1001UL);
    from.Set_Entry("number", 7);
    from.Set_Entry(u"wide", u"\u20AC");
    EXPECT_TRUE(settings.Copy_Key(from.Current_Key(), to.Current_Key()));
    EXPECT_TRUE(settings.Open_Subkey("to"));
    EXPECT_EQ(names(), "a/ 1000 number wide ");
    EXPECT_EQ(number("number"), 7);
    EXPECT_EQ(wide_text(u"wide"), u"\u20AC");
    EXPECT_TRUE(settings.Open_Subkey("a\\b"));
    EXPECT_FALSE(settings.Copy_Key(from.Current_Key(), nullptr));
    EXPECT_FALSE(settings.Copy_Key(nullptr, to.Current_Key()));
    EXPECT_FALSE(settings.Copy_Key(reinterpret_cast<HKEY>(4), to.Current_Key()));
}

TEST_F(Registry, ACopyIntoAnOwnSubkeyEnds) {
    make("a\\b\\c");
    make("a\\d\\e");
    CRegistry from, to;
    from.Open_Application_Key("Test\\a", HKEY_LOCAL_MACHINE);
    to.Open_Application_Key("Test\\a\\d\\to", HKEY_LOCAL_MACHINE);
    from.Set_Entry("v", 1);
    EXPECT_TRUE(settings.Copy_Key(from.Current_Key(), to.Current_Key()));
    EXPECT_TRUE(settings.Open_Subkey("a\\d\\to"));
    EXPECT_EQ(names(), "b/ d/ v ");
    EXPECT_TRUE(settings.Open_Subkey("d"));
    EXPECT_EQ(names(), "e/ ") << "without the copy itself";
}

TEST_F(Registry, RenamesWhatHasNoSubkeys) {
    make("flat");
    make("deep\\below");
    CRegistry flat;
    flat.Open_Application_Key("Test\\flat", HKEY_LOCAL_MACHINE);
    flat.Set_Entry("v", 7);
    EXPECT_TRUE(settings.Rename_Subkey("flat", "renamed"));
    EXPECT_TRUE(settings.Rename_Subkey(u"deep", u"copy"));
    EXPECT_EQ(names(), "copy/ deep/ renamed/ ") << "a key with subkeys stands under both names";
    EXPECT_FALSE(settings.Rename_Subkey("none", "other"));
    EXPECT_FALSE(settings.Rename_Subkey(u"copy", nullptr));
    EXPECT_TRUE(settings.Rename_Subkey("renamed", "RENAMED")) << "the same key";
    EXPECT_TRUE(settings.Open_Subkey("renamed"));
    EXPECT_EQ(number("v"), 7);
}

TEST_F(Registry, ClearsUntilASubkeyWithSubkeysStopsIt) {
    for (char const* name : {"a", "b", "c\\d"})
        make(name);
    settings.Set_Entry("1", 1);
    settings.Set_Entry("2", 2);
    EXPECT_FALSE(settings.Clear_All_Values());
    EXPECT_EQ(names(), "a/ b/ c/ 1 2 ");
    EXPECT_TRUE(settings.Delete_Subkey(u"c"));
    EXPECT_TRUE(settings.Clear_All_Values());
    EXPECT_EQ(names(), "");
    EXPECT_TRUE(settings.Clear_All_Values());
    EXPECT_FALSE(settings.Delete_Subkey("c") || settings.Delete_Subkey("") ||
                 settings.Delete_Subkey(static_cast<char16_t*>(nullptr)));
}

TEST_F(Registry, ProtectionThatIsNotThereIsNotClaimed) {
    CCollection entries;
    AccessEntry administrators{544, KEY_ALL_ACCESS, 0};
    entries.Add(&administrators);
    EXPECT_EQ(settings.Set_Key_Permissions(&entries, false), E_FAIL);
    EXPECT_EQ(settings.Set_Key_Permissions(&entries, true), E_FAIL);
}

TEST_F(Registry, WithoutMemoryOperationsFailAndTheObjectStaysWhole) {
    make("a subkey with quite a long name");
    bool done = false;
    for (std::size_t successes = 0; !done; ++successes) {
        CRegistry other;
        const FailingAllocator failing(successes);
        const bool opened = other.Open_Application_KeyW(u"Test\\a subkey with quite a long name",
                                                        HKEY_LOCAL_MACHINE);
        EXPECT_EQ(other.Current_Key() != nullptr, opened);
        done = opened && other.Create_Subkey(u"another one with a long name") &&
               other.Set_Entry(u"v", u"a text that is not short") && other.Close_Subkey() &&
               other.Delete_Subkey(u"another one with a long name");
    }
}

}  // namespace
}  // namespace tarnwillow
