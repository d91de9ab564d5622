#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "cli/program.h"
#include "support/temporaryFolder.h"

namespace tarnwillow::test {

namespace {

class LogCommand : public testing::Test {
protected:
    int run(const std::string& arguments) {
        const ProgramResult result = run_program("log " + arguments);
        output = result.output;
        return result.exit_code;
    }

    /// Lines of the list that say "on".
    std::string enabled() {
        EXPECT_EQ(run("list"), 0);
        std::string lines;
        for (std::size_t at = 0; at < output.size();) {
            const std::size_t end = output.find('\n', at) + 1;
            if (output.substr(at + 4, 2) == "on") lines += output.substr(at, end - at);
            at = end;
        }
        return lines;
    }

    TemporaryFolder folder;
    std::string output;
};

}  // namespace

TEST_F(LogCommand, ListsClassesThatAreOff) {
    EXPECT_EQ(enabled(), "");
    EXPECT_EQ(output.substr(0, 43), " 0  off  Uncategorized\n 1  off  General Err");
    EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 22);
}

TEST_F(LogCommand, SwitchesAClassByNumberOrName) {
    EXPECT_EQ(run("on 4"), 0);
    EXPECT_EQ(run("on 'ipc FRAMEWORK'"), 0);
    EXPECT_EQ(enabled(), " 4  on   ConnectionHandlerThreads\n 6  on   Ipc framework\n");
    EXPECT_EQ(run("off ConnectionHandlerThreads"), 0);
    EXPECT_EQ(enabled(), " 6  on   Ipc framework\n");
}

TEST_F(LogCommand, RefusesWhatIsNoClass) {
    for (const char* name : {"22", "-1", "4x", "Ipc", "''"}) {
        EXPECT_EQ(run(std::string("on ") + name), 1) << name;
        EXPECT_NE(output.find("no such log class"), output.npos);
    }
    for (const char* arguments : {"", "on", "list 4", "dim 4"})
        EXPECT_EQ(run(arguments), 2) << arguments;
}

TEST_F(LogCommand, SaysWhenTheStoreCannotBeWritten) {
    setenv("TARNWILLOW_SETTINGS_DIR", "/proc/none", 1);
    EXPECT_EQ(run("on 4"), 1);
    EXPECT_EQ(output, "tarnwillow: the settings store cannot be written\n");
    EXPECT_EQ(enabled(), "");
}

}  // namespace tarnwillow::test
