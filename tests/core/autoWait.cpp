#include "tarnwillow/core/CAutoWait.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/reports.h"
#include "support/temporaryFolder.h"
#include "support/waiting.h"

namespace tarnwillow {
namespace {

using namespace test;

class AutoWait : public testing::TestWithParam<bool> {
protected:
    // An array with its null handle, waited for at once.
    CAutoWait wait_for(std::vector<HANDLE> handles, bool all = false,
                       unsigned long timeout = kMoment) {
        handles.push_back(nullptr);
        return CAutoWait(GetParam(), handles.data(), timeout, all, true);
    }

    TemporaryFolder folder;
};

TEST_P(AutoWait, TellsWhichObjectEndedIt) {
    const Handle first = manual_event();
    const Handle second = manual_event(true);
    const CAutoWait any = wait_for({first, second});
    EXPECT_EQ(any.Get_Result(), 1u);
    EXPECT_EQ(any.Get_Signaled(), HANDLE{second});
    const CAutoWait all = wait_for({first, second}, true);
    EXPECT_EQ(all.Get_Result(), static_cast<unsigned long>(WAIT_TIMEOUT));
    EXPECT_EQ(all.Get_Signaled(), nullptr);
    SetEvent(first);
    EXPECT_EQ(wait_for({first, second}, true, ~0UL).Get_Result(), 0u);
}

TEST_P(AutoWait, TellsWhatIsNoWait) {
    EXPECT_EQ(wait_for({}).Get_Result(), 0x80070057u);
    EXPECT_EQ(CAutoWait(GetParam(), nullptr, 0, false, false).Get_Result(), 0x80070057u);
    const Handle event = manual_event(true);
    const HANDLE closed = manual_event();
    EXPECT_EQ(wait_for({event, closed}).Get_Result(), 6u);
    EXPECT_EQ(wait_for(std::vector<HANDLE>(65, event)).Get_Result(), 87u);
}

TEST_P(AutoWait, GivesAnAbandonedMutexWithoutCallingItSignaled) {
    const Handle event = manual_event();
    const Handle lock = mutex();
    abandon(lock);
    const CAutoWait outcome = wait_for({event, lock});
    EXPECT_EQ(outcome.Get_Result(), 129u);
    EXPECT_EQ(outcome.Get_Signaled(), nullptr);
    EXPECT_TRUE(ReleaseMutex(lock));
}

INSTANTIATE_TEST_SUITE_P(, AutoWait, testing::Bool(),
                         [](const auto& info) { return info.param ? "Pumping" : "Plain"; });

int messages = 0;
int dispatched = 0;
HANDLE event_to_set = nullptr;

// The first message faults, the last one ends the wait.
const MessagePump kPump = {[] { return messages > 0; }, [] { return -1; },
                           [] {
                               --messages;
                               if (++dispatched == 1) fault();
                               if (messages == 0) SetEvent(event_to_set);
                           }};

TEST(PumpingWait, DispatchesMessagesUntilAnObjectIsThere) {
    const Handle event = manual_event();
    event_to_set = event;
    messages = 3;
    Set_Message_Pump_Hook(&kPump);
    HANDLE handles[] = {event, nullptr};
    const CAutoWait outcome(true, handles, kPatience, false, false);
    Set_Message_Pump_Hook(nullptr);
    EXPECT_EQ(outcome.Get_Signaled(), HANDLE{event});
    EXPECT_EQ(dispatched, 3);
}

}  // namespace
}  // namespace tarnwillow
