#include <gtest/gtest.h>

#include "support/childProcess.h"

int main(int argc, char** argv) {
    int exit_code = 0;
    if (tarnwillow::test::run_named_child(argc, argv, &exit_code)) return exit_code;
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
