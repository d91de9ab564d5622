#include "tarnwillow/files/CDiskFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include "support/childProcess.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/platform/filePath.h"
#include "tarnwillow/text/CSmartBuffer.h"

namespace tarnwillow {
namespace {

using test::read_file;
using test::TemporaryFolder;
using test::write_file;

constexpr bool kWritable = true;
constexpr bool kReadOnly = false;
constexpr bool kTruncate = true;
constexpr bool kAsIs = false;
constexpr int kStart = 0, kHere = 1, kEnd = 2;

class DiskFile : public testing::Test {
protected:
    std::string path(std::string_view name = "file") { return folder.file(name); }
    int open(bool writable, bool truncate) { return file.Open(path().c_str(), writable, truncate); }
    void open_new(std::string_view content) {
        ASSERT_EQ(open(kWritable, kTruncate), 0);
        if (!content.empty()) {
            ASSERT_EQ(file.Write(content.data(), static_cast<long>(content.size())), 0);
        }
    }
    std::string read(long size) {
        std::string text(static_cast<std::size_t>(size), '~');
        const int result = file.Read(text.data(), size);
        return result == 0 ? text : std::to_string(result);
    }

    /// Names in the folder, sorted, each with its content.
    std::string listing() {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        std::string all;
        for (const auto& name : names)
            all += name + "=" + read_file(path(name)) + " ";
        return all;
    }

    TemporaryFolder folder;
    CDiskFile file;
};

TEST_F(DiskFile, ClosedItRefusesEverything) {
    char byte = 0;
    EXPECT_EQ(file.Read(&byte, 1), ERROR_FILE_INVALID);
    EXPECT_EQ(file.Write("x", 1), ERROR_FILE_INVALID);
    EXPECT_EQ(file.Write_Str("x"), ERROR_FILE_INVALID);
    EXPECT_EQ(file.Write_Unicode_Header(), ERROR_FILE_INVALID);
    EXPECT_EQ(file.MoveTo(0, kStart), ERROR_FILE_INVALID);
    EXPECT_EQ(file.Close(), ERROR_FILE_INVALID);
    EXPECT_EQ(file.Rollback(), ERROR_FILE_INVALID);
    EXPECT_EQ(file.GetLength(), 0);
}

TEST_F(DiskFile, OpensByTheTwoFlags) {
    EXPECT_EQ(open(kReadOnly, kAsIs), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(open(kWritable, kAsIs), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(file.Close(), ERROR_FILE_INVALID);
    open_new("abc");
    EXPECT_EQ(open(kReadOnly, kAsIs), 0);
    EXPECT_EQ(file.Write("x", 1), ERROR_FILE_INVALID);
    EXPECT_EQ(read(3), "abc");
    EXPECT_EQ(open(kReadOnly, kTruncate), 0);
    EXPECT_EQ(file.GetLength(), 0);
    EXPECT_EQ(file.Close(), 0);
    EXPECT_EQ(file.Close(), ERROR_FILE_INVALID);
    EXPECT_EQ(listing(), "file= ");
}

TEST_F(DiskFile, RefusesFoldersAndPathsThatCannotBe) {
    const std::string here = folder.path().string();
    for (const bool writable : {false, true}) {
        EXPECT_EQ(file.Open(here.c_str(), writable, kAsIs), ERROR_FILE_NOT_FOUND);
        EXPECT_EQ(file.Open("", writable, kTruncate), ERROR_FILE_NOT_FOUND);
        EXPECT_EQ(file.Open(static_cast<char const*>(nullptr), writable, kTruncate),
                  ERROR_FILE_NOT_FOUND);
        EXPECT_EQ(file.Open(std::string(5000, 'x').c_str(), writable, kTruncate),
                  ERROR_FILE_NOT_FOUND);
    }
    EXPECT_EQ(file.Open_Append(here.c_str()), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(file.Open_With_Rollback(path("no/such").c_str()), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(file.Open_With_Rollback(nullptr), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(file.Close(), ERROR_FILE_INVALID);
}

TEST_F(DiskFile, BothSeparatorsAndBothWidthsOpenTheSameFile) {
    std::filesystem::create_directory(path("sub"));
    write_file(path("sub/\xC3\xA4"), "abc");
    EXPECT_EQ(file.Open((path("sub") + "\\\xC3\xA4").c_str(), kReadOnly, kAsIs), 0);
    std::u16string wide;
    for (const char c : path("sub"))
        wide += static_cast<char16_t>(c);
    EXPECT_EQ(file.Open((wide + u"\\\u00E4").c_str(), kReadOnly, kAsIs), 0);
    EXPECT_EQ(read(3), "abc");
}

TEST_F(DiskFile, ReadsAndWritesAllOrNothing) {
    open_new("");
    EXPECT_EQ(file.Write_Unicode_Header(), 0);
    EXPECT_EQ(file.Write_Str(u"ab"), 0);
    EXPECT_EQ(file.Write_Str("cd"), 0);
    EXPECT_EQ(file.Write_Str(""), ERROR_FILE_CORRUPT);
    EXPECT_EQ(file.Write_Str(u""), ERROR_FILE_CORRUPT);
    EXPECT_EQ(file.Write("x", -1), ERROR_FILE_CORRUPT);
    EXPECT_EQ(file.Write(nullptr, 1), E_INVALIDARG);
    EXPECT_EQ(file.GetLength(), 8);
    EXPECT_EQ(file.MoveTo(0, kStart), 0);
    EXPECT_EQ(read(8), std::string("\xFF\xFE"
                                   "a\0b\0cd",
                                   8));
    EXPECT_EQ(read(1), "1392");
    EXPECT_EQ(read(0), "1392");
    EXPECT_EQ(file.Read(nullptr, 1), E_INVALIDARG);
    EXPECT_EQ(file.Read(nullptr, -1), ERROR_FILE_CORRUPT);
}

TEST_F(DiskFile, MovesFromThreeOrigins) {
    open_new("abcdef");
    EXPECT_EQ(file.MoveTo(1, kStart), 0);
    EXPECT_EQ(file.MoveTo(1, kHere), 0);
    EXPECT_EQ(read(1), "c");
    EXPECT_EQ(file.MoveTo(-1, kEnd), 0);
    EXPECT_EQ(read(1), "f");
    EXPECT_EQ(file.MoveTo(0, 3), ERROR_FILE_INVALID);
    EXPECT_EQ(file.MoveTo(0, -1), ERROR_FILE_INVALID);
    EXPECT_NE(file.MoveTo(-1, kStart), 0);
}

TEST_F(DiskFile, ReadingAndWritingMayTakeTurns) {
    open_new("0123456789");
    file.MoveTo(2, kStart);
    EXPECT_EQ(read(2), "23");
    EXPECT_EQ(file.Write_Str("XY"), 0);
    EXPECT_EQ(read(2), "67");
    EXPECT_EQ(file.Write_Str("Z"), 0);
    EXPECT_EQ(read(1), "9");
    EXPECT_EQ(read(1), "1392");
    EXPECT_EQ(file.Write_Str("!"), 0);
    file.Close();
    EXPECT_EQ(read_file(path()), "0123XY67Z9!");
}

TEST_F(DiskFile, AppendsBehindTheEndAndNeedsAClosedObject) {
    write_file(path(), "abc");
    ASSERT_EQ(file.Open_Append(path().c_str()), 0);
    EXPECT_EQ(file.Open_Append(path("other").c_str()), ERROR_FILE_INVALID);
    file.MoveTo(0, kStart);
    EXPECT_EQ(read(1), "a");
    EXPECT_EQ(file.Write_Str("d"), 0);
    file.Close();
    EXPECT_EQ(listing(), "file=abcd ");
}

TEST_F(DiskFile, HandlesLengthsBeyondTwoGigabytes) {
    constexpr long long kFar = 5LL << 30;
    open_new("");
    ASSERT_EQ(file.MoveTo(kFar, kStart), 0);
    ASSERT_EQ(file.Write_Str("end"), 0);
    EXPECT_EQ(file.GetLength(), kFar + 3);
    file.MoveTo(-3, kEnd);
    EXPECT_EQ(read(3), "end");
    CSmartBuffer buffer;
    EXPECT_EQ(buffer.Initialize_From_File(&file), E_OUTOFMEMORY);
}

// A first part, then more once that has been taken.
void feed(int pipe) {
    for (int left = 1; left > 0; std::this_thread::yield())
        ASSERT_EQ(ioctl(pipe, FIONREAD, &left), 0);
    EXPECT_EQ(write(pipe, "c", 1), 1);
}

TEST_F(DiskFile, APipeIsWaitedForOnlyWhileSomebodyWrites) {
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    EXPECT_EQ(open(kReadOnly, kTruncate), ERROR_FILE_NOT_FOUND) << "nobody reads it";
    EXPECT_EQ(open(kReadOnly, kAsIs), 0);
    EXPECT_EQ(read(1), "1392");
    EXPECT_EQ(open(kReadOnly, kAsIs), 0);
    const int writer = ::open(path().c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(write(writer, "ab", 2), 2);
    std::thread feeder(feed, writer);
    EXPECT_EQ(read(3), "abc");
    feeder.join();
    close(writer);
}

int leased = -1;

TEST_F(DiskFile, WaitsForWhoeverHasALeaseOnTheFile) {
    write_file(path(), "abc");
    leased = ::open(path().c_str(), O_RDONLY | O_CLOEXEC);
    const auto before = std::signal(SIGIO, [](int) { fcntl(leased, F_SETLEASE, F_UNLCK); });
    if (fcntl(leased, F_SETLEASE, F_RDLCK) == 0) {  // not every file system has them
        EXPECT_EQ(open(kWritable, kAsIs), 0);
    }
    std::signal(SIGIO, before);
    close(leased);
}

// Rollback files.

TEST_F(DiskFile, ARollbackFileComesIntoPlaceAtClose) {
    const mode_t before = umask(027);
    ASSERT_EQ(file.Open_With_Rollback(path().c_str()), 0);
    EXPECT_EQ(file.Write_Str("new"), 0);
    EXPECT_EQ(read_file(path()), "<missing>");
    EXPECT_EQ(file.Close(), 0);
    struct stat about {};
    stat(path().c_str(), &about);
    umask(before);
    EXPECT_EQ(about.st_mode & 0777, 0640U) << "the access of any new file";
    EXPECT_EQ(listing(), "file=new ");
}

TEST_F(DiskFile, WorkFilesAreTheUsersAlone) {
    ASSERT_EQ(file.Open_With_Rollback(path().c_str()), 0);
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        struct stat about {};
        stat(entry.path().c_str(), &about);
        EXPECT_EQ(about.st_mode & 0777, 0600U);
        EXPECT_EQ(entry.path().filename().string().rfind("file-", 0), 0U);
    }
    EXPECT_EQ(file.Rollback(), 0);
    EXPECT_EQ(listing(), "");
}

TEST_F(DiskFile, NothingIsReplaced) {
    ASSERT_EQ(file.Open_With_Rollback(path().c_str()), 0);
    EXPECT_EQ(file.Write_Str("new"), 0);
    write_file(path(), "old");
    EXPECT_EQ(file.Close(), ERROR_DUP_NAME);
    EXPECT_EQ(listing(), "file=old ");
    std::filesystem::remove(path());
    std::filesystem::create_symlink("nowhere", path());
    ASSERT_EQ(file.Open_With_Rollback(path().c_str()), 0);
    EXPECT_EQ(file.Close(), ERROR_DUP_NAME);
    EXPECT_EQ(listing(), "file=<missing> ") << "a dangling link stands there too";
}

TEST_F(DiskFile, RollbackGivesUpAndTheDestructorDoesNot) {
    {
        CDiskFile given_up, left_open;
        ASSERT_EQ(given_up.Open_With_Rollback(path("a").c_str()), 0);
        ASSERT_EQ(left_open.Open_With_Rollback(path("b").c_str()), 0);
        EXPECT_EQ(given_up.Write_Str("a"), 0);
        EXPECT_EQ(left_open.Write_Str("b"), 0);
        EXPECT_EQ(given_up.Rollback(), 0);
    }
    EXPECT_EQ(listing(), "b=b ");
}

TEST_F(DiskFile, AnOpenRollbackFileIsFinishedUnderItsOwnPath) {
    ASSERT_EQ(file.Open_With_Rollback(path("a").c_str()), 0);
    EXPECT_EQ(file.Write_Str("a"), 0);
    ASSERT_EQ(file.Open_With_Rollback(path("b").c_str()), 0);
    EXPECT_EQ(file.Write_Str("b"), 0);
    EXPECT_EQ(file.Close(), 0);
    EXPECT_EQ(listing(), "a=a b=b ");
}

TEST_F(DiskFile, TwoRollbackFilesOfOnePathStayApart) {
    CDiskFile other;
    ASSERT_EQ(file.Open_With_Rollback(path().c_str()), 0);
    ASSERT_EQ(other.Open_With_Rollback(path().c_str()), 0);
    EXPECT_EQ(file.Write_Str("first"), 0);
    EXPECT_EQ(file.Close(), 0);
    EXPECT_EQ(other.Close(), ERROR_DUP_NAME);
    EXPECT_EQ(listing(), "file=first ");
}

TEST_F(DiskFile, APathThatLeavesNoRoomForTheWorkFileIsRefused) {
    const std::string base = path("") + "/";
    const auto open_with_length = [&](std::size_t length) {
        const std::string deep = base + std::string(length - base.size(), 'x');
        return file.Open_With_Rollback(deep.c_str());
    };
    for (const std::size_t length : {245UL, 250UL, 255UL, 256UL, 3000UL})
        EXPECT_EQ(open_with_length(length), ERROR_FILE_NOT_FOUND) << length;
    EXPECT_EQ(open_with_length(244), 0);
    EXPECT_EQ(file.Rollback(), 0);
    EXPECT_EQ(listing(), "");
}

TEST_F(DiskFile, MovesByLinkingWhereTheFileSystemCannotRefuse) {
    write_file(path("a"), "a");
    write_file(path("b"), "b");
    EXPECT_FALSE(platform::move_by_linking(path("a").c_str(), path("b").c_str()));
    EXPECT_TRUE(platform::move_by_linking(path("a").c_str(), path("c").c_str()));
    EXPECT_EQ(listing(), "b=b c=a ");
}

// A disk that is full: no file may pass 4096 bytes, and the signal for it is off.
TARNWILLOW_CHILD(write_to_a_full_disk) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{4096, 4096};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 100;
    const std::string target(argument);
    CDiskFile rollback, plain, source;
    const std::string text(3000, 'x');
    if (rollback.Open_With_Rollback((target + "/r").c_str()) != 0) return 101;
    if (plain.Open((target + "/p").c_str(), true, true) != 0) return 102;
    for (CDiskFile* file : {&rollback, &plain})
        for (int i = 0; i < 3; ++i)
            static_cast<void>(file->Write(text.data(), 3000));
    if (plain.Duplicate((target + "/copy").c_str()) != ERROR_FILE_CORRUPT) return 107;
    if (rollback.Close() != ERROR_FILE_CORRUPT) return 103;
    if (plain.Close() != ERROR_FILE_CORRUPT) return 104;
    if (source.Open((target + "/source").c_str(), false, false) != 0) return 105;
    return source.Duplicate((target + "/copy").c_str()) == ERROR_FILE_CORRUPT ? 0 : 106;
}

TEST_F(DiskFile, ACloseThatFailsMovesNothing) {
    write_file(path("source"), std::string(10000, 's'));
    const auto result = test::run_child("write_to_a_full_disk", folder.path().string());
    EXPECT_EQ(result.exit_code, 0) << result.output;
    EXPECT_EQ(listing().find("r="), std::string::npos) << listing();
    EXPECT_EQ(listing().find("r-"), std::string::npos);
}

TEST_F(DiskFile, AFullDeviceIsSeenAtClose) {
    ASSERT_EQ(file.Open("/dev/full", kWritable, kAsIs), 0);
    EXPECT_EQ(file.Write_Str("lost"), 0);
    EXPECT_EQ(file.Duplicate(path().c_str()), ERROR_FILE_CORRUPT);
    EXPECT_EQ(file.Close(), ERROR_FILE_CORRUPT);
}

// Temporary files.

class TemporaryDiskFile : public DiskFile {
protected:
    TemporaryDiskFile() { setenv("TMPDIR", folder.path().c_str(), 1); }
    ~TemporaryDiskFile() override { unsetenv("TMPDIR"); }
};

TEST_F(TemporaryDiskFile, GoesAtClose) {
    CDiskFile second;
    ASSERT_EQ(file.Open_Temp_File(), 0);
    ASSERT_EQ(second.Open_Temp_File(), 0);
    EXPECT_EQ(file.Write_Str("abc"), 0);
    EXPECT_EQ(file.GetLength(), 3);
    EXPECT_EQ(second.GetLength(), 0);
    EXPECT_NE(listing().find(".tmp=abc"), std::string::npos);
    EXPECT_EQ(file.Close(), 0);
    EXPECT_EQ(second.Close(), 0);
    EXPECT_EQ(listing(), "");
}

TEST_F(TemporaryDiskFile, StaysAfterRollbackAndIsForgotten) {
    ASSERT_EQ(file.Open_Temp_File(), 0);
    EXPECT_EQ(file.Rollback(), 0);
    const std::string left = listing();
    EXPECT_NE(left.find(".tmp= "), std::string::npos);
    ASSERT_EQ(open(kWritable, kTruncate), 0);
    EXPECT_EQ(file.Close(), 0);
    EXPECT_EQ(listing(), left + "file= ");
}

TEST_F(TemporaryDiskFile, NeedsAFolderThatFits) {
    setenv("TMPDIR", (folder.path().string() + "/" + std::string(250, '.')).c_str(), 1);
    EXPECT_EQ(file.Open_Temp_File(), ERROR_FILE_NOT_FOUND);
    setenv("TMPDIR", path("missing").c_str(), 1);
    EXPECT_EQ(file.Open_Temp_File(), ERROR_FILE_NOT_FOUND);
}

// Duplicates and copies.

TEST_F(DiskFile, DuplicatesTheWholeContentAndKeepsThePosition) {
    const std::string content = std::string(3 << 20, 'c') + "end";
    write_file(path("copy"), "something longer than nothing");
    open_new(content);
    file.MoveTo(-3, kEnd);
    EXPECT_EQ(file.Duplicate(path("copy").c_str()), 0);
    EXPECT_EQ(read(3), "end");
    EXPECT_EQ(read_file(path("copy")), content);
    EXPECT_EQ(file.Duplicate(path("no/such").c_str()), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(file.Duplicate("/dev/null"), 0);
    EXPECT_EQ(file.Duplicate("/dev/full"), ERROR_FILE_CORRUPT);
    open_new("");
    EXPECT_EQ(file.Duplicate(path("copy").c_str()), 0);
    EXPECT_EQ(read_file(path("copy")), "");
}

TEST_F(DiskFile, RefusesToDuplicateOntoItself) {
    write_file(path(), "abc");
    std::filesystem::create_symlink(path(), path("symbolic"));
    std::filesystem::create_hard_link(path(), path("hard"));
    ASSERT_EQ(open(kWritable, kAsIs), 0);
    for (const char* name : {"file", "symbolic", "hard", "./file"})
        EXPECT_EQ(file.Duplicate(path(name).c_str()), E_INVALIDARG) << name;
    EXPECT_EQ(read(3), "abc");
    EXPECT_EQ(read_file(path()), "abc");
}

TEST_F(DiskFile, CopiesShareOneStream) {
    open_new("abcdef");
    file.MoveTo(0, kStart);
    CDiskFile copy(file);
    EXPECT_EQ(read(2), "ab");
    char byte = 0;
    EXPECT_EQ(copy.Read(&byte, 1), 0);
    EXPECT_EQ(byte, 'c');
    EXPECT_EQ(copy.Close(), 0);
    EXPECT_EQ(file.Close(), ERROR_FILE_INVALID);
}

TEST_F(DiskFile, ACopyOfARollbackFileForgetsItWhenOpenedAgain) {
    ASSERT_EQ(file.Open_With_Rollback(path().c_str()), 0);
    CDiskFile copy;
    copy = file;
    EXPECT_EQ(file.Close(), 0);
    ASSERT_EQ(copy.Open(path("other").c_str(), kWritable, kTruncate), 0);
    EXPECT_EQ(copy.Close(), 0);
    EXPECT_EQ(listing(), "file= other= ");
}

TEST(DiskFileExtension, IsWhatFollowsTheLastDot) {
    const std::pair<char const*, char const*> cases[] = {
        {"a.b.c", "c"}, {".ini", "ini"}, {"end.", ""}, {"a.b/c", "b/c"}};
    for (const auto& [name, expected] : cases) {
        char out[8] = "~";
        EXPECT_TRUE(CDiskFile::GetFileExtension(name, out));
        EXPECT_STREQ(out, expected);
    }
    char out[8] = "~";
    EXPECT_FALSE(CDiskFile::GetFileExtension("none", out));
    EXPECT_FALSE(CDiskFile::GetFileExtension("", out));
    EXPECT_FALSE(CDiskFile::GetFileExtension(nullptr, out));
    EXPECT_FALSE(CDiskFile::GetFileExtension("a.b", nullptr));
    EXPECT_STREQ(out, "~");
}

// Buffers.

TEST_F(DiskFile, ABufferTakesTheWholeFile) {
    write_file(path(), "0123456789");
    ASSERT_EQ(open(kReadOnly, kAsIs), 0);
    CSmartBuffer buffer;
    EXPECT_EQ(buffer.Initialize_From_File(&file), 0);
    EXPECT_TRUE(buffer.At_End());
    EXPECT_EQ(buffer.Get_End_Of_Data(), 10U);
    char byte = 0;
    EXPECT_EQ(buffer.Read(&byte, 1, true), -1);
    EXPECT_EQ(buffer.Move_To(0), 0);
    EXPECT_EQ(buffer.Read(&byte, 1, true), 0);
    EXPECT_EQ(buffer.Initialize_From_File(&file), ERROR_FILE_CORRUPT) << "nothing is left to read";
    EXPECT_EQ(buffer.Get_End_Of_Data(), 0U);
    file.Close();
    EXPECT_EQ(buffer.Initialize_From_File(&file), ERROR_FILE_INVALID);
    EXPECT_EQ(buffer.Initialize_From_File(nullptr), E_INVALIDARG);
}

TEST_F(DiskFile, ABufferGoesToAFileWithItsMark) {
    CSmartBuffer buffer;
    EXPECT_EQ(buffer.Flush_To_File(nullptr), E_INVALIDARG);
    open_new("");
    EXPECT_EQ(buffer.Flush_To_File(&file), ERROR_FILE_CORRUPT) << "there is nothing to write";
    buffer.Write("ab");
    EXPECT_EQ(buffer.Flush_To_File(&file), 0);
    buffer.Set_Unicode(true);
    EXPECT_EQ(buffer.Flush_To_File(&file), 0);
    file.Close();
    EXPECT_EQ(read_file(path()),
              "ab\xFF\xFE"
              "ab");
    EXPECT_EQ(buffer.Flush_To_File(&file), ERROR_FILE_INVALID);
}

}  // namespace
}  // namespace tarnwillow
