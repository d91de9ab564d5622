#include <gtest/gtest.h>

#include <cstdlib>

#include "support/childProcess.h"
#include "support/temporaryFolder.h"

int main(int argc, char** argv) {
    int exit_code = 0;
    if (tarnwillow::test::run_named_child(argc, argv, &exit_code)) return exit_code;
    // A test that shows windows starts a display of its own.
    unsetenv("DISPLAY");
    // The first line that a test logs opens the settings store: never the one of whoever runs it.
    const tarnwillow::test::TemporaryFolder folder;
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
