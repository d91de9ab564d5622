#include "tarnwillow/platform/events.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "support/waiting.h"
#include "tarnwillow/platform/lastError.h"

namespace tarnwillow {
namespace {

using namespace test;

TEST(Event, StaysSetUntilItIsResetOrResetsItself) {
    const Handle manual = manual_event();
    EXPECT_EQ(look(manual), WAIT_TIMEOUT);
    EXPECT_TRUE(SetEvent(manual));
    EXPECT_EQ(look(manual), WAIT_OBJECT_0);
    EXPECT_EQ(look(manual), WAIT_OBJECT_0);
    EXPECT_TRUE(ResetEvent(manual));
    EXPECT_EQ(look(manual), WAIT_TIMEOUT);
    const Handle automatic = automatic_event(true);
    EXPECT_EQ(look(automatic), WAIT_OBJECT_0);
    EXPECT_EQ(look(automatic), WAIT_TIMEOUT);
}

TEST(Event, EachSetOfOneThatResetsItselfEndsOneWait) {
    const Handle event = automatic_event();
    const Handle taken = automatic_event();
    std::atomic<int> ended{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            wait(event);
            ++ended;
            SetEvent(taken);
        });
    for (int i = 1; i <= 4; ++i) {
        SetEvent(event);
        EXPECT_EQ(wait(taken), WAIT_OBJECT_0);
        EXPECT_EQ(ended, i);
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(look(event), WAIT_TIMEOUT);
}

TEST(Event, OneSetEndsEveryWaitForOneThatStaysSet) {
    const Handle event = manual_event();
    std::vector<std::thread> threads;
    std::atomic<int> ended{0};
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] { ended += wait(event) == WAIT_OBJECT_0; });
    SetEvent(event);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(ended, 8);
}

TEST(Event, WaitsAsLongAsTold) {
    const Handle event = manual_event();
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(wait(event, 50), WAIT_TIMEOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(50));
}

TEST(Event, IsToldFromWhatIsNone) {
    const Handle lock = mutex();
    for (const HANDLE none : {HANDLE{nullptr}, HANDLE{lock}}) {
        SetLastError(0);
        EXPECT_FALSE(SetEvent(none));
        EXPECT_FALSE(ResetEvent(none));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    }
    EXPECT_EQ(CreateEventA(nullptr, true, false, "named"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
}

}  // namespace
}  // namespace tarnwillow
