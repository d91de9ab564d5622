// The built program on a store of the test's own.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "cli/program.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/files/CRegistry.h"

namespace tarnwillow::test {

namespace {

class SettingsCommand : public testing::Test {
protected:
    /// What the command prints; its exit code in front if it is not 0.
    std::string run(const std::string& arguments) {
        const ProgramResult result = run_program("settings " + arguments);
        return (result.exit_code != 0 ? std::to_string(result.exit_code) + ": " : "") +
               result.output;
    }
    static std::string failure(const std::string& text) {
        return "1: tarnwillow: settings: " + text + "\n";
    }

    TemporaryFolder folder;
};

constexpr char kNothing[] = ": there is nothing of that name";

}  // namespace

TEST_F(SettingsCommand, SetsAndGetsInTheStoreOfEveryProgram) {
    EXPECT_EQ(run("set Root /opt/x"), "");
    EXPECT_EQ(run("get root"), "/opt/x\n");
    EXPECT_EQ(run("set 'Log\\Session' 1"), "");
    CRegistry settings;
    long value = 0;
    ASSERT_TRUE(settings.Open_Application_Key("Log", HKEY_LOCAL_MACHINE));
    EXPECT_TRUE(settings.Get_Entry("Session", &value));
    EXPECT_EQ(value, 1);
    settings.Set_Entry(u"Wide", u"\u20AC");
    EXPECT_EQ(run("get 'HKLM\\Software\\fennt\\tarnwillow\\Log\\Wide'"), "\xE2\x82\xAC\n");
    EXPECT_EQ(run("set 'hkey_current_user\\a\\b' -- -5"), "");
    EXPECT_EQ(run("get 'HKCU\\A\\B'"), "-5\n");
    EXPECT_EQ(run("list"), "[Log]\n\"Root\" = text \"/opt/x\"\n");
    EXPECT_EQ(run("list Log"), "\"Session\" = number 1\n\"Wide\" = wide text \"\xE2\x82\xAC\"\n");
    EXPECT_EQ(run("list HKCU"), "[a]\n");
}

TEST_F(SettingsCommand, TypesAreChosenOrKept) {
    EXPECT_EQ(run("set v 12"), "");
    EXPECT_EQ(run("set v 0x10"), "");
    EXPECT_EQ(run("get v"), "16\n");
    EXPECT_EQ(run("set v text"),
              failure("HKLM\\Software\\fennt\\tarnwillow\\v: no value of that type"));
    EXPECT_EQ(run("set v 12 --type text"), "");
    EXPECT_EQ(run("set v 13"), "");
    EXPECT_EQ(run("set b --type binary '00 ff10'"), "");
    EXPECT_EQ(run("set m --type multi one two"), "");
    EXPECT_EQ(run("set t --type 11 0100000000000000"), "");
    EXPECT_EQ(run("set 'k\\-' --name 'a\\b' 4294967295"), "");
    EXPECT_EQ(run("list"),
              "[k]\n\"v\" = text \"13\"\n\"b\" = binary 00 ff 10\n\"m\" = multi \"one\\0two\\0\"\n"
              "\"t\" = type 11: 01 00 00 00 00 00 00 00\n");
    EXPECT_EQ(run("get m"), "one\ntwo\n");
    EXPECT_EQ(run("get b"), "00 ff 10\n");
    EXPECT_EQ(run("get 'k\\-' --name 'A\\B'"), "-1\n");
    EXPECT_EQ(run("set v 4294967296 --type number"),
              failure("HKLM\\Software\\fennt\\tarnwillow\\v: no value of that type"));
    EXPECT_EQ(run("set v 1 --type none"), failure("none is no type"));
}

TEST_F(SettingsCommand, DeletesValuesAndTrees) {
    run("set 'k\\a\\v' 1");
    EXPECT_EQ(run("delete 'k\\a\\v'"), "");
    EXPECT_EQ(run("get 'k\\a\\v'"),
              failure("HKLM\\Software\\fennt\\tarnwillow\\k\\a\\v" + std::string(kNothing)));
    EXPECT_EQ(run("delete --key k"), "");
    EXPECT_EQ(run("list k"),
              failure("HKLM\\Software\\fennt\\tarnwillow\\k" + std::string(kNothing)));
    EXPECT_EQ(run("delete --key HKLM"), failure("HKLM: ERROR_ACCESS_DENIED: Access is denied"));
}

/// A key with whatever is hard to write down.
void make_odd_settings() {
    CRegistry settings;
    ASSERT_TRUE(settings.Create_Key(HKEY_CURRENT_USER, "odd]\n100% \xC3\xA4\\be[low"));
    settings.Set_Entry(nullptr, "the default");
    settings.Set_Entry("quote\" back\\slash\x01\t", "a \"b\" \\ \r\n\t\x1F\x7F\xC3\xA4");
    settings.Set_Entry("broken", "\xFF\xFE", 3);
    settings.Set_Entry("bare", "no end", 6);
    settings.Set_Entry("zeros", "a\0\0", 4);
    settings.Set_Entry("empty", "", 0UL);
    settings.Set_Entry(u"wide", u"\u20AC \U0001F333 \"\\");
    settings.Set_Entry(u"wide broken", u"\xD800");
    settings.Set_Entry(u"wide odd", "abc", 3);
    settings.Set_Entry(REG_MULTI_SZ, u"wide multi", u"a\0b\0", 10);
    settings.Set_Entry(REG_BINARY, "none", "", 0);
    settings.Set_Entry(REG_DWORD, "short number", "\1", 1);
    settings.Set_Entry(static_cast<int>(0xFFFFFFFF), "type", "\1\2", 2);
    settings.Set_Entry("lowest", -0x80000000L);
}

TEST_F(SettingsCommand, ExportAndImportGiveTheSameBytesBack) {
    make_odd_settings();
    const std::string exported = run("export HKCU");
    EXPECT_EQ(exported.substr(0, exported.find('\n', 24)), "tarnwillow-settings 1\n\n[HKCU]");
    write_file(folder.file("saved"), "\xEF\xBB\xBF# a mark and a remark\r\n" + exported);
    EXPECT_EQ(run("delete --key 'HKCU\\odd]\n100% \xC3\xA4'"), "");
    EXPECT_EQ(run("export HKCU"), "tarnwillow-settings 1\n\n[HKCU]\n");
    EXPECT_EQ(run("import '" + folder.file("saved") + "'"), "");
    EXPECT_EQ(run("export HKCU"), exported);
    CRegistry settings;
    ASSERT_TRUE(settings.Open_Key(HKEY_CURRENT_USER, "odd]\n100% \xC3\xA4\\be[low"));
    char16_t wide[20];
    char bytes[20];
    EXPECT_TRUE(settings.Get_Entry(u"wide broken", wide));
    EXPECT_EQ(wide[0], 0xD800);
    unsigned long size = sizeof bytes;
    EXPECT_TRUE(settings.Get_Entry("broken", bytes, &size));
    EXPECT_EQ(std::string(bytes, size), std::string("\xFF\xFE\0", 3));
}

TEST_F(SettingsCommand, AWrongLineIsToldAndNothingIsWritten) {
    const std::string file = folder.file("wrong");
    for (char const* line : {"word", "\"a\" number 1", "\"a\" = number x", "\"a\" = binary 0",
                             "\"a\" = text \"b", "\"a\" = text \"b\" c", "\"a\" = text \"\\q\"",
                             "\"a\" = type 1 00", "\"a\\0\" = number 1", "[HKXX\\a]", "[HKCU\\%00]",
                             "[HKCU\\%4]", "\"a\" = wide number 1", "\"\\"}) {
        write_file(file,
                   std::string("tarnwillow-settings 1\n[HKCU\\k]\n\"v\" = number 1\n") + line);
        EXPECT_EQ(run("import " + file),
                  "1: tarnwillow: " + file + ":4: not a line of exported settings\n")
            << line;
    }
    EXPECT_EQ(run("list HKCU"), "");
    EXPECT_EQ(run("import " + folder.file("none")).substr(0, 2), "1:");
}

/// The program beside the test, until the object goes.
class RunningProgram {
public:
    explicit RunningProgram(char const* verb, char const* argument) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) return;
        child_ = fork();
        if (child_ == 0) {
            dup2(ends[1], STDOUT_FILENO);
            dup2(ends[1], STDERR_FILENO);
            execl(TARNWILLOW_PROGRAM, "tarnwillow", "settings", verb, argument, nullptr);
            _exit(127);
        }
        close(ends[1]);
        output_ = fdopen(ends[0], "r");
    }
    ~RunningProgram() {
        kill(child_, SIGTERM);
        waitpid(child_, nullptr, 0);
        std::fclose(output_);
    }
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    std::string next_line() {
        char line[300];
        return std::fgets(line, sizeof line, output_) != nullptr ? line : "<end>";
    }

private:
    pid_t child_ = -1;
    FILE* output_ = nullptr;
};

TEST_F(SettingsCommand, WatchPrintsTheChangesOfOtherProcesses) {
    RunningProgram watch("watch", "HKCU");
    const auto next_line = [&] { return watch.next_line(); };
    EXPECT_EQ(next_line(), "watching [HKCU]\n");
    CRegistry settings;
    EXPECT_TRUE(settings.Create_Key(HKEY_CURRENT_USER, "k"));
    EXPECT_EQ(next_line(), "+ [HKCU\\k]\n");
    settings.Set_Entry("v", 1);
    EXPECT_EQ(next_line(), "+ [HKCU\\k] \"v\" = number 1\n");
    settings.Set_Entry("v", 2);
    EXPECT_EQ(next_line(), "~ [HKCU\\k] \"v\" = number 2\n");
    settings.Delete_Entry("v");
    EXPECT_EQ(next_line(), "- [HKCU\\k] \"v\"\n");
}

TEST_F(SettingsCommand, ExplainsItsUse) {
    for (char const* arguments : {"", "none", "get", "get a b", "set a", "delete", "list a b",
                                  "list --wrong", "set --type"}) {
        const ProgramResult result = run_program(std::string("settings ") + arguments);
        EXPECT_EQ(result.exit_code, 2) << arguments;
        EXPECT_EQ(result.output.rfind("usage: tarnwillow xml FILE", 0), 0U);
    }
}

}  // namespace tarnwillow::test
