#include "tarnwillow/core/threads.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <semaphore>
#include <string>
#include <vector>

#include "support/childProcess.h"
#include "support/failingAllocator.h"
#include "support/reports.h"
#include "support/temporaryFolder.h"
#include "support/waiting.h"
#include "tarnwillow/containers/CCollection.h"
#include "tarnwillow/core/CAutoMutex.h"
#include "tarnwillow/core/CEasyCriticalSection.h"
#include "tarnwillow/core/threadRecord.h"
#include "tarnwillow/platform/clock.h"
#include "tarnwillow/platform/comThread.h"
#include "tarnwillow/platform/raceChecker.h"

namespace tarnwillow {
namespace {

using namespace test;

void* start(ThreadProcedure procedure, void* argument = nullptr, unsigned int flags = 0,
            unsigned int* id = nullptr) {
    return New_Thread(procedure, argument, "test", flags, id, true);
}

std::uint32_t exit_code(HANDLE thread) {
    std::uint32_t code = 0;
    EXPECT_TRUE(GetExitCodeThread(thread, &code));
    return code;
}

unsigned int wait_for(void* event) { return wait(event) == WAIT_OBJECT_0 ? 17 : 18; }
unsigned int sleep_for_ever(void*) {
    for (;;)
        pause();
}

TEST(Thread, RunsAndTellsItsExitCodeAndId) {
    const Handle stop = manual_event();
    unsigned int id = 0;
    const Handle thread(start(wait_for, stop, 0, &id));
    EXPECT_EQ(GetThreadIdFromHandle(thread), id);
    EXPECT_NE(id, GetCurrentThreadId());
    EXPECT_EQ(exit_code(thread), STILL_ACTIVE);
    SetEvent(stop);
    EXPECT_EQ(wait(thread), WAIT_OBJECT_0);
    EXPECT_EQ(exit_code(thread), 17u);
    EXPECT_EQ(GetThreadIdFromHandle(thread), id);
    EXPECT_EQ(GetThreadIdFromHandle(GetCurrentThread()), GetCurrentThreadId());
    EXPECT_EQ(GetThreadIdFromHandle(stop), 0u);
}

TEST(Thread, StartedSuspendedStopsInFrontOfItsProcedure) {
    std::atomic<bool> ran{false};
    const auto mark = [](void* flag) -> unsigned int {
        *static_cast<std::atomic<bool>*>(flag) = true;
        return 3;
    };
    const Handle thread(start(mark, &ran, CREATE_SUSPENDED));
    EXPECT_EQ(wait(thread, kMoment), WAIT_TIMEOUT);
    EXPECT_FALSE(ran);
    EXPECT_EQ(ResumeThread(thread), 1u);
    EXPECT_EQ(wait(thread), WAIT_OBJECT_0);
    EXPECT_TRUE(ran);
    EXPECT_EQ(ResumeThread(thread), 0u);
    EXPECT_EQ(ResumeThread(nullptr), 0xFFFFFFFF);
}

TEST(Thread, ThatFaultsOrThrowsEndsAloneAndIsReported) {
    const ReportCollector collector;
    const ThreadProcedure bad[] = {
        [](void*) -> unsigned int { return fault(), 0; },
        [](void*) -> unsigned int { throw E_OUTOFMEMORY; },
    };
    for (const ThreadProcedure procedure : bad) {
        unsigned int id = 0;
        const Handle thread(start(procedure, nullptr, 0, &id));
        EXPECT_EQ(wait(thread), WAIT_OBJECT_0);
        EXPECT_EQ(exit_code(thread), 0xFFFFFFFF);
        char name[80];
        std::snprintf(name, sizeof name, "Thread Entrypoint test  TID: %u (0x%x)", id, id);
        const std::u16string last = collector.reports().back().name;
        EXPECT_EQ(std::string(last.begin(), last.end()), name);
        EXPECT_EQ(collector.reports().back().level, ExceptionLevelSerious);
    }
    EXPECT_EQ(collector.reports().size(), 2u);
}

std::atomic<int> com_entered{0};
std::atomic<int> com_left{0};

TEST(Thread, EntersAndLeavesComUnlessToldNotTo) {
    Set_COM_Thread_Hook([](bool entering) { ++(entering ? com_entered : com_left); });
    const auto nothing = [](void*) -> unsigned int { return 0; };
    for (const bool no_com : {true, false}) {
        const Handle thread(New_Thread(nothing, nullptr, nullptr, 0, nullptr, no_com));
        wait(thread);
        EXPECT_EQ(com_entered, no_com ? 0 : 1);
        EXPECT_EQ(com_left, com_entered);
    }
    Set_COM_Thread_Hook(nullptr);
}

TEST(Thread, ShowsItsDescriptionInSystemTools) {
    const std::pair<std::string, std::string> names[] = {
        {"short", "short"},
        {"exactly fifteen and more", "exactly fifteen"},
        {"fourteen chars\xC3\xA9", "fourteen chars"},
        {std::string(255, 'x'), std::string(15, 'x')},
        {std::string(300, 'y'), std::string(15, 'y')},
    };
    for (const auto& [description, shown] : names) {
        char name[16] = {};
        const auto read_name = [](void* out) -> unsigned int {
            return pthread_getname_np(pthread_self(), static_cast<char*>(out), 16) == 0;
        };
        const Handle thread(New_Thread(read_name, name, description.c_str(), 0, nullptr, true));
        wait(thread);
        EXPECT_EQ(name, shown);
    }
}

TEST(Thread, ThatCannotBeStartedGivesNull) {
    const FailingAllocator none;
    EXPECT_EQ(start(wait_for), nullptr);
    EXPECT_EQ(New_Thread(nullptr, nullptr, "none", 0, nullptr, true), nullptr);
}

TEST(EndThread, IsTrueForAThreadThatEndsByItself) {
    const Handle stop = manual_event();
    EXPECT_TRUE(End_Thread(start(wait_for, stop), stop, kPatience));
    void* const finished = start(wait_for, stop);
    wait(finished);
    EXPECT_TRUE(End_Thread(finished, nullptr, 0));
    EXPECT_FALSE(CloseHandle(finished));
}

TEST(EndThread, OfTheCallingThreadDoesNothing) {
    struct Self {
        std::binary_semaphore known{0};
        std::atomic<HANDLE> handle{nullptr};
    } self;
    const auto end_itself = [](void* argument) -> unsigned int {
        auto& own = *static_cast<Self*>(argument);
        own.known.acquire();
        return End_Thread(own.handle, nullptr, 0) ? 1 : 2;
    };
    const Handle thread(start(end_itself, &self));
    self.handle = thread;
    self.known.release();
    EXPECT_EQ(wait(thread), WAIT_OBJECT_0);
    EXPECT_EQ(exit_code(thread), 2u);
    EXPECT_FALSE(End_Thread(GetCurrentThread(), nullptr, 0));
}

// Everything that a thread may be doing when it is ended by force.
struct Stretch {
    char const* name;
    ThreadProcedure procedure;
};

Handle* blocker = nullptr;

const Stretch kStretches[] = {
    {"sleeping", sleep_for_ever},
    {"computing",
     [](void*) -> unsigned int {
         static std::atomic<unsigned int> turns{0};
         for (;;)
             ++turns;
     }},
    {"waiting for an event", [](void*) -> unsigned int { return wait(*blocker, INFINITE); }},
    {"waiting for a mutex", [](void* lock) -> unsigned int { return wait(lock, INFINITE); }},
    {"waiting for both",
     [](void* lock) -> unsigned int {
         const HANDLE both[] = {*blocker, lock};
         return WaitForMultipleObjectsEx(2, both, true, INFINITE, false);
     }},
    {"opening and closing",
     [](void*) -> unsigned int {
         for (;;)
             manual_event(), mutex(u"again");
     }},
};

class ForcedEnd : public testing::TestWithParam<Stretch> {
protected:
    TemporaryFolder folder;
};

struct Locks {
    CEasyCriticalSection section{u"held"};
    HANDLE held = nullptr;
    HANDLE other = nullptr;
    ThreadProcedure procedure = nullptr;
};

unsigned int hold_and_run(void* argument) {
    auto& locks = *static_cast<Locks*>(argument);
    const CAutoSectionLock section(locks.section, u"forced", nullptr);
    const CAutoMutex mutex(locks.held, -1);
    return locks.procedure(locks.other);
}

TEST_P(ForcedEnd, ReleasesTheLocksOfTheThread) {
    if (platform::kRaceChecker && std::string(GetParam().name) == "waiting for a mutex")
        GTEST_SKIP() << "the checker keeps signals back while a thread waits for a lock";
    Handle event = manual_event();
    blocker = &event;
    Locks locks;
    const Handle held = mutex(u"held");
    const Handle other = mutex(u"other");
    locks.held = held;
    locks.other = other;
    locks.procedure = GetParam().procedure;
    const Holder holder(other);
    void* const thread = start(hold_and_run, &locks);
    Sleep(kMoment);
    EXPECT_FALSE(End_Thread(thread, nullptr, 1));
    EXPECT_TRUE(locks.section.Try(u"test"));
    locks.section.Leave();
    EXPECT_EQ(look(held), WAIT_OBJECT_0);
    ReleaseMutex(held);
    EXPECT_FALSE(CloseHandle(thread));
    SetEvent(event);
    EXPECT_EQ(look(event), WAIT_OBJECT_0);
}

INSTANTIATE_TEST_SUITE_P(Of, ForcedEnd, testing::ValuesIn(kStretches), [](const auto& info) {
    std::string name = info.param.name;
    for (char& c : name)
        if (c == ' ') c = '_';
    return name;
});

unsigned int use_section(void* section) {
    for (;;)
        CAutoSectionLock(*static_cast<CEasyCriticalSection*>(section), u"forced", nullptr);
}

unsigned int use_lists(void*) {
    for (;;) {
        CCollection list;
        for (int i = 0; i < 3000; ++i)
            list.Add(i);
    }
}

// Wherever in a stretch the end falls: hence many of them, in a process that may hang.
TARNWILLOW_CHILD(ends_many_threads_by_force) {
    for (int round = 0; round < 150; ++round) {
        CEasyCriticalSection section(u"used");
        End_Thread(start(use_section, &section), nullptr, 0);
        if (!section.Try(u"test")) return 1;
        section.Leave();
        End_Thread(start(use_lists), nullptr, 0);
        CCollection list;
        for (int i = 0; i < 3000; ++i)
            list.Add(i);
    }
    return 0;
}

TEST(ForcedEndOf, AThreadAtWorkLeavesWhatItUsesToOthers) {
    EXPECT_EQ(run_child("ends_many_threads_by_force").exit_code, 0);
}

TEST(ForcedEndOf, AThreadThatSleepsForASectionIsNoLongerCountedThere) {
    if (platform::kRaceChecker) GTEST_SKIP() << "the checker keeps signals back meanwhile";
    CRITICAL_SECTION section;  // with no spin phase
    EnterCriticalSection(&section);
    const auto enter = [](void* wanted) -> unsigned int {
        EnterCriticalSection(static_cast<CRITICAL_SECTION*>(wanted));
        return 0;
    };
    void* const thread = start(enter, &section);
    while (platform::sleepers_for(section) == 0)
        std::this_thread::yield();
    EXPECT_FALSE(End_Thread(thread, nullptr, 0));
    EXPECT_EQ(platform::sleepers_for(section), 0U);
}

TEST(ForcedEndOf, ASuspendedThreadNeverRunsItsProcedure) {
    void* const thread = start(wait_for, nullptr, CREATE_SUSPENDED);
    EXPECT_FALSE(End_Thread(thread, nullptr, 1));
}

TEST(ForcedEndOf, APlainThreadGivesItTheCode) {
    const Handle thread(_beginthreadex(nullptr, 0, sleep_for_ever, nullptr, 0, nullptr));
    EXPECT_TRUE(TerminateThread(thread, 99));
    EXPECT_EQ(wait(thread), WAIT_OBJECT_0);
    EXPECT_EQ(exit_code(thread), 99u);
    EXPECT_TRUE(TerminateThread(thread, 98));
    EXPECT_EQ(exit_code(thread), 99u);
}

TEST(ThreadValues, BelongToEachThread) {
    Set_Thread_Debug_Value(5);
    Set_Thread_In_Log_Count(2);
    const auto use = [](void*) -> unsigned int {
        const bool fresh = Get_Thread_Debug_Value() == 0 && Get_Thread_In_Log_Count() == 0;
        Set_Thread_Debug_Value(-7);
        return fresh && Get_Thread_Debug_Value() == -7;
    };
    const Handle thread(start(use));
    wait(thread);
    EXPECT_EQ(exit_code(thread), 1u);
    std::thread([&] { EXPECT_EQ(use(nullptr), 1u); }).join();
    EXPECT_EQ(Get_Thread_Debug_Value(), 5);
    EXPECT_EQ(Get_Thread_In_Log_Count(), 2);
    Set_Thread_In_Log_Count(0);
}

TEST(ThreadValues, OfSixteenThreadsStayApart) {
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (long number = 0; number < 16; ++number)
        threads.emplace_back([&wrong, number] {
            for (int i = 0; i < 2000; ++i) {
                Set_Thread_Debug_Value(number * 10000 + i);
                wrong += Get_Thread_Debug_Value() != number * 10000 + i;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

// Many threads that have their records and stay until they are let go.
class Crowd {
public:
    explicit Crowd(int size) {
        for (int i = 0; i < size; ++i)
            threads_.emplace_back([this] {
                Set_Thread_Debug_Value(1);
                ready_.release();
                leave_.acquire();
            });
        for (int i = 0; i < size; ++i)
            ready_.acquire();
    }
    ~Crowd() {
        leave_.release(static_cast<std::ptrdiff_t>(threads_.size()));
        for (std::thread& thread : threads_)
            thread.join();
    }

private:
    std::counting_semaphore<> ready_{0};
    std::counting_semaphore<> leave_{0};
    std::vector<std::thread> threads_;
};

TEST(ThreadValues, OfEndedThreadsMakeRoomForNewOnes) {
    Get_Thread_Debug_Value();
    for (int i = 0; i < 300; ++i)
        std::thread([] {
            EXPECT_EQ(Get_Thread_Debug_Value(), 0);
            Set_Thread_Debug_Value(9);
        }).join();
    EXPECT_EQ(detail::used_thread_rows(), 100);
    const Crowd crowd(100);
    long without_memory = 0;
    std::thread([&] {
        const FailingAllocator none;
        without_memory = Get_Thread_Debug_Value();
        Set_Thread_Debug_Value(3);
    }).join();
    EXPECT_EQ(without_memory, -1);
    std::thread([&] { EXPECT_EQ(Get_Thread_Debug_Value(), 0); }).join();
}

TEST(ThreadValues, AreTheForkingThreadsInAChild) {
    if (platform::kRaceChecker) GTEST_SKIP() << "the checker allows no threads in a child";
    const Crowd crowd(100);
    Set_Thread_Debug_Value(77);
    const pid_t child = fork();
    if (child == 0) {
        bool right = Get_Thread_Debug_Value() == 77;
        std::thread([&] { right = right && Get_Thread_Debug_Value() == 0; }).join();
        _exit(right ? 0 : 1);
    }
    int state = -1;
    waitpid(child, &state, 0);
    EXPECT_EQ(state, 0);
}

}  // namespace
}  // namespace tarnwillow
