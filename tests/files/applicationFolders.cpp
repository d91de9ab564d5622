#include "tarnwillow/files/applicationFolders.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "support/guardPage.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/platform/modules.h"

namespace tarnwillow {
namespace {

constexpr char16_t kFallBack[] = u"c:\\Tolmeka Folder (you can delete this)\\";
constexpr bool kLegacy = true;

class ApplicationFolders : public testing::Test {
protected:
    void set(char16_t const* name, std::u16string_view value) {
        CRegistry registry;
        ASSERT_TRUE(registry.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE));
        ASSERT_TRUE(registry.Set_Entry(name, value.data()));
    }
    std::u16string get(int kind, bool legacy = false) {
        char16_t out[256] = u"before";
        Get_App_Folder_Path(kind, out, legacy);
        return out;
    }
    std::string expand(std::string path, int max = -1) {
        path.resize(600);
        Cannonize_Path(path.data(), max);
        return path.c_str();
    }
    std::u16string expand(std::u16string path, int max = -1) {
        path.resize(600);
        Cannonize_Path(path.data(), max);
        return path.c_str();
    }

    test::TemporaryFolder folder;
};

}  // namespace

TEST_F(ApplicationFolders, AreReadByKind) {
    char16_t const* const names[] = {u"Plugins",  u"Prefs Folders",  u"Templates", u"Content",
                                     u"Scripts",  u"ScriptIncludes", u"Bin",       u"Root",
                                     u"Database", u"Localization"};
    for (int kind = 1; kind <= 10; ++kind) {
        EXPECT_EQ(get(kind), u"");
        set(names[kind - 1], std::u16string(names[kind - 1]) + u"/");
        EXPECT_EQ(get(kind), std::u16string(names[kind - 1]) + u"/");
    }
    for (const int kind : {0, 11, -1})
        EXPECT_EQ(get(kind), u"");
}

TEST_F(ApplicationFolders, OfTheEarlierKeyAreReadable) {
    EXPECT_EQ(get(8, kLegacy), kFallBack);
    CRegistry registry;
    ASSERT_TRUE(registry.Create_Key(HKEY_LOCAL_MACHINE, "Software\\Dunmoore Software\\Quilber"));
    ASSERT_TRUE(registry.Set_Entry("Root", "/opt/old/"));
    EXPECT_EQ(get(8, kLegacy), u"/opt/old/");
    EXPECT_EQ(get(8), u"");
}

TEST_F(ApplicationFolders, FallBackWithoutSettings) {
    test::write_file(folder.file("settings"), "a file where the folder should be");
    for (int kind = 0; kind <= 11; ++kind)
        EXPECT_EQ(get(kind), kFallBack);
}

TEST_F(ApplicationFolders, AreTerminatedWhateverIsStored) {
    const std::u16string longest(255, u'x');
    set(u"Content", longest);
    EXPECT_EQ(get(4), longest);
    CRegistry registry;
    ASSERT_TRUE(registry.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE));
    const std::u16string open(256, u'y');
    ASSERT_EQ(RegSetValueExW(registry.Current_Key(), u"Content", REG_SZ, open.data(), 512), 0);
    EXPECT_EQ(get(4), open.substr(1));
}

TEST_F(ApplicationFolders, TakeThePlaceOfTheVariable) {
    set(u"Content", u"/srv/Content/");
    const struct {
        char const* path;
        char const* narrow;
        char const* wide;
    } table[] = {
        {"%content%a.xml", "/srv/Content/a.xml", "/srv/Content/a.xml"},
        {"A%CONTENT%b%Content%C", "A/srv/Content/b/srv/Content/C", "A/srv/Content/b/srv/Content/C"},
        {"%Other%X", "%other%X", "%other%X"},
        {"%25Content%25a", "%25content%25a", "/srv/Content/a"},
        {"", "", ""},
    };
    for (const auto& row : table) {
        const std::string path = row.path, wide = row.wide;
        EXPECT_EQ(expand(path), row.narrow);
        EXPECT_EQ(expand(std::u16string(path.begin(), path.end())),
                  std::u16string(wide.begin(), wide.end()));
    }
}

TEST_F(ApplicationFolders, AreInsertedOnceEvenIfTheyNameTheVariable) {
    set(u"Content", u"%content%%25content%25/");
    EXPECT_EQ(expand(std::string("%content%x")), "%content%%25content%25/x");
    EXPECT_EQ(expand(std::u16string(u"%content%x%25content%25")),
              u"%content%%25content%25/x%content%%25content%25/");
}

TEST_F(ApplicationFolders, AreInsertedOnlyWhereThereIsRoom) {
    EXPECT_EQ(expand(std::string("a%content%b")), "ab") << "a missing value is empty";
    set(u"Content", u"/a/rather/long/folder/");
    const std::string path = "%content%%content%";
    test::GuardPage page(40);
    std::copy(path.c_str(), path.c_str() + path.size() + 1, page.begin());
    Cannonize_Path(page.begin(), 40);
    EXPECT_EQ(std::string(page.begin()), "/a/rather/long/folder/%content%");
}

TEST(CleanPath, TurnsEverySlash) {
    char narrow[] = "/a\\b//c";
    char16_t wide[] = u"/a\\b//c";
    Clean_Path(narrow);
    Clean_Path(wide);
    EXPECT_STREQ(narrow, "\\a\\b\\\\c");
    EXPECT_EQ(std::u16string(wide), u"\\a\\b\\\\c");
    Clean_Path(static_cast<char*>(nullptr));
}

TEST(ModulePath, OfTheProgramKeepsItsCase) {
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
    char narrow[512];
    char16_t wide[512];
    Get_Module_Full_Path(nullptr, narrow, sizeof narrow);
    Get_Module_Short_Path(nullptr, wide, 512);
    EXPECT_EQ(narrow, program);
    EXPECT_EQ(std::u16string(wide), std::u16string(program.begin(), program.end()));
}

TEST(ModulePath, OfALibraryIsItsFile) {
    HINSTANCE library = LoadLibraryA("libm.so.6");
    ASSERT_NE(library, nullptr);
    char path[512];
    Get_Module_Full_Path(library, path, sizeof path);
    EXPECT_TRUE(std::filesystem::path(path).is_absolute()) << path;
    EXPECT_EQ(std::filesystem::path(path).filename(), "libm.so.6");
    FreeLibrary(library);
    Get_Module_Full_Path(library, path, sizeof path);
    EXPECT_STREQ(path, "") << "a library that was given up";
}

TEST(ModulePath, NeverExceedsItsRoom) {
    test::GuardPage page(8);
    Get_Module_Full_Path(nullptr, page.begin(), 8);
    EXPECT_EQ(std::char_traits<char>::length(page.begin()), 7U);
    char untouched = 'x';
    for (const int size : {0, -1})
        Get_Module_Full_Path(nullptr, &untouched, size);
    Get_Module_Full_Path(nullptr, static_cast<char*>(nullptr), 10);
    EXPECT_EQ(untouched, 'x');
}

}  // namespace tarnwillow
