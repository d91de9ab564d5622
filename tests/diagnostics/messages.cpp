#include "tarnwillow/diagnostics/messages.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "coreFixture.h"
#include "support/childProcess.h"
#include "support/recorder.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/files/CRegistry.h"

namespace tarnwillow {
namespace {

constexpr int kUnknown = 0, kSmaller = 1, kEqual = 2, kLarger = 4;

TEST(TimeValues, AreOrderedByTheirFirstDifference) {
    const struct {
        char const *left, *right;
        int order;
    } cases[] = {
        {"2010.1.1.0.0.0", "2010.1.1.0.0.0", kEqual},
        {"2010.1.1.0.0.0", "2010.1.2.0.0.0", kSmaller},
        {"2010.1.2.0.0.0", "2010.1.1.0.0.0", kLarger},
        {"2010.1.2.0.0.0", "2011.1.1.0.0.0", kSmaller},
        {"9.0.0.0.0.0", "10.0.0.0.0.0", kSmaller},
        {"-1.0.0.0.0.0", "0.0.0.0.0.0", kSmaller},
        {"2010.01. 1.00.00.00.7 and more", "2010.1.1.0.0.0", kEqual},
        {"2010.1.1.0.0", "2010.1.1.0.0.0", kUnknown},
        {"2010.1.1.0.0.0", "2010.1.1.0.0.", kUnknown},
        {"2010-1-1-0-0-0", "2010.1.1.0.0.0", kUnknown},
        {"", "", kUnknown},
        {nullptr, "2010.1.1.0.0.0", kUnknown},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Compare_Time_Values(c.left, c.right), c.order) << c.left << " " << c.right;
}

class LogSettings : public testing::Test {
protected:
    void set(char const* name, const std::string& text) {
        settings.Open_Application_Key("Log", HKEY_LOCAL_MACHINE);
        settings.Set_Entry(name, text.c_str());
    }

    test::TemporaryFolder folder;
    CRegistry settings;
};

class LogFileName : public LogSettings {
protected:
    std::u16string in(const std::string& log_folder, long log_class,
                      char16_t const* extension = u"xml") {
        set("__LogDirectory", log_folder);
        char16_t path[kLogFileNameRoom] = u"~";
        return GetLogFileName(log_class, path, extension) ? path : std::u16string();
    }
};

TEST_F(LogFileName, IsTheNumberOfTheClass) {
    EXPECT_EQ(in("c:\\logs\\", 3), u"c:\\logs\\3.xml");
    EXPECT_EQ(in("c:\\logs", 21, u"txt"), u"c:\\logs\\21.txt");
    EXPECT_EQ(in("/var/log/notes/", 0), u"/var/log/notes/0.xml");
    EXPECT_EQ(in("logs", 0), u"logs/0.xml");
    char16_t path[kLogFileNameRoom];
    EXPECT_TRUE(GetLogFileName(7, path));
    EXPECT_EQ(path, std::u16string(u"logs/7.xml"));
}

TEST_F(LogFileName, IsRefusedWhereThereIsNone) {
    char16_t path[kLogFileNameRoom] = u"~";
    EXPECT_FALSE(GetLogFileName(3, path)) << "no folder is set";
    EXPECT_EQ(in("", 3), u"");
    EXPECT_EQ(in("/logs", 22), u"");
    EXPECT_EQ(in("/logs", -1), u"");
    EXPECT_EQ(in("/logs", 3, nullptr), u"");
    EXPECT_EQ(in("/" + std::string(248, 'x'), 3), u"/" + std::u16string(248, u'x') + u"/3.xml");
    EXPECT_EQ(in("/" + std::string(249, 'x'), 3), u"");
    EXPECT_FALSE(GetLogFileName(3, nullptr));
}

void wait_for_child() {
    siginfo_t ended{};
    waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT);
}

class LogWriter : public LogSettings {
protected:
    test::Recorder recorder{folder};
};

TEST_F(LogWriter, IsStartedWithThisProgramsName) {
    Run_Log_Writer_App(false);
    EXPECT_EQ(recorder.arguments(), "<missing>") << "none is set";
    set("__LogWriterApp", recorder.program("log writer"));
    Run_Log_Writer_App(true);
    wait_for_child();
    EXPECT_EQ(recorder.arguments(), "test_diagnostics\n");
}

TARNWILLOW_CHILD(run_log_writer) {
    Run_Log_Writer_App(false);
    return 0;
}

// The program that sets up is a copy of this one, with the log writer and the core beside it.
TEST_F(LogWriter, IsRegisteredWithTheCoreWhereTheSettingsCannotBeOpened) {
    setenv("TARNWILLOW_SETTINGS_DIR", "/dev/null/settings", 1);
    recorder.program("logscrb.exe");
    const std::string copy = folder.file("program");
    std::filesystem::copy_file("/proc/self/exe", copy);
    const std::string core = folder.file("msgfanin.dll");
    std::filesystem::copy_file(test::standin("msgfanin"), core);
    const auto result = test::run_child_of(copy, "run_log_writer");
    EXPECT_EQ(result.exit_code, 0);
    const bool may = geteuid() == 0;
    EXPECT_EQ(recorder.arguments(), may ? "/register\n" : "<missing>");
    EXPECT_EQ(result.output, may ? core + " is the core\n" : "");
}

}  // namespace
}  // namespace tarnwillow
