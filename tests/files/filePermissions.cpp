#include "tarnwillow/files/filePermissions.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "support/childProcess.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {
namespace {

constexpr std::uint32_t kAdministrators = 544;
constexpr std::uint32_t kUsers = 545;
constexpr std::uint32_t kRead = 0x1, kWrite = 0x2, kAppend = 0x4, kExecute = 0x20;
constexpr std::uint32_t kAll = 0x10000000;
constexpr int kFailed = static_cast<int>(E_FAIL);

class FilePermissions : public testing::Test {
protected:
    void SetUp() override {
        for (char const* name : {"top", "top/sub", "top/sub/deep", "top/dot.ted", "top/.hidden"})
            std::filesystem::create_directory(path(name));
        for (char const* name : {"top/file", "top/.file", "top/sub/file", "outside"})
            test::write_file(path(name), "");
        std::filesystem::create_symlink("../outside", path("top/link"));
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.path()))
            if (!entry.is_symlink()) chmod(entry.path().c_str(), 0740);
    }

    std::string path(std::string_view name) { return folder.file(name); }

    /// The octal digits of its modes.
    std::string modes(std::string_view name) {
        struct stat about {};
        if (lstat(path(name).c_str(), &about) != 0) return "<missing>";
        char text[8];
        std::snprintf(text, sizeof text, "%o", about.st_mode & 07777U);
        return text;
    }

    int set(std::string_view name, std::initializer_list<AccessEntry> entries,
            bool recursive = false, bool files_too = false) {
        std::vector<AccessEntry> kept = entries;
        CCollection list;
        for (AccessEntry& entry : kept)
            list.Add(&entry);
        return Set_File_Permissions(path(name).c_str(), &list, recursive, files_too);
    }

    test::TemporaryFolder folder;
};

TEST_F(FilePermissions, BecomeTheModesOfTheFile) {
    struct Case {
        std::initializer_list<AccessEntry> entries;
        char const* expected;
    };
    const Case cases[] = {
        {{}, "700"},
        {{{kUsers, kRead, 0}}, "744"},
        {{{kUsers, kWrite, 0}}, "722"},
        {{{kUsers, kAppend, 3}}, "722"},
        {{{kUsers, kExecute, 0}, {kUsers, kRead, 0}}, "755"},
        {{{kUsers, kAll, 0}}, "777"},
        {{{kUsers, 0x80000000, 0}}, "744"},
        {{{kUsers, 0x40000000, 0}}, "722"},
        {{{kUsers, 0x20000000, 0}}, "711"},
        {{{kUsers, 0x001F01FF, 0}}, "777"},
        {{{kAdministrators, 0, 0}}, "700"},
    };
    for (const Case& one : cases) {
        EXPECT_EQ(set("top/file", one.entries), 0);
        EXPECT_EQ(modes("top/file"), one.expected);
    }
    chmod(path("top/file").c_str(), 0400);
    EXPECT_EQ(set("top/file", {{kAdministrators, kWrite, 0}}), 0);
    EXPECT_EQ(modes("top/file"), "600") << "the administrators' rights are added to the owner's";
    chmod(path("top").c_str(), 01755);
    EXPECT_EQ(set("top/", {}), 0);
    EXPECT_EQ(modes("top"), "1700") << "what is no access stays";
}

TEST_F(FilePermissions, ThatCannotBeMetChangeNothing) {
    EXPECT_EQ(set("top", {{kUsers, kAll, 0}, {546, kRead, 0}}, true, true), kFailed);
    EXPECT_EQ(set("top", {{kUsers, kAll, 8}}, true, true), kFailed);
    CCollection holds_null;
    holds_null.Add(nullptr);
    EXPECT_EQ(Set_File_Permissions(path("top").c_str(), &holds_null, true, true), kFailed);
    EXPECT_EQ(Set_File_Permissions(path("top").c_str(), nullptr, true, true), kFailed);
    EXPECT_EQ(set("top/link", {{kUsers, kAll, 0}}), kFailed);
    EXPECT_EQ(set("missing", {{kUsers, kAll, 0}}), kFailed);
    CCollection none;
    EXPECT_EQ(Set_File_Permissions(nullptr, &none, true, true), kFailed);
    for (char const* name : {"top", "top/file", "outside"})
        EXPECT_EQ(modes(name), "740") << name;
}

TEST_F(FilePermissions, OfTheFolderAloneUnlessRecursive) {
    EXPECT_EQ(set("top", {{kUsers, kRead, 0}}, false, true), 0);
    EXPECT_EQ(modes("top"), "744");
    EXPECT_EQ(modes("top/sub"), "740");
    EXPECT_EQ(set("top/file", {{kUsers, kRead, 0}}, true, true), 0) << "a file has no entries";
}

TEST_F(FilePermissions, GoDownToFoldersOrToEverything) {
    EXPECT_EQ(set("top", {{kUsers, kRead, 0}}, true, false), 0);
    for (char const* name : {"top", "top/sub", "top/sub/deep"})
        EXPECT_EQ(modes(name), "744") << name;
    for (char const* name : {"top/file", "top/sub/file", "top/dot.ted"})
        EXPECT_EQ(modes(name), "740") << name;
    EXPECT_EQ(set("top", {{kUsers, kExecute, 0}}, true, true), 0);
    for (char const* name : {"top/sub/deep", "top/sub/file", "top/file", "top/dot.ted"})
        EXPECT_EQ(modes(name), "711") << name;
    for (char const* name : {"top/.file", "top/.hidden", "outside"})
        EXPECT_EQ(modes(name), "740") << name << " is left alone";
}

// The superuser may do everything, so another account asks for what is not its own.
TARNWILLOW_CHILD(permit_as_another_account) {
    constexpr uid_t kNobody = 65534;
    const bool superuser = geteuid() == 0;
    if (superuser && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) return 100;
    CCollection none;
    const std::string target = superuser ? std::string(argument) : "/";
    return Set_File_Permissions(target.c_str(), &none, false, false) == kFailed ? 0 : 101;
}

TEST_F(FilePermissions, OfAnotherAccountAreRefused) {
    chmod(folder.path().c_str(), 0755);
    const auto result = test::run_child("permit_as_another_account", path("top"));
    EXPECT_EQ(result.exit_code, 0) << result.output;
    EXPECT_EQ(modes("top"), "740");
}

}  // namespace
}  // namespace tarnwillow
