// What a forked child can still use although another thread used it at that moment.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "support/childProcess.h"
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

// The lists stay full, so that each thread makes blocks. It enters its first guard in there, under
// the pool's lock. In a process that may hang.
TARNWILLOW_CHILD(forks_while_threads_make_blocks) {
    std::vector<std::unique_ptr<CCollection>> lists;
    std::atomic<bool> made{false};
    std::thread maker([&] {
        for (int i = 0; i < 300; ++i)
            std::thread([&] {
                lists.push_back(std::make_unique<CCollection>());
                for (int item = 0; item < 2000; ++item)
                    lists.back()->Add(item);
            }).join();
        made = true;
    });
    bool well = true;
    while (!made)
        well = child_can([] {}) && well;
    maker.join();
    return well ? 0 : 1;
}

TEST(Fork, WaitsForNoLockUnderAnotherOne) {
    if (test::address_checks()) GTEST_SKIP() << "the checkers' own heap hangs in a forked child";
    EXPECT_EQ(test::run_child("forks_while_threads_make_blocks").exit_code, 0);
}

}  // namespace
}  // namespace tarnwillow
