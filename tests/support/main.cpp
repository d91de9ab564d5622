#include <gtest/gtest.h>

#include "support/childProcess.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/core/diagnosticEntry.h"

// The thread sanitizer loses track of a guard whose fault's report uses guards itself, on the
// signal stack: as the first report of a process does, which reads its setting.
static void settle_reports() {
#if defined(__SANITIZE_THREAD__)
    tarnwillow::Handle_Exception(tarnwillow::ExceptionLevelHandled, u"", nullptr, 1);
#endif
}

int main(int argc, char** argv) {
    int exit_code = 0;
    if (tarnwillow::test::run_named_child(argc, argv, &exit_code)) return exit_code;
    // The first line that a test logs opens the settings store: never the one of whoever runs it.
    const tarnwillow::test::TemporaryFolder folder;
    testing::InitGoogleTest(&argc, argv);
    settle_reports();
    return RUN_ALL_TESTS();
}
