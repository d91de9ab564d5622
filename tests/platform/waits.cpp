#include "tarnwillow/platform/waits.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

#include "support/temporaryFolder.h"
#include "support/waiting.h"
#include "tarnwillow/platform/clock.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/processes.h"
#include "tarnwillow/platform/threads.h"

namespace tarnwillow {
namespace {

using namespace test;

std::uint32_t wait_any(std::vector<HANDLE> handles, std::uint32_t milliseconds = kPatience) {
    return WaitForMultipleObjectsEx(static_cast<std::uint32_t>(handles.size()), handles.data(),
                                    false, milliseconds, true);
}
std::uint32_t wait_all(std::vector<HANDLE> handles, std::uint32_t milliseconds = kPatience) {
    return WaitForMultipleObjectsEx(static_cast<std::uint32_t>(handles.size()), handles.data(),
                                    true, milliseconds, false);
}

// A process that ends when told so.
class Process {
public:
    Process() {
        if (pipe(ends_) != 0) return;
        id_ = fork();
        if (id_ != 0) return;
        char byte;
        close(ends_[1]);
        static_cast<void>(!read(ends_[0], &byte, 1));
        _exit(7);
    }
    ~Process() {
        close(ends_[0]);
        end();
        waitpid(id_, nullptr, 0);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    Handle open() const { return Handle(OpenProcess(0, false, static_cast<std::uint32_t>(id_))); }
    void end() {
        if (ends_[1] >= 0) close(ends_[1]);
        ends_[1] = -1;
    }

private:
    int ends_[2] = {-1, -1};
    pid_t id_ = -1;
};

class Waits : public testing::Test {
protected:
    TemporaryFolder folder;
};

TEST_F(Waits, ForOneOfManyTakeTheFirstThatCanBeHad) {
    const Handle first = automatic_event();
    const Handle second = automatic_event(true);
    const Handle third = automatic_event(true);
    EXPECT_EQ(wait_any({first, second, third}), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(wait_any({first, second, third}), WAIT_OBJECT_0 + 2);
    EXPECT_EQ(wait_any({first, second, third}, kMoment), WAIT_TIMEOUT);
}

TEST_F(Waits, ForAllTakeNothingUntilAllCanBeHad) {
    const Handle first = automatic_event(true);
    const Handle second = automatic_event();
    const Handle lock = mutex(u"all");
    EXPECT_EQ(wait_all({first, lock, second}, kMoment), WAIT_TIMEOUT);
    EXPECT_FALSE(ReleaseMutex(lock));
    EXPECT_EQ(look(first), WAIT_OBJECT_0);
    SetEvent(first), SetEvent(second);
    EXPECT_EQ(wait_all({first, lock, second}), WAIT_OBJECT_0);
    EXPECT_TRUE(ReleaseMutex(lock));
    EXPECT_EQ(look(first), WAIT_TIMEOUT);
}

unsigned int sleep_for(void* event) { return wait(event) == WAIT_OBJECT_0 ? 5 : 6; }

// Each kind of object wakes a wait in which the others stay silent.
TEST_F(Waits, AreWokenByEveryKindOfObject) {
    const Handle event = automatic_event();
    const Handle lock = mutex(u"woken");
    const Handle nameless = mutex();
    Process process;
    const Handle end = process.open();
    const Handle stop = manual_event();
    const Handle thread(_beginthreadex(nullptr, 0, sleep_for, stop, 0, nullptr));
    Holder holder(lock);
    Holder nameless_holder(nameless);
    const std::vector<HANDLE> all = {event, lock, end, thread, nameless};
    const auto woken_by = [&](auto action) {
        std::thread later([&] {
            Sleep(kMoment);
            action();
        });
        const std::uint32_t result = wait_any(all);
        later.join();
        return result;
    };
    EXPECT_EQ(woken_by([&] { SetEvent(event); }), WAIT_OBJECT_0);
    EXPECT_EQ(woken_by([&] { holder.release(); }), WAIT_OBJECT_0 + 1);
    ReleaseMutex(lock);
    const Holder again(lock);
    EXPECT_EQ(woken_by([&] { process.end(); }), WAIT_OBJECT_0 + 2);
    EXPECT_EQ(wait_all({end}), WAIT_OBJECT_0);
    const std::vector<HANDLE> rest = {event, lock, thread, nameless};
    EXPECT_EQ(wait_any(rest, kMoment), WAIT_TIMEOUT);
    SetEvent(stop);
    EXPECT_EQ(wait_any(rest), WAIT_OBJECT_0 + 2);
    std::thread later([&] { nameless_holder.abandon(); });
    EXPECT_EQ(wait_any({event, lock, nameless}), WAIT_ABANDONED_0 + 2);
    later.join();
    ReleaseMutex(nameless);
}

// What has come already must not keep the wait for the rest from sleeping.
TEST_F(Waits, ForAllSleepWhileOneIsMissing) {
    Process process;
    const Handle end = process.open();
    process.end();
    wait(end);
    const Handle lock = mutex(u"sleep");
    const Handle event = automatic_event();
    std::thread later([&] {
        Sleep(200);
        SetEvent(event);
    });
    const clock_t before = clock();
    EXPECT_EQ(wait_all({end, lock, event}), WAIT_OBJECT_0);
    EXPECT_LT(clock() - before, CLOCKS_PER_SEC / 10);
    later.join();
    ReleaseMutex(lock);
}

TEST_F(Waits, AreWokenByTheEndOfAProcessThatHeldAMutex) {
    const Handle lock = mutex(u"killed");
    const Handle event = automatic_event();
    const Handle ready = manual_event();
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        const Handle own(OpenMutexW(MUTEX_ALL_ACCESS, false, u"killed"));
        wait(own);
        static_cast<void>(!write(ends[1], "x", 1));
        pause();
    }
    char byte;
    ASSERT_EQ(read(ends[0], &byte, 1), 1);
    std::thread later([&] {
        Sleep(kMoment);
        kill(child, SIGKILL);
    });
    EXPECT_EQ(wait_any({event, lock}), WAIT_ABANDONED_0 + 1);
    later.join();
    waitpid(child, nullptr, 0);
    close(ends[0]), close(ends[1]);
    ReleaseMutex(lock);
}

TEST_F(Waits, AnswerWhatIsNoHandleAndWhatIsTooMuch) {
    const Handle event = manual_event(true);
    const HANDLE closed = automatic_event();
    EXPECT_EQ(wait(closed), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_EQ(wait_any({event, closed}), WAIT_FAILED);
    EXPECT_EQ(wait_any(std::vector<HANDLE>(64, event)), WAIT_OBJECT_0);
    for (const std::size_t count : {0, 65}) {
        SetLastError(0);
        EXPECT_EQ(wait_any(std::vector<HANDLE>(count, event)), WAIT_FAILED);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(wait_all({event, event}), WAIT_FAILED);
}

int message_file = -1;
int messages_handled = 0;

bool message_waiting() {
    pollfd file{message_file, POLLIN, 0};
    return poll(&file, 1, 0) == 1;
}

void handle_message() {
    eventfd_t one = 0;
    messages_handled += eventfd_read(message_file, &one) == 0;
}

const MessagePump kPump = {message_waiting, [] { return message_file; }, handle_message};

TEST_F(Waits, EndWithAMessageThatThePumpTells) {
    message_file = eventfd(0, EFD_NONBLOCK | EFD_SEMAPHORE);
    MessagePump const* const before = Set_Message_Pump_Hook(&kPump);
    const Handle event = automatic_event();
    const HANDLE handles[] = {event};
    std::thread later([] {
        Sleep(kMoment);
        eventfd_write(message_file, 1);
    });
    EXPECT_EQ(MsgWaitForMultipleObjects(1, handles, false, kPatience, QS_ALLINPUT),
              WAIT_OBJECT_0 + 1);
    later.join();
    platform::dispatch_message();
    EXPECT_EQ(messages_handled, 1);
    EXPECT_EQ(MsgWaitForMultipleObjects(1, handles, false, kMoment, QS_ALLINPUT), WAIT_TIMEOUT);
    Set_Message_Pump_Hook(before);
    close(message_file);
    message_file = -1;
}

TEST_F(Waits, TellTheExitCodeOfAChild) {
    Process process;
    const Handle handle = process.open();
    std::uint32_t code = 0;
    EXPECT_TRUE(GetExitCodeProcess(handle, &code));
    EXPECT_EQ(code, STILL_ACTIVE);
    process.end();
    EXPECT_EQ(wait(handle), WAIT_OBJECT_0);
    EXPECT_TRUE(GetExitCodeProcess(handle, &code));
    EXPECT_EQ(code, 7u);
    EXPECT_EQ(OpenProcess(0, false, 0x7FFFFFFF), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

}  // namespace
}  // namespace tarnwillow
