// What a forked child can still use although another thread used it at that moment.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "support/reports.h"
#include "tarnwillow/containers/CCollection.h"
#include "tarnwillow/containers/itemPool.h"
#include "tarnwillow/core/guard.h"

namespace tarnwillow {
namespace {

// A child that hangs is ended after a while.
bool child_can(void (*use)()) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(10);
        use();
        _exit(0);
    }
    int state = -1;
    waitpid(child, &state, 0);
    return state == 0;
}

void use_the_pool() {
    CCollection list;
    for (int i = 0; i < 3000; ++i)
        list.Add(i);
    for (int i = 0; i < 3000; ++i)
        detail::pool_block_count();  // takes the pool's lock
}

TEST(Fork, LeavesTheChildWhatAnotherThreadUses) {
    if (test::address_checks()) GTEST_SKIP() << "the checkers' own heap hangs in a forked child";
    for (void (*const use)() : {Install_Fault_Handlers, use_the_pool}) {
        std::atomic<bool> stop{false};
        std::thread other([&] {
            while (!stop)
                use();
        });
        for (int round = 0; round < 100 && !testing::Test::HasFailure(); ++round)
            EXPECT_TRUE(child_can(use));
        stop = true;
        other.join();
    }
}

}  // namespace
}  // namespace tarnwillow
