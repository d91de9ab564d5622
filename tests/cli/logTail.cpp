// What a newcomer does: follows the log, switches a class on, and starts a program.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "cli/program.h"
#include "support/childProcess.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/core/diagnosticEntry.h"
#include "tarnwillow/files/CRegistry.h"

namespace tarnwillow::test {

namespace {

TARNWILLOW_CHILD(log_one_line) {
    _LOG(4, "%s is %d", "the answer", 42);
    return 0;
}

/// The program's command "log tail", running beside the test.
class Tail {
public:
    Tail() {
        int ends[2];
        if (pipe(ends) != 0) return;
        id_ = fork();
        if (id_ == 0) {
            dup2(ends[1], STDOUT_FILENO);
            dup2(ends[1], STDERR_FILENO);
            close(ends[0]);
            execl(TARNWILLOW_PROGRAM, "tarnwillow", "log", "tail", nullptr);
            _exit(127);
        }
        close(ends[1]);
        output_ = fdopen(ends[0], "r");
    }
    ~Tail() {
        if (id_ > 0) finish(SIGKILL);
        std::fclose(output_);
    }
    Tail(const Tail&) = delete;
    Tail& operator=(const Tail&) = delete;

    std::string line() {
        std::string text;
        for (int c = std::fgetc(output_); c != EOF && c != '\n'; c = std::fgetc(output_))
            text += static_cast<char>(c);
        return text;
    }

    /// Its exit code; -1 for a signal.
    int finish(int signal) {
        kill(id_, signal);
        int state = 0;
        waitpid(id_, &state, 0);
        id_ = -1;
        return WIFEXITED(state) ? WEXITSTATUS(state) : -1;
    }

private:
    pid_t id_ = -1;
    std::FILE* output_ = nullptr;
};

class LogTail : public testing::Test {
protected:
    LogTail() { setenv("TARNWILLOW_LOG_FILE", folder.file("log.txt").c_str(), 1); }
    ~LogTail() override { unsetenv("TARNWILLOW_LOG_FILE"); }
    TemporaryFolder folder;
};

}  // namespace

TEST_F(LogTail, ShowsTheLinesOfAClassThatIsOn) {
    Tail tail;
    EXPECT_EQ(tail.line().rfind("Lines that come through /", 0), 0U);
    EXPECT_EQ(run_child("log_one_line").exit_code, 0);
    EXPECT_EQ(run_program("log on ConnectionHandlerThreads").exit_code, 0);
    EXPECT_EQ(run_child("log_one_line").exit_code, 0);
    const std::string line = tail.line();
    EXPECT_EQ(line.substr(line.find("] ")), "] 4: the answer is 42");
    EXPECT_EQ(tail.finish(SIGINT), 0);
    EXPECT_EQ(tail.line(), "") << "the line of before the class was on";
}

TEST_F(LogTail, SaysWhenTheCoreThatIsSetCannotBeUsed) {
    CRegistry settings;
    settings.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE);
    settings.Set_Entry("Log", "/no/such/core.so");
    const ProgramResult result = run_program("log tail");
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.output.rfind("tarnwillow: /no/such/core.so: ", 0), 0U);
    setenv("TARNWILLOW_SETTINGS_DIR", "/proc/none", 1);
    EXPECT_EQ(run_program("log tail").output,
              "tarnwillow: no message core is set, and none could be set\n");
}

}  // namespace tarnwillow::test
