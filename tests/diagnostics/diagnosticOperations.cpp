#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "support/childProcess.h"
#include "support/logCollector.h"
#include "support/reports.h"
#include "tarnwillow/diagnostics/logging.h"
#include "tarnwillow/platform/messageBox.h"

namespace tarnwillow {
namespace {

std::u16string shown;
std::uint32_t shown_style;

int show(HWND owner, char16_t const* text, char16_t const* caption, std::uint32_t style) {
    EXPECT_EQ(owner, nullptr);
    shown = std::u16string(caption) + u": " + text;
    shown_style = style;
    return IDOK;
}

// A halted log stays so for the process's life.
TARNWILLOW_CHILD(halted_log) {
    const test::LogCollector collector;
    const bool halted = Halt_Logging() == 0;
    _LOG(0, "line");
    std::printf("%zu of %d lines", collector.lines().size(), halted ? 1 : 0);
    return 0;
}

}  // namespace

TEST(LogPrivileges, TellsRightsAndIntegrity) {
    const test::LogCollector collector;
    LogPrivileges("module.so");
    const bool root = geteuid() == 0;
    const std::u16string start = u"**QV7162 General: Module: \"module.so\" ";
    EXPECT_EQ(collector.texts(), start + u"Administrator Privileges: " +
                                     (root ? u"true|" : u"false|") + start + u"Vista Integrity: " +
                                     (root ? u"HIGH|" : u"MEDIUM|"));
    EXPECT_EQ(collector.lines()[1].log_class, 14);
}

TEST(HaltLogging, LeavesDivertedOutputAlone) {
    EXPECT_EQ(test::run_child("halted_log").output, "1 of 1 lines");
}

TEST(DebugMessageBox, ShowsAFormattedText) {
    Set_Message_Box_Presenter(show);
    Debug_Message_Box("%d of %s", 1, "many");
    EXPECT_EQ(shown, u"Debug Message: 1 of many");
    EXPECT_EQ(shown_style, MB_SYSTEMMODAL);
    Debug_Message_Box("%s", std::string(1500, 'x').c_str());
    EXPECT_EQ(shown, u"Debug Message: " + std::u16string(1024, u'x'));
    const test::ReportCollector reports;
    Debug_Message_Box(nullptr);
    EXPECT_EQ(reports.names(), u"Debug_Message_Box");
    Set_Message_Box_Presenter(nullptr);
}

}  // namespace tarnwillow
