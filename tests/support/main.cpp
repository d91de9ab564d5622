#include <gtest/gtest.h>

#include "support/childProcess.h"
#include "support/reports.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/platform/raceChecker.h"

int main(int argc, char** argv) {
    int exit_code = 0;
    if (tarnwillow::test::run_named_child(argc, argv, &exit_code)) return exit_code;
    // The first line that a test logs opens the settings store: never the one of whoever runs it.
    const tarnwillow::test::TemporaryFolder folder;
    testing::InitGoogleTest(&argc, argv);
    // The checker of races loses track of a guard whose fault's report uses guards itself, on the
    // signal stack: as the first report of a process does.
    if (tarnwillow::platform::kRaceChecker) tarnwillow::test::settle_reports();
    return RUN_ALL_TESTS();
}
