#include "tarnwillow/platform/processStart.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <fstream>

#include "support/recorder.h"
#include "tarnwillow/platform/argumentText.h"

namespace tarnwillow::platform {
namespace {

using Arguments = std::vector<std::string>;

constexpr std::uint32_t kLong = 30000;
constexpr std::uint32_t kShort = 20;

TEST(ArgumentText, IsTakenApartWithoutAShell) {
    const std::pair<char const*, Arguments> cases[] = {
        {"", {}},
        {" \t\r\n", {}},
        {"/register", {"/register"}},
        {"  a  b\tc ", {"a", "b", "c"}},
        {R"("a b" c)", {"a b", "c"}},
        {R"(a"b c"d)", {"ab cd"}},
        {R"("" x)", {"", "x"}},
        {R"("open to the end)", {"open to the end"}},
        {R"(a\"b)", {R"(a"b)"}},
        {R"("a\"b c")", {R"(a"b c)"}},
        {R"("c:\folder\\" d)", {R"(c:\folder\)", "d"}},
        {R"(c:\a\b \\server\x)", {R"(c:\a\b)", R"(\\server\x)"}},
        {R"(\\\"a \)", {R"(\"a)", R"(\)"}},
        {"'a b' $HOME `id` a;b *", {"'a", "b'", "$HOME", "`id`", "a;b", "*"}},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(split_arguments(text), expected) << text;
}

class ProcessStart : public testing::Test {
protected:
    ProcessStart() { setenv("PATH", folder.path().c_str(), 1); }
    ~ProcessStart() override { setenv("PATH", path_before.c_str(), 1); }

    /// What the started program was given; empty if it did not start.
    std::string opened(const std::string& file, const Arguments& arguments = {}) {
        StartedProcess process;
        if (!open_file(SystemPath(file.c_str()), arguments, &process)) return "";
        EXPECT_EQ(process.wait(kLong), ProcessWait::ended);
        return recorder.arguments();
    }

    static bool has_children() { return waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD; }

    const std::string path_before = getenv("PATH");
    test::TemporaryFolder folder;
    test::Recorder recorder{folder};
};

TEST_F(ProcessStart, AProgramGetsItsArgumentsAsTheyAre) {
    const std::string program = recorder.program("a program");
    EXPECT_EQ(opened(program, {"a b", "", "$HOME", "\"", "'; id"}), "a b\n\n$HOME\n\"\n'; id\n");
    EXPECT_FALSE(has_children());
}

TEST_F(ProcessStart, APlainNameIsLookedForInThePathThenHere) {
    const auto before = std::filesystem::current_path();
    recorder.program("found");
    EXPECT_EQ(opened("found", {"x"}), "x\n");
    setenv("PATH", "/no/such/folder", 1);
    EXPECT_EQ(opened("found", {"x"}), "");
    std::filesystem::current_path(folder.path());
    EXPECT_EQ(opened("found", {"x"}), "x\n");
    std::filesystem::current_path(before);
}

TEST_F(ProcessStart, ADocumentGoesToTheDesktopsOpener) {
    const std::string document = folder.file("notes.txt");
    test::write_file(document, "exit 1");
    EXPECT_EQ(opened(document), "") << "no opener, and no shell that would run it";
    recorder.program("xdg-open");
    EXPECT_EQ(opened(document, {"lost"}), document + "\n");
    EXPECT_EQ(opened(folder.file("none.txt")), "");
}

TEST_F(ProcessStart, TheErrorOfAStartIsTold) {
    StartedProcess process;
    EXPECT_EQ(process.start(folder.file("none").c_str(), {}), ENOENT);
    EXPECT_EQ(process.wait(kLong), ProcessWait::ended);
    process.kill();
    EXPECT_FALSE(open_file(SystemPath(static_cast<char const*>(nullptr)), {}, &process));
}

TEST_F(ProcessStart, AProgramThatHangsIsEndedAndCollected) {
    recorder.hang();
    StartedProcess process;
    ASSERT_EQ(process.start(recorder.program("hangs").c_str(), {}), 0);
    EXPECT_EQ(process.wait(kShort), ProcessWait::timed_out);
    process.kill();
    EXPECT_FALSE(has_children());
    EXPECT_EQ(process.wait(0), ProcessWait::ended);
}

TEST_F(ProcessStart, WhatNobodyWaitsForIsCollectedByALaterStart) {
    const std::string program = recorder.program("goes on");
    { ASSERT_EQ(StartedProcess().start(program.c_str(), {}), 0); }
    siginfo_t ended{};
    ASSERT_EQ(waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT), 0);
    EXPECT_TRUE(has_children());
    StartedProcess later;
    ASSERT_EQ(later.start(program.c_str(), {}), 0);
    EXPECT_EQ(later.wait(kLong), ProcessWait::ended);
    EXPECT_FALSE(has_children());
}

}  // namespace
}  // namespace tarnwillow::platform
