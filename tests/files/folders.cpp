#include <sys/resource.h>

#include <cerrno>
#include <csignal>

#include "files/foldersFixture.h"
#include "support/childProcess.h"
#include "tarnwillow/files/folderOperations.h"
#include "tarnwillow/files/folderQueries.h"
#include "tarnwillow/platform/filePath.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {
namespace {

namespace fs = std::filesystem;
using test::read_file;
using test::wide;

constexpr char const* kNowhere = nullptr;
constexpr char16_t const* kNowhereWide = nullptr;

class Folders : public test::FoldersFixture {};

// Making.

TEST_F(Folders, AreMadeWithAllTheirParents) {
    const std::string spellings[] = {"relative/b/c",   "trailing/b/c/",          "doubled//b///c//",
                                     "back\\b\\\\c\\", absolute("absolute/b/c"), "dots/./b/../b/c"};
    for (const std::string& path : spellings)
        DirCreate(path.c_str());
    DirCreate(u"wide\\b/c\\");
    for (char const* name : {"relative", "trailing", "doubled", "back", "absolute", "dots", "wide"})
        EXPECT_EQ(tree(name), "b/ b/c/") << name;
}

TEST_F(Folders, ThatStandAreLeftAsTheyAre) {
    make({"a/file"});
    for (char const* path : {"a", "a/", "a\\", "a/file", "a/file/below", "", "/"})
        DirCreate(path);
    DirCreate(kNowhere);
    DirCreate(kNowhereWide);
    EXPECT_EQ(tree("."), "a/ a/file");
    EXPECT_EQ(read_file("a/file"), "of file");
}

// Emptying and removing.

TEST_F(Folders, AreEmptiedButStay) {
    make({"a/b/c/", "a/b/.hidden/file", "a/b/file", "a/file", "kept/file"});
    link("a/b/link", absolute("kept"));
    link("a/dangling", "nowhere");
    ASSERT_EQ(mkfifo("a/pipe", 0600), 0);
    EXPECT_EQ(ClearDir("a//"), 0);
    EXPECT_EQ(tree("."), "a/ kept/ kept/file") << "what links lead to stays";
    EXPECT_EQ(fs::current_path(), top);
}

TEST_F(Folders, ThatAreNoneCannotBeEmptied) {
    make({"kept/file"});
    link("link", "kept");
    for (char const* path : {"link", "link/", "kept/file", "missing", ""}) {
        EXPECT_EQ(ClearDir(path), ERROR_NOT_FOUND) << path;
        EXPECT_EQ(ClearDir(wide(path).c_str()), ERROR_NOT_FOUND) << path;
        EXPECT_EQ(DirDestroyAll(path), -1) << path;
        EXPECT_EQ(DirDestroyAll(wide(path).c_str()), ERROR_NOT_FOUND) << path;
    }
    EXPECT_EQ(ClearDir(kNowhere), ERROR_NOT_FOUND);
    EXPECT_EQ(DirDestroyAll(kNowhereWide), ERROR_NOT_FOUND);
    EXPECT_EQ(tree("."), "kept/ kept/file link>kept");
}

TEST_F(Folders, TheWideFormKeepsDottedNames) {
    make({"a/.kept", "a/.folder/file", "a/file", "a/b/file"});
    EXPECT_EQ(ClearDir(u"a"), 0);
    EXPECT_EQ(tree("a"), ".folder/ .folder/file .kept");
    EXPECT_EQ(DirDestroyAll(u"a"), ENOTEMPTY) << "of the folder alone, the error of the system";
    make({"a/b/.kept", "a/b/file"});
    EXPECT_EQ(ClearDir(u"a"), -1) << "the folder of a dotted name cannot go";
    EXPECT_EQ(tree("a/b"), ".kept");
    EXPECT_EQ(DirDestroyAll(u"a"), -1);
}

TEST_F(Folders, AreDestroyedWithAllThatIsInThem) {
    make({"a/b/.hidden", "a/file", "wide/b/file", "kept/"});
    EXPECT_EQ(DirDestroyAll("a/"), 0);
    EXPECT_EQ(DirDestroyAll(u"wide\\"), 0);
    EXPECT_EQ(tree("."), "kept/");
}

TEST_F(Folders, MayBeDeeperThanAnyPath) {
    constexpr int kDepth = 3000;
    make({"a/"});
    fs::current_path("a");
    make_chain("level", kDepth);
    fs::current_path(top);
    unsigned long files = 0, folders = 0;
    Count_Folder_Items(u"a", &files, &folders, true);
    EXPECT_EQ(folders, 3000UL);
    EXPECT_EQ(files, 0UL);
    EXPECT_EQ(CopyFolder("a", "copy"), ERROR_FILENAME_EXCED_RANGE);
    fs::current_path(top);
    EXPECT_EQ(DirDestroyAll("copy"), 0);
    EXPECT_EQ(DirDestroyAll("a"), 0);
    EXPECT_EQ(tree("."), "");
}

// The superuser may enter and change everything, so another account tries.
TARNWILLOW_CHILD(remove_what_is_locked) {
    constexpr uid_t kNobody = 65534;
    if (geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) return 100;
    const std::string top(argument);
    if (ClearDir((top + "/fixed").c_str()) != -1) return 101;
    if (ClearDir((top + "/open/unreadable").c_str()) != ERROR_NOT_FOUND) return 102;
    if (DirDestroyAll((top + "/open/unreadable").c_str()) != -1) return 103;
    return DirDestroyAll((top + "/open").c_str()) == ERROR_NOT_FOUND ? 0 : 104;
}

TEST_F(Folders, AWalkEndsAtTheFirstFailure) {
    make({"fixed/file", "open/unreadable/"});
    fs::permissions(".", fs::perms(0755));
    fs::permissions("fixed", fs::perms(0555));
    fs::permissions("open", fs::perms(0777));
    fs::permissions("open/unreadable", fs::perms::none);
    const auto result = test::run_child("remove_what_is_locked", top.string());
    fs::permissions("fixed", fs::perms(0755));
    fs::permissions("open/unreadable", fs::perms(0755));
    EXPECT_EQ(result.exit_code, 0) << result.output;
    EXPECT_EQ(tree("fixed") + " " + tree("open"), "file unreadable/");
}

// Copying and moving.

class FolderCopies : public Folders {
protected:
    /// The status, with the process in its own folder before and after.
    int copy(const std::string& source, const std::string& target) {
        const int result = CopyFolder(source.c_str(), target.c_str());
        ended_in = fs::current_path();
        fs::current_path(top);
        return result;
    }
    fs::path ended_in;
};

TEST_F(FolderCopies, FillAFolderOfTheSameName) {
    make({"a/b/c/.deep", "a/b/file", "x/b/stays"});
    EXPECT_EQ(copy(absolute("a/b"), absolute("x") + "//"), 0);
    EXPECT_EQ(tree("x"), "b/ b/c/ b/c/.deep b/file b/stays");
    EXPECT_EQ(read_file("x/b/c/.deep"), "of .deep");
    EXPECT_EQ(ended_in, top / "a/b/c") << "the source folder entered last";
    EXPECT_EQ(copy("a/b", "new\\folders"), 0);
    EXPECT_EQ(tree("new"), "folders/ folders/b/ folders/b/c/ folders/b/c/.deep folders/b/file");
}

TEST_F(FolderCopies, StartFromTheDeepestFolderThatStands) {
    make({"a/b/file"});
    EXPECT_EQ(copy("a/b/missing/more", "x"), 0);
    EXPECT_EQ(copy("a/b/file", "y"), 0);
    EXPECT_EQ(copy("a/b/.", "z"), 0);
    for (char const* name : {"x", "y", "z"})
        EXPECT_EQ(tree(name), "b/ b/file") << name;
    EXPECT_EQ(copy("missing", "x"), ERROR_NOT_FOUND);
    EXPECT_EQ(CopyFolder(nullptr, "x"), ERROR_NOT_FOUND);
    EXPECT_EQ(CopyFolder("a", nullptr), ERROR_NOT_FOUND);
}

TEST_F(FolderCopies, KeepLinksAsLinks) {
    make({"a/file", "outside/file", "x/a/link"});
    link("a/link", "file");
    link("a/away", "../outside");
    link("a/dangling", "nowhere");
    link("a/loop", ".");
    EXPECT_EQ(copy("a", "x"), 0);
    EXPECT_EQ(tree("x"), "a/ a/away>../outside a/dangling>nowhere a/file a/link>file a/loop>.");
    link("other_name", "a");
    EXPECT_EQ(copy("other_name", "y"), 0);
    EXPECT_EQ(tree("y").substr(0, 12), "other_name/ ");
}

TEST_F(FolderCopies, IntoTheFolderItselfAreRefused) {
    make({"a/b/file", "x/"});
    link("link", "a");
    link("inner", "a/b");
    link("x/a", "../a/b");
    const std::string before = tree(".");
    const std::pair<std::string, std::string> cases[] = {{"a", "a"},
                                                         {"a", "."},
                                                         {"a/", "a/b"},
                                                         {"a", "a/b/../b/"},
                                                         {"a", "link"},
                                                         {"link", "a"},
                                                         {"a", "inner"},
                                                         {"a", "link\\b"},
                                                         {absolute("a"), "./a/new/deeper"},
                                                         {"a/b", "a"},
                                                         {"a", "x"},
                                                         {"a", "new/../a"},
                                                         {"/", "x"},
                                                         {"/", "/no-such-folder/../../.."},
                                                         {"a/.", absolute("a")},
                                                         {"a", "../" + top.filename().string()}};
    for (const auto& [source, target] : cases) {
        EXPECT_EQ(copy(source, target), ERROR_DIRECTORY) << source << " into " << target;
        EXPECT_EQ(tree("."), before) << source << " into " << target;
    }
}

TEST_F(FolderCopies, BesideAFolderOfLikeNameAreMade) {
    make({"a/file", "ab/"});
    EXPECT_EQ(copy("a", "ab"), 0);
    EXPECT_EQ(tree("ab"), "a/ a/file");
}

TEST_F(FolderCopies, EndWhereALinkInTheTargetLeadsBack) {
    make({"a/b/c/file", "x/a/"});
    link("x/a/b", absolute("a/b/c"));
    EXPECT_EQ(copy("a", "x"), ERROR_DIRECTORY);
    EXPECT_EQ(tree("a"), "b/ b/c/ b/c/file");
}

TEST_F(FolderCopies, DoNotWaitForAPipe) {
    make({"a/"});
    ASSERT_EQ(mkfifo("a/pipe", 0600), 0);
    EXPECT_EQ(copy("a", "x"), ERROR_NOT_SUPPORTED);
}

TEST_F(FolderCopies, EndAtTheFirstFileThatFails) {
    make({"a/file", "x/a/file/"});
    EXPECT_EQ(copy("a", "x"), ERROR_FILE_NOT_FOUND) << "a folder stands where the file goes";
    make({"b/file", "y"});
    EXPECT_EQ(copy("b", "y"), ERROR_FILE_NOT_FOUND) << "a file stands where the folder goes";
}

TEST_F(Folders, OneFileIsCopied) {
    make({"file", "old"});
    EXPECT_EQ(CopyFileW("file", "copy"), 0);
    EXPECT_EQ(CopyFileW("missing", "old"), 0);
    EXPECT_EQ(CopyFileW("file", "no/such"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(read_file("copy"), "of file");
    EXPECT_EQ(read_file("old"), "") << "a missing source leaves an empty target";
}

TEST_F(Folders, AFileOfAnySizeIsCopied) {
    for (const std::size_t size : {0UL, 1UL, 32768UL, 32769UL, 3'000'001UL}) {
        std::string content(size, 'x');
        for (std::size_t i = 0; i < size; ++i)
            content[i] = static_cast<char>(i * 2654435761U >> 13);
        test::write_file("source", content);
        EXPECT_EQ(CopyFileW("source", "copy"), 0);
        EXPECT_TRUE(read_file("copy") == content) << size;
    }
    fs::permissions("copy", fs::perms(0600));
    make({"file"});
    EXPECT_EQ(CopyFileW("file", "copy"), 0);
    EXPECT_EQ(read_file("copy"), "of file") << "what was longer is cut";
    EXPECT_EQ(fs::status("copy").permissions(), fs::perms(0600)) << "the target keeps its modes";
}

TEST_F(Folders, WhatIsNoFileIsNotWaitedFor) {
    make({"kept", "folder/"});
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    EXPECT_EQ(CopyFileW("pipe", "kept"), ERROR_NOT_SUPPORTED);
    EXPECT_EQ(CopyFileW("/dev/zero", "kept"), ERROR_NOT_SUPPORTED);
    link("same", "kept");
    EXPECT_EQ(CopyFileW("same", "kept"), static_cast<int>(E_INVALIDARG));
    EXPECT_EQ(read_file("kept"), "of kept");
    EXPECT_EQ(CopyFileW("kept", "pipe"), ERROR_FILE_NOT_FOUND) << "nobody reads it";
    EXPECT_EQ(CopyFileW("kept", "/dev/null"), 0);
    EXPECT_EQ(CopyFileW("kept", "/dev/full"), ERROR_FILE_CORRUPT);
    EXPECT_EQ(CopyFileW("folder", "empty"), 0) << "a folder cannot be opened as a file";
    EXPECT_EQ(read_file("empty"), "");
}

// A disk that is full: no file may pass 4096 bytes, and the signal for it is off.
TARNWILLOW_CHILD(copy_to_a_full_disk) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{4096, 4096};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 100;
    const std::string top(argument);
    for (const std::string& source : {top + "/small", top + "/large"})
        if (CopyFileW(source.c_str(), (top + "/copy").c_str()) != ERROR_FILE_CORRUPT) return 101;
    return CopyFolder(top.c_str(), (top + "-copy").c_str()) == ERROR_FILE_CORRUPT ? 0 : 102;
}

TEST_F(Folders, ACopyThatIsNotWholeIsTold) {
    make({"a/"});
    test::write_file("a/small", std::string(5000, 's'));
    test::write_file("a/large", std::string(500'000, 'l'));
    const auto result = test::run_child("copy_to_a_full_disk", absolute("a"));
    EXPECT_EQ(result.exit_code, 0) << result.output;
}

TEST_F(Folders, AreMovedByClaimingWhereTheFileSystemCannotRefuse) {
    make({"a/file", "empty/", "full/file", "single"});
    for (char const* name : {"empty", "full", "single", "missing/new", "a/inside"})
        EXPECT_FALSE(platform::move_folder_by_claiming("a", name)) << name;
    EXPECT_FALSE(platform::move_folder_by_claiming("missing", "new"));
    EXPECT_EQ(tree("."), "a/ a/file empty/ full/ full/file single") << "nothing is left behind";
    EXPECT_TRUE(platform::move_folder_by_claiming("a", "new"));
    EXPECT_EQ(tree("."), "empty/ full/ full/file new/ new/file single");
}

TEST_F(Folders, AreMovedWithoutReplacing) {
    make({"a/file", "b/", "c/file", "single"});
    EXPECT_EQ(MoveFolder("a", "b"), ERROR_ALREADY_EXISTS) << "not even an empty one";
    EXPECT_EQ(MoveFolder("a", "c"), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(MoveFolder(u"single", u"c\\file"), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(MoveFolder("missing", "new"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(MoveFolder("a", "missing/new"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(MoveFolder(kNowhere, "new"), ERROR_FILE_NOT_FOUND);
    EXPECT_NE(MoveFolder("a", "a/inside"), 0);
    EXPECT_EQ(tree("."), "a/ a/file b/ c/ c/file single");
    EXPECT_EQ(MoveFolder("a/", "b\\moved"), 0);
    EXPECT_EQ(MoveFolder(u"b/moved", u"d"), 0);
    EXPECT_EQ(tree("."), "b/ c/ c/file d/ d/file single");
}

TEST(RealFilePath, ClosesDoubleBackslashes) {
    const std::pair<std::string, std::string> cases[] = {{"c:\\\\a\\\\b", "c:\\a\\b"},
                                                         {"\\\\host\\x", "\\host\\x"},
                                                         {"\\\\\\", "\\\\"},
                                                         {"\\\\\\\\", "\\\\"},
                                                         {"a\\", "a\\"},
                                                         {"a//b", "a//b"},
                                                         {"", ""}};
    for (const auto& [text, expected] : cases) {
        std::string path = text;
        MakeRealFilePath(path.data());
        EXPECT_STREQ(path.c_str(), expected.c_str()) << text;
    }
    MakeRealFilePath(nullptr);
}

}  // namespace
}  // namespace tarnwillow
