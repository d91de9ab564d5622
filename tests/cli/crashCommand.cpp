#include <gtest/gtest.h>

#include <filesystem>

#include "cli/program.h"
#include "support/minidumpReader.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/files/CRegistry.h"

namespace tarnwillow::test {

namespace {

class CrashCommand : public testing::Test {
protected:
    int run(const std::string& arguments) {
        const ProgramResult result = run_program("crash " + arguments);
        output = result.output;
        return result.exit_code;
    }

    /// The dump that the program has told of, which goes.
    MinidumpReader told_dump() {
        EXPECT_EQ(output.rfind("dump: ", 0), 0U) << output;
        const std::string path = output.substr(6, output.size() - 7);
        const std::string bytes = read_file(path);
        std::filesystem::remove(path);
        return MinidumpReader(bytes);
    }

    TemporaryFolder folder;
    std::string output;
};

}  // namespace

TEST_F(CrashCommand, WritesADumpOfEachKindToAFolder) {
    const struct {
        char const* kind;
        std::uint32_t code;
    } table[] = {
        {"null", 11}, {"divide", 8}, {"stack", 11}, {"breakpoint", 5}, {"throw", 0xE0000001}};
    for (const auto& row : table) {
        const std::string kind = row.kind;
        EXPECT_EQ(run("--kind " + kind + " --folder '" + folder.path().string() + "'"), 0);
        const auto dump = told_dump();
        EXPECT_EQ(dump.exception()->code, row.code) << kind;
        EXPECT_EQ(dump.flags(), 0U);
    }
    EXPECT_EQ(run("--full --folder '" + folder.path().string() + "'"), 0);
    EXPECT_EQ(told_dump().flags(), 2U);
}

TEST_F(CrashCommand, FollowsTheSettingWithoutAFolder) {
    EXPECT_EQ(run(""), 1);
    EXPECT_NE(output.find("the setting ExceptionHandlerLevel does not ask for one"),
              std::string::npos);
    CRegistry registry;
    ASSERT_TRUE(registry.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE));
    ASSERT_TRUE(registry.Set_Entry("ExceptionHandlerLevel", 0x80000001U));
    EXPECT_EQ(run("--level 2"), 1);
    EXPECT_EQ(run("--level 0"), 0);
    EXPECT_EQ(told_dump().flags(), 0U);
}

TEST_F(CrashCommand, SaysThatItCouldNotWrite) {
    EXPECT_EQ(run("--folder '" + folder.file("missing") + "'"), 1);
    EXPECT_NE(output.find("no dump was written"), std::string::npos);
}

TEST_F(CrashCommand, ExplainsItsUse) {
    for (const char* arguments :
         {"now", "--kind", "--kind none", "--level x", "--full", "--folder"}) {
        EXPECT_EQ(run(arguments), 2) << arguments;
        EXPECT_NE(output.find("tarnwillow crash"), std::string::npos);
    }
}

}  // namespace tarnwillow::test
