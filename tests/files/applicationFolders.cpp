#include "tarnwillow/files/applicationFolders.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <vector>

#include "support/childProcess.h"
#include "support/guardPage.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/modules.h"
#include "tarnwillow/platform/processList.h"
#include "tarnwillow/platform/processes.h"
#include "tarnwillow/platform/status.h"

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

class RunningPrograms : public testing::Test {
protected:
    RunningPrograms() { std::filesystem::copy_file("/proc/self/exe", folder.file("Sleeper7x")); }
    ~RunningPrograms() override {
        for (const pid_t id : started) {
            kill(id, SIGKILL);
            waitpid(id, nullptr, 0);
        }
    }
    /// Runs the copy, which says when it is there and then sleeps.
    void start() {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const pid_t id = fork();
        if (id == 0) {
            dup2(ends[1], STDOUT_FILENO);
            execl(folder.file("Sleeper7x").c_str(), "x", "--child", "sleep_until_killed", nullptr);
            _exit(1);
        }
        char byte = 0;
        EXPECT_EQ(read(ends[0], &byte, 1), 1);
        close(ends[0]);
        close(ends[1]);
        started.push_back(id);
    }
    unsigned long find(char const* name, int skip) {
        unsigned long id = 0;
        HANDLE process = GetProcess(name, 0x1FFFFF, &id, skip);
        if (process == nullptr) return 0;
        EXPECT_EQ(GetProcessId(process), id);
        EXPECT_TRUE(CloseHandle(process));
        return id;
    }

    test::TemporaryFolder folder;
    std::vector<pid_t> started;
};

TARNWILLOW_CHILD(sleep_until_killed) {
    if (write(STDOUT_FILENO, "x", 1) != 1) return 1;
    for (;;)
        pause();
}

TEST_F(RunningPrograms, AreFoundByNameInAscendingOrder) {
    EXPECT_EQ(find("sleeper7X", 0), 0U);
    for (int i = 0; i < 3; ++i)
        start();
    std::sort(started.begin(), started.end());
    for (int skip = 0; skip < 3; ++skip)
        EXPECT_EQ(find("sleeper7X", skip),
                  static_cast<unsigned long>(started[static_cast<std::size_t>(skip)]));
    EXPECT_EQ(find("sleeper7X", 3), 0U);
    EXPECT_EQ(find("sleeper7X", -1), 0U);
    EXPECT_EQ(find(nullptr, 0), 0U);
}

TEST_F(RunningPrograms, AreListedWithParentAndThreads) {
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32 entry{};
    EXPECT_FALSE(Process32First(snapshot, &entry)) << "the size was not set";
    entry.dwSize = sizeof entry;
    bool found = false;
    for (bool more = Process32First(snapshot, &entry); more; more = Process32Next(snapshot, &entry))
        if (entry.th32ProcessID == static_cast<std::uint32_t>(getpid())) {
            found = true;
            EXPECT_EQ(entry.th32ParentProcessID, static_cast<std::uint32_t>(getppid()));
            EXPECT_EQ(std::string(entry.szExeFile),
                      std::filesystem::read_symlink("/proc/self/exe").filename());
            EXPECT_GE(entry.cntThreads, 1U);
        }
    EXPECT_TRUE(found);
    EXPECT_EQ(GetLastError(), static_cast<std::uint32_t>(ERROR_NO_MORE_ITEMS));
    EXPECT_TRUE(CloseHandle(snapshot));
    EXPECT_FALSE(Process32Next(snapshot, &entry));
    EXPECT_EQ(CreateToolhelp32Snapshot(0, 0), nullptr);
}

}  // namespace tarnwillow
