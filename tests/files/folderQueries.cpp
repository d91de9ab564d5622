#include "tarnwillow/files/folderQueries.h"

#include "files/foldersFixture.h"

namespace tarnwillow {
namespace {

namespace fs = std::filesystem;
using test::wide;

constexpr char const* kNowhere = nullptr;
constexpr char16_t const* kNowhereWide = nullptr;

class FolderQueries : public test::FoldersFixture {};

TEST_F(FolderQueries, FilesAreThereIfTheyCanBeRead) {
    make({"a/file"});
    link("link", "a/file");
    link("folder", "a");
    link("dangling", "nowhere");
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    const std::pair<std::string, bool> cases[] = {
        {"a/file", true}, {"a\\file", true}, {"link", true},     {absolute("a/file"), true},
        {"pipe", true},   {"a", false},      {"folder", false},  {"dangling", false},
        {"", false},      {"a/no", false},   {"a/file/", false}, {std::string(9000, 'x'), false}};
    for (const auto& [path, there] : cases) {
        EXPECT_EQ(File_Exists(path.c_str()), there) << path;
        EXPECT_EQ(File_Exists(wide(path).c_str()), there) << path;
    }
    EXPECT_FALSE(File_Exists(kNowhere));
    EXPECT_FALSE(File_Exists(kNowhereWide));
}

TEST_F(FolderQueries, LocalFilesAreThereAndOtherAddressesCountSo) {
    make({"a/longer.txt"});
    const std::u16string there = wide(absolute("a/longer.txt"));
    const std::pair<std::u16string, bool> cases[] = {{there, true},
                                                     {there + u"x", false},
                                                     {there + u"?x=1", true},
                                                     {u"file://" + there, true},
                                                     {u"FILE://" + there + u"?query://", true},
                                                     {u"file://" + there + u"x?query", false},
                                                     {u"file://", false},
                                                     {u"a/longer.txt", true},
                                                     {u"http://host/no", true},
                                                     {u"missing", true},
                                                     {u"missing1", false},
                                                     {u"", true}};
    for (const auto& [path, expected] : cases)
        EXPECT_EQ(LocalFileExists(path.c_str()), expected) << fs::path(path);
    EXPECT_FALSE(LocalFileExists(nullptr));
}

TEST_F(FolderQueries, ANameIsFreeIfNothingCanBeReachedThere) {
    make({"a/file"});
    link("link", "a");
    const std::pair<std::string, bool> cases[] = {
        {"a/new", true}, {"no/folder/new", true}, {"a/file", false}, {"a", false},
        {"a/", false},   {"link", false},         {"", true}};
    for (const auto& [path, free] : cases) {
        EXPECT_EQ(Is_Valid_New_File_Path(path.c_str()), free) << path;
        EXPECT_EQ(Is_Valid_New_File_Path(wide(path).c_str()), free) << path;
    }
}

TEST_F(FolderQueries, AFolderHasFilesIfAnyEntryIsNoFolder) {
    make({"empty/", "folders/b/file", "hidden/.file", "linked/"});
    link("linked/link", "../empty");
    link("link", "hidden");
    EXPECT_FALSE(Folder_Has_Files(u"empty"));
    EXPECT_FALSE(Folder_Has_Files(u"folders"));
    EXPECT_TRUE(Folder_Has_Files(u"folders\\b"));
    EXPECT_TRUE(Folder_Has_Files(u"hidden/"));
    EXPECT_TRUE(Folder_Has_Files(u"linked"));
    EXPECT_TRUE(Folder_Has_Files(u"link"));
    EXPECT_FALSE(Folder_Has_Files(u"missing"));
    EXPECT_FALSE(Folder_Has_Files(nullptr));
}

TEST_F(FolderQueries, CountsAreAddedToWhatIsThere) {
    make({"a/1", "a/2", "a/.hidden", "a/b/3", "a/b/c/4", "a/.git/5", "a/d/"});
    link("a/link", "b");
    link("a/b/up", "..");
    link("top", "a");
    unsigned long files = 10, folders = 20;
    Count_Folder_Items(u"a", &files, &folders, false);
    EXPECT_EQ(files, 13UL) << "a link counts as a file";
    EXPECT_EQ(folders, 22UL);
    Count_Folder_Items(u"a\\", &files, &folders, true);
    EXPECT_EQ(files, 19UL);
    EXPECT_EQ(folders, 25UL);
    Count_Folder_Items(u"a", &files, nullptr, true);
    Count_Folder_Items(u"a", nullptr, &folders, true);
    for (char16_t const* path : {u"top", u"missing", u"a/1", u""})
        Count_Folder_Items(path, &files, &folders, true);
    Count_Folder_Items(nullptr, nullptr, nullptr, true);
    EXPECT_EQ(files, 25UL);
    EXPECT_EQ(folders, 28UL);
}

/// What a walk calls back, as "path@depth", sorted but for the stop.
struct Walk {
    std::vector<std::string> seen;
    std::size_t stop_at = 1000;

    static bool note(char16_t const* path, int depth, void* context) {
        auto& walk = *static_cast<Walk*>(context);
        walk.seen.push_back(fs::path(path).string() + "@" + std::to_string(depth));
        return walk.seen.size() < walk.stop_at;
    }
    std::string of(char16_t const* path, unsigned maximum) {
        seen.clear();
        IterateSubFolders(path, note, this, maximum);
        std::sort(seen.begin(), seen.end());
        std::string all;
        for (const std::string& text : seen)
            all += (all.empty() ? "" : " ") + text;
        return all;
    }
};

TEST_F(FolderQueries, SubfoldersAreWalkedDownToADepth) {
    make({"a/b/c/d/file", "a/e/", "a/.git/f/", "a/file", "a/\xC3\xA4/"});
    link("a/b/loop", "..");
    link("top", "a");
    Walk walk;
    EXPECT_EQ(walk.of(u"a", 0), "a/b@0 a/e@0 a/\xC3\xA4@0");
    EXPECT_EQ(walk.of(u"a", 1), "a/b/c@1 a/b@0 a/e@0 a/\xC3\xA4@0");
    EXPECT_EQ(walk.of(u"a/b", 0xFFFFFFFF), "a/b/c/d@1 a/b/c@0");
    EXPECT_EQ(walk.of(u"top/b", 9), "top/b/c/d@1 top/b/c@0") << "the paths begin as was asked";
    EXPECT_EQ(walk.of(u".\\\\a\\\\b\\\\", 9), ".\\a\\b\\c@0 .\\a\\b\\c\\d@1");
    EXPECT_EQ(walk.of(u"a//b//", 0), "a/b/c@0");
    EXPECT_EQ(walk.of(u"missing", 9), "");
    EXPECT_EQ(walk.of(nullptr, 9), "");
    EXPECT_EQ(fs::current_path(), top);
}

TEST_F(FolderQueries, AWalkEndsWhenTheCallbackSaysSo) {
    make({"a/b/c/d/", "a/b/c/e/", "a/f/"});
    for (std::size_t calls = 1; calls <= 5; ++calls) {
        Walk walk;
        walk.stop_at = calls;
        walk.of(u"a", 9);
        EXPECT_EQ(walk.seen.size(), calls);
    }
    const auto throwing = [](char16_t const*, int depth, void*) -> bool { throw depth; };
    EXPECT_THROW(IterateSubFolders(u"a", throwing, nullptr, 9), int);
    IterateSubFolders(u"a", nullptr, nullptr, 9);
}

}  // namespace
}  // namespace tarnwillow
