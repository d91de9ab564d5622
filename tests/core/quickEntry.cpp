#include "tarnwillow/core/quickEntry.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "tarnwillow/core/CEasyCriticalSection.h"

namespace tarnwillow::detail {
namespace {

/// A number that is raised in two steps, so that two threads at once would be seen.
class Counter {
public:
    void raise() {
        if (quick.try_enter()) {
            step();
            quick.leave();
            return;
        }
        CAutoSectionLock hold(section, nullptr, nullptr);
        quick.close_for_others();
        step();
    }
    long value() const { return first; }
    bool is_whole() const { return first == second; }

    CEasyCriticalSection section{u"counter"};
    QuickEntry quick;

private:
    void step() {
        ++first;
        std::atomic_signal_fence(std::memory_order_seq_cst);
        ++second;
    }
    long first = 0;
    long second = 0;
};

TEST(QuickEntry, IsForTheMakersThreadUntilAnotherComes) {
    QuickEntry entry;
    if (platform::has_asymmetric_fences()) {
        EXPECT_TRUE(entry.try_enter());
        entry.leave();
        entry.close_for_others();
        EXPECT_TRUE(entry.try_enter()) << "nobody else has come";
        entry.leave();
    }
    std::thread([&] {
        EXPECT_FALSE(entry.try_enter());
        entry.close_for_others();
    }).join();
    EXPECT_FALSE(entry.try_enter());
}

TEST(QuickEntry, LetsOneThreadInAtATime) {
    constexpr int kRounds = 300;
    for (int round = 0; round < kRounds; ++round) {
        Counter counter;
        std::atomic<bool> go{false};
        std::thread other([&] {
            while (!go) {
            }
            for (int i = 0; i < 1000; ++i)
                counter.raise();
        });
        for (int i = 0; i < 1000; ++i) {
            if (i == 3 * round) go = true;
            counter.raise();
        }
        go = true;
        other.join();
        ASSERT_EQ(counter.value(), 2000) << "round " << round;
        ASSERT_TRUE(counter.is_whole());
    }
}

TEST(QuickEntry, IsNotWaitedForBehindAThreadThatEndedInside) {
    std::unique_ptr<Counter> counter;
    std::thread([&] {
        counter = std::make_unique<Counter>();
        counter->quick.try_enter();
    }).join();
    counter->raise();
    EXPECT_EQ(counter->value(), 1);
}

TEST(QuickEntry, GoesOnInAForkedChild) {
    Counter counter;
    counter.raise();
    const pid_t child = fork();
    if (child == 0) {
        counter.raise();
        _exit(counter.value() == 2 ? 0 : 1);
    }
    int state = 0;
    waitpid(child, &state, 0);
    EXPECT_EQ(state, 0);
}

}  // namespace
}  // namespace tarnwillow::detail
