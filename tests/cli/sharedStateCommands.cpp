// The built program beside other processes of the library.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>

#include "support/temporaryFolder.h"
#include "tarnwillow/crossprocess/CIPCSharedTable.h"
#include "tarnwillow/crossprocess/instanceControl.h"
#include "tarnwillow/crossprocess/instanceTable.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow::test {

namespace {

class SharedStateCommands : public testing::Test {
protected:
    /// Runs the program; both outputs come back as one.
    int run(const std::string& arguments) {
        const std::string command = "'" TARNWILLOW_PROGRAM "' " + arguments + " 2>&1";
        FILE* pipe = popen(command.c_str(), "r");
        output.clear();
        for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe))
            output += static_cast<char>(c);
        return WEXITSTATUS(pclose(pipe));
    }

    TemporaryFolder folder;
    std::string output;
};

}  // namespace

TEST_F(SharedStateCommands, ShowAndChangeATable) {
    CIPCSharedTable table;
    ASSERT_EQ(table.Initialize("demo"), 0);
    EXPECT_EQ(run("table set demo 1 -2 'a longer text'"), 0) << output;
    EXPECT_EQ(run("table set demo 1 -2 text"), 0) << output;
    EXPECT_EQ(run("table set demo 0x10 3 bytes"), 0) << output;
    char data[512] = {};
    EXPECT_TRUE(table.Get_Atom_Data(1, -2, data, sizeof data));
    EXPECT_STREQ(data, "text");
    EXPECT_EQ(run("table list demo"), 0);
    EXPECT_EQ(output.substr(0, output.find('\n')), "0\ttype 1\tid -2\t4 bytes\ttext");
    EXPECT_EQ(run("table dump demo"), 0);
    EXPECT_NE(output.find("0\ttype 1\tid -2\n  000  74 65 78 74 00"), std::string::npos) << output;
    EXPECT_EQ(run("table delete demo 1 -2"), 0);
    EXPECT_EQ(table.Get_Atom_Count(), 1);
    EXPECT_EQ(run("table delete demo 1 -2"), 1);
    EXPECT_EQ(output, "tarnwillow: table demo: no such atom\n");
}

TEST_F(SharedStateCommands, SayThatNobodyUsesATable) {
    EXPECT_EQ(run("table list nobody"), 1);
    EXPECT_EQ(output, "tarnwillow: table nobody: no process uses it\n");
    EXPECT_EQ(run("table set nobody 1 1 x"), 1);
    EXPECT_EQ(run("table hold nobody < /dev/null"), 0);
    EXPECT_EQ(output, "");
}

TEST_F(SharedStateCommands, ExplainTheirUse) {
    for (const char* arguments :
         {"table", "table list", "table set demo 1 1", "table set demo 1 x y", "table list a b",
          "table set demo 4294967296 1 x", "instances all"}) {
        CIPCSharedTable table;
        ASSERT_EQ(table.Initialize("demo"), 0);
        EXPECT_EQ(run(arguments), 2) << arguments;
        EXPECT_NE(output.find("tarnwillow table delete NAME TYPE ID"), std::string::npos);
    }
}

TEST_F(SharedStateCommands, ListTheRunningInstances) {
    detail::instance_table().detach();
    EXPECT_EQ(run("instances"), 0);
    EXPECT_EQ(output, "");
    const HWND window = New_Headless_Window("Title");
    ASSERT_TRUE(First_Instance("app", "main", window));
    EXPECT_EQ(run("instances"), 0);
    EXPECT_EQ(output.rfind("app\tmain\tTitle\t0x", 0), 0U) << output;
    EXPECT_NE(output.find("\talive\n"), std::string::npos);
    SetWindowTextA(window, "Other");
    EXPECT_EQ(run("instances"), 0);
    EXPECT_NE(output.find("app\tmain\tTitle\t"), std::string::npos);
    EXPECT_NE(output.find("\tdead\n"), std::string::npos);
    detail::instance_table().detach();
}

}  // namespace tarnwillow::test
