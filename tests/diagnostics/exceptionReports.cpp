// What becomes of a fault, by the setting ExceptionHandlerLevel. The setting is read once in a
// process: so each case is a copy of this program in a folder of its own.
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "faults.h"
#include "support/childProcess.h"
#include "support/logCollector.h"
#include "support/minidumpReader.h"
#include "support/reports.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/platform/messageBox.h"

namespace tarnwillow {
namespace {

// The printing functions of the C library take memory from a heap that may be broken here.
void print(char const* text) {
    if (write(STDOUT_FILENO, text, std::strlen(text)) < 0) _exit(1);
}

/// Prints the box on one line, with bars for line ends.
int print_box(HWND, char16_t const* text, char16_t const* caption, std::uint32_t style) {
    char line[2048];
    std::size_t size = 0;
    for (; *text != 0; ++text)
        line[size++] = *text == u'\r' ? '|' : static_cast<char>(*text);
    char box[sizeof line + 32];
    std::snprintf(box, sizeof box, "box %x %d: %.*s\n", style, static_cast<int>(caption[0]),
                  static_cast<int>(size), line);
    print(box);
    return IDOK;
}

void fault_at(long level) {
    reporting_guard(
        static_cast<ExceptionLevel>(level), u"Some::Operation", [] { faults_at_O0()[1].run(); },
        [] { print("recovered\n"); });
}

class ExceptionReport : public testing::Test {
protected:
    void SetUp() override {
        const auto self = std::filesystem::read_symlink("/proc/self/exe");
        std::error_code error;
        std::filesystem::create_hard_link(self, program(), error);
        if (error) std::filesystem::copy_file(self, program());
    }

    void set_level(long level) {
        CRegistry registry;
        ASSERT_TRUE(registry.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE));
        ASSERT_TRUE(registry.Set_Entry("ExceptionHandlerLevel", level));
    }

    std::string run(char const* child, const std::string& argument = "") {
        return test::run_child_of(program(), child, argument).output;
    }

    std::string report(long level) { return run("fault_at_level", std::to_string(level)); }

    std::vector<std::string> dumps() const {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
            if (entry.path().filename().string().rfind("CrashLog-", 0) == 0)
                found.push_back(entry.path().string());
        return found;
    }

    std::string program() const { return folder.file("program"); }

    test::TemporaryFolder folder;
};

constexpr char kSerious[] = "||This is a serious error. Recovery is not likely";
constexpr char kValidation[] =
    "||This is an internal validation failure. Recovery is possible but this still indicates a "
    "problem.";
constexpr char kHandled[] =
    "||This is an exception that will be handled. It may indicate a problem but you will be able "
    "to recover.";
constexpr char kShortText[] = "box 10 69: Win32 Exception in function Some::Operation.";

std::string long_text(const std::string& dump, const std::string& suffix) {
    return std::string(kShortText) +
           " A crash log has been generated.||The file is located here:|" + dump +
           "||Please include that file along with a screenshot of this in the bug you are about to "
           "create/update." +
           suffix + "\nrecovered\n";
}

}  // namespace

TARNWILLOW_CHILD(fault_at_level) {
    Set_Message_Box_Presenter(print_box);
    fault_at(std::stol(std::string(argument)));
    return 0;
}

TARNWILLOW_CHILD(log_of_fault) {
    Set_Message_Box_Presenter(
        [](HWND, char16_t const*, char16_t const*, std::uint32_t) { return IDOK; });
    const test::LogCollector log;
    reporting_guard(
        ExceptionLevelHandled, u"Some::%s::Operation", [] { faults_at_O0()[1].run(); },
        no_recovery);
    const std::u16string texts = log.texts();
    std::printf("%s", std::string(texts.begin(), texts.end()).c_str());
    return 0;
}

/// Two faults, of which the second finds nothing left that the heap could work with.
TARNWILLOW_CHILD(fault_with_broken_heap) {
    Set_Message_Box_Presenter(print_box);
    fault_at(0);
    auto* const block = static_cast<char*>(std::malloc(64));
    std::memset(block, 0xFF, static_cast<std::size_t>(static_cast<char*>(sbrk(0)) - block));
    fault_at(2);
    _exit(0);
}

TARNWILLOW_CHILD(fault_twice) {
    Set_Message_Box_Presenter(print_box);
    fault_at(2);
    CRegistry registry;
    registry.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE);
    registry.Set_Entry("ExceptionHandlerLevel", 4L);
    fault_at(2);
    return 0;
}

TEST_F(ExceptionReport, FollowsTheSetting) {
    const struct {
        long setting;
        long level;
        char const* suffix;  // null for no report
        unsigned dump_flags;
    } table[] = {
        {0, 0, nullptr, 0},
        {0, 7, nullptr, 0},
        {4, 2, kHandled, 2},
        {4, 0, nullptr, 0},
        {1, 0, kSerious, 2},
        {2, 1, kValidation, 2},
        {1, 7, "", 2},
        {0x40000000, -1, "", 2},
        {0x40000000, 2, nullptr, 0},
        {-0x7FFFFFFC, 2, kHandled, 0},
        {-0x80000000L, 1, nullptr, 0},
    };
    for (const auto& row : table) {
        set_level(row.setting);
        const std::string output = report(row.level);
        const auto found = dumps();
        ASSERT_EQ(found.size(), row.suffix != nullptr ? 1U : 0U) << row.setting << ' ' << row.level;
        if (row.suffix == nullptr) {
            EXPECT_EQ(output, "recovered\n");
            continue;
        }
        EXPECT_EQ(output, long_text(found[0], row.suffix));
        const test::MinidumpReader dump(test::read_file(found[0]));
        EXPECT_EQ(dump.flags(), row.dump_flags);
        EXPECT_EQ(dump.full_memory() > 0, row.dump_flags == 2);
        EXPECT_EQ(dump.exception()->code, 11U);
        std::filesystem::remove(found[0]);
    }
}

TEST_F(ExceptionReport, WithoutASettingShowsNothing) {
    EXPECT_EQ(report(2), "recovered\n");
    EXPECT_TRUE(dumps().empty());
}

TEST_F(ExceptionReport, IsLoggedAtEverySetting) {
    const std::string line = "Win32 Exception in function Some::%s::Operation.|";
    EXPECT_EQ(run("log_of_fault"), line);
    set_level(4);
    EXPECT_EQ(run("log_of_fault"), line + "Crash dump attempted|");
}

TEST_F(ExceptionReport, ReadsTheSettingOnce) {
    set_level(0);
    EXPECT_EQ(run("fault_twice"), "recovered\nrecovered\n");
}

TEST_F(ExceptionReport, NeedsNoHeapOnceTheSettingIsKnown) {
    if (test::address_checks()) GTEST_SKIP() << "the sanitizer's heap is not where it is broken";
    set_level(-0x7FFFFFFC);
    const std::string output = run("fault_with_broken_heap");
    ASSERT_EQ(dumps().size(), 1U);
    EXPECT_EQ(output, "recovered\n" + long_text(dumps()[0], kHandled));
}

TEST_F(ExceptionReport, IsShortWithoutAWriter) {
    std::filesystem::copy_file(DEBUG_HELP_WITHOUT_PROCEDURE, folder.file("DBGHELP.DLL"));
    set_level(4);
    EXPECT_EQ(report(2), kShortText + std::string(kHandled) + "\nrecovered\n");
    EXPECT_TRUE(dumps().empty());
}

TEST_F(ExceptionReport, GoesByTheLibraryBesideTheProgram) {
    std::filesystem::copy_file(DEBUG_HELP_WITH_PROCEDURE, folder.file("DBGHELP.DLL"));
    setenv("CALLS", folder.file("calls").c_str(), 1);
    set_level(-0x7FFFFFFC);
    setenv("FAILURES", "3", 1);
    report(2);
    ASSERT_EQ(dumps().size(), 1U);
    EXPECT_EQ(test::read_file(dumps()[0]), "foreign dump");
    EXPECT_EQ(test::read_file(folder.file("calls")), "0\n0\n0\n0\n");
}

TEST_F(ExceptionReport, GivesUpAfterTenAttempts) {
    std::filesystem::copy_file(DEBUG_HELP_WITH_PROCEDURE, folder.file("DBGHELP.DLL"));
    setenv("CALLS", folder.file("calls").c_str(), 1);
    set_level(4);
    setenv("FAILURES", "10", 1);
    EXPECT_EQ(report(2), kShortText + std::string(kHandled) + "\nrecovered\n");
    EXPECT_EQ(test::read_file(folder.file("calls")).size(), 20U);
    EXPECT_TRUE(dumps().empty());
}

TEST_F(ExceptionReport, UsesTheBuiltInWriterWhereTheLibraryIsNone) {
    test::write_file(folder.file("DBGHELP.DLL"), "no library");
    set_level(-0x7FFFFFFC);
    report(2);
    EXPECT_EQ(dumps().size(), 1U);
}

}  // namespace tarnwillow
