#include "tarnwillow/files/systemQueries.h"

#include <gtest/gtest.h>
#include <sys/statvfs.h>

#include <climits>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>

#include "support/temporaryFolder.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {
namespace {

/// The process's time zone for one test.
class TimeZone {
public:
    explicit TimeZone(char const* zone) {
        if (char const* set = std::getenv("TZ")) before_ = set;
        use(zone);
    }
    ~TimeZone() { use(before_.empty() ? nullptr : before_.c_str()); }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

private:
    static void use(char const* zone) {
        zone != nullptr ? setenv("TZ", zone, 1) : unsetenv("TZ");
        tzset();
    }
    std::string before_;
};

FILETIME file_time(long long seconds_since_1970) {
    const auto ticks =
        static_cast<unsigned long long>(seconds_since_1970 + 11'644'473'600) * 10'000'000;
    return {static_cast<std::uint32_t>(ticks), static_cast<std::uint32_t>(ticks >> 32)};
}

std::u16string date_of(FILETIME time) {
    char16_t out[256] = u"~";
    FileTimeToDateString(&time, out);
    return out;
}

TEST(SystemQueries, FindFoldersByTheirNumbers) {
    constexpr char const* kLeft = "~";
    struct Case {
        long id;
        long status;
        char const* path;
    };
    const Case cases[] = {{-1, S_OK, kLeft},
                          {65535, S_OK, kLeft},
                          {24, S_OK, "/"},
                          {30, S_OK, "/"},
                          {20, S_OK, "/usr/share/fonts/"},
                          {0, ERROR_DIRECTORY, kLeft},
                          {10, ERROR_DIRECTORY, kLeft},
                          {17, ERROR_DIRECTORY, kLeft},
                          {65536, ERROR_DIRECTORY, kLeft},
                          {-2, ERROR_DIRECTORY, kLeft},
                          {0x100000018, ERROR_DIRECTORY, kLeft}};
    for (const Case& one : cases) {
        char out[260] = "~";
        EXPECT_EQ(Get_Path_From_Directory_ID(one.id, out), one.status) << one.id;
        EXPECT_STREQ(out, one.path) << one.id;
    }
    EXPECT_EQ(Get_Path_From_Directory_ID(24, nullptr), ERROR_DIRECTORY);
}

TEST(SystemQueries, TellWhetherTheDiskHasRoom) {
    struct statvfs disk {};
    ASSERT_EQ(statvfs("/", &disk), 0);
    const unsigned long whole = disk.f_blocks * disk.f_frsize;
    EXPECT_TRUE(Check_Free_Disk_Space(0));
    EXPECT_TRUE(Check_Free_Disk_Space(disk.f_bfree * disk.f_frsize / 2));
    EXPECT_FALSE(Check_Free_Disk_Space(whole + 1));
    EXPECT_FALSE(Check_Free_Disk_Space(ULONG_MAX));
}

TEST(SystemQueries, TheOpticalDiskIsAFolderOrNone) {
    char out[256] = "~";
    Find_CDROM(out);
    const std::string found = out;
    if (found.empty()) {
        EXPECT_EQ(test::read_file("/proc/self/mounts").find(" iso9660 "), std::string::npos);
    } else {
        EXPECT_EQ(found.back(), '/');
        EXPECT_TRUE(std::filesystem::is_directory(found));
    }
    Find_CDROM(nullptr);
}

TEST(SystemQueries, NoDriveTakesPartInAutoRun) {
    EXPECT_EQ(Set_Auto_Run(u"volume", true), ERROR_NOT_FOUND);
    EXPECT_EQ(Set_Auto_Run(nullptr, false), ERROR_NOT_FOUND);
}

TEST(SystemQueries, WriteTimesAsLocalDates) {
    const FILETIME spring = file_time(1270631107);
    {
        const TimeZone zone("UTC0");
        EXPECT_EQ(date_of(spring), u"2010.04.07.09.05.07");
        EXPECT_EQ(date_of({0, 0}), u"1601.01.01.00.00.00");
        EXPECT_EQ(date_of(file_time(-1)), u"1969.12.31.23.59.59");
    }
    const TimeZone zone("ABC-5:30");
    EXPECT_EQ(date_of(spring), u"2010.04.07.14.35.07");
    char16_t untouched[] = u"~";
    FileTimeToDateString(nullptr, untouched);
    EXPECT_EQ(untouched[0], u'~');
    FILETIME some = spring;
    FileTimeToDateString(&some, nullptr);
    CurrentTimeToDateString(nullptr);
}

TEST(SystemQueries, WriteTheTimeNow) {
    const TimeZone zone("ABC-5:30");
    const std::u16string before = date_of(file_time(std::time(nullptr)));
    char16_t out[256];
    CurrentTimeToDateString(out);
    const std::u16string after = date_of(file_time(std::time(nullptr)));
    EXPECT_LE(before, std::u16string(out));
    EXPECT_LE(std::u16string(out), after);
}

std::u16string today() {
    const std::time_t now = std::time(nullptr);
    std::tm date{};
    gmtime_r(&now, &date);
    return std::filesystem::path(std::to_string(date.tm_mon + 1) + "/" +
                                 std::to_string(date.tm_mday) + "/" +
                                 std::to_string(date.tm_year + 1900))
        .u16string();
}

TEST(SystemQueries, TellWhenAFileWasMadeInUniversalTime) {
    const TimeZone zone("FAR-14");
    const test::TemporaryFolder folder;
    const std::u16string before = today();
    test::write_file(folder.file("new"), "");
    const std::u16string after = today();
    char16_t out[256];
    ASSERT_TRUE(Get_File_Creation_Date_String(folder.path().u16string().c_str(), out));
    EXPECT_TRUE(out == before || out == after);
    ASSERT_TRUE(Get_File_Creation_Date_String((folder.path() / "new").u16string().c_str(), out));
    EXPECT_TRUE(out == before || out == after);
}

TEST(SystemQueries, TellNothingOfAFileThatIsNotThere) {
    char16_t out[] = u"~";
    EXPECT_FALSE(Get_File_Creation_Date_String(u"/no/such/file", out));
    EXPECT_FALSE(Get_File_Creation_Date_String(nullptr, out));
    EXPECT_FALSE(Get_File_Creation_Date_String(u"/", nullptr));
    EXPECT_EQ(out[0], u'~');
}

}  // namespace
}  // namespace tarnwillow
