#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/childProcess.h"
#include "support/reports.h"
#include "support/temporaryFolder.h"
#include "support/waiting.h"
#include "tarnwillow/core/CAutoMutex.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/core/publicMutex.h"
#include "tarnwillow/platform/debugOutput.h"
#include "tarnwillow/platform/lastError.h"

namespace tarnwillow {
namespace {

using namespace test;

std::vector<std::u16string> debug_texts;

class PublicMutex : public testing::Test {
protected:
    PublicMutex() {
        debug_texts.clear();
        Set_Debug_Output_Hook([](char16_t const* text) { debug_texts.push_back(text); });
    }
    ~PublicMutex() override { Set_Debug_Output_Hook(nullptr); }

    std::u16string process_text(std::string_view before) const {
        char text[100];
        std::snprintf(text, sizeof text, "%s. PID: %x \n", std::string(before).c_str(), getpid());
        return std::u16string(text, text + std::strlen(text));
    }

    TemporaryFolder folder;
};
using AutoMutex = PublicMutex;

TEST_F(PublicMutex, HasACleanedName) {
    const Handle dirty(CreatePublicMutex("\\/<>*?:\"|name"));
    EXPECT_EQ(GetLastError(), 0u);
    const Handle clean(OpenMutexA(MUTEX_ALL_ACCESS, false, "_________name"));
    EXPECT_NE(HANDLE{clean}, nullptr);
    const Handle wide(CreatePublicMutex(u":::::::::name"));
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
}

TEST_F(PublicMutex, CutsLongNamesAtOneCharacterInBothWidths) {
    std::u16string wide(255, u'\xE9');
    std::string narrow;
    for (int i = 0; i < 300; ++i)
        narrow += "\xC3\xA9";
    const Handle first(CreatePublicMutex(narrow.c_str()));
    const Handle second(CreatePublicMutex(wide.c_str()));
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    const Handle exact(OpenMutexW(MUTEX_ALL_ACCESS, false, wide.c_str()));
    EXPECT_NE(HANDLE{exact}, nullptr);
    wide.pop_back();
    const Handle shorter(CreatePublicMutex(wide.c_str()));
    EXPECT_EQ(GetLastError(), 0u);
}

TEST_F(PublicMutex, WithoutANameIsNobodyElses) {
    const Handle first(CreatePublicMutex(nullptr));
    const Handle second(CreatePublicMutex(""));
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(look(first), WAIT_OBJECT_0);
    std::thread([&] { EXPECT_EQ(Get_Mutex(second, 0), S_OK); }).join();
    ReleaseMutex(first);
}

TEST_F(PublicMutex, IsGottenAlsoWhenItWasAbandoned) {
    const Handle lock(CreatePublicMutex("gotten"));
    EXPECT_EQ(Get_Mutex(lock, 0), S_OK);
    ReleaseMutex(lock);
    abandon(lock);
    for (const long unlimited : {-1L, 0xFFFFFFFFL}) {
        EXPECT_EQ(Get_Mutex(lock, unlimited), S_OK);
        ReleaseMutex(lock);
    }
    EXPECT_EQ(Get_Mutex(nullptr, 10), ERROR_INVALID_HANDLE);
}

TEST_F(PublicMutex, IsWaitedForOneTimeOutOnly) {
    const Handle lock(CreatePublicMutex("timeout"));
    const Holder holder(lock);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(Get_Mutex(lock, 500), ERROR_SERVICE_REQUEST_TIMEOUT);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(990));
}

TEST_F(AutoMutex, HoldsForAScopeAndKeepsTheHandle) {
    const Handle lock(CreatePublicMutex("scope"));
    {
        CAutoMutex held(lock, 0);
        EXPECT_TRUE(held.Is_Held());
        held.Acquire(nullptr, 0);
        EXPECT_TRUE(ReleaseMutex(lock));
        EXPECT_FALSE(ReleaseMutex(lock));
        EXPECT_EQ(look(lock), WAIT_OBJECT_0);
    }
    EXPECT_FALSE(ReleaseMutex(lock));
    EXPECT_EQ(look(lock), WAIT_OBJECT_0);
    EXPECT_TRUE(ReleaseMutex(lock));
    CAutoMutex none(nullptr, 0);
    EXPECT_FALSE(none.Is_Held());
    EXPECT_TRUE(debug_texts.empty());
}

TEST_F(AutoMutex, ClosesItsHandleOnlyWhenToldTo) {
    const HANDLE lock = CreatePublicMutex("closed");
    CAutoMutex held(lock, -1);
    held.Release();
    held.Release();
    EXPECT_FALSE(held.Is_Held());
    held.Acquire(lock, -1);
    held.Close();
    EXPECT_FALSE(held.Is_Held());
    EXPECT_FALSE(CloseHandle(lock));
    held.Close();
}

TEST_F(AutoMutex, TellsTheDebugOutputWhatFailed) {
    const Handle lock(CreatePublicMutex("failed"));
    const Holder holder(lock);
    const HANDLE closed = mutex();
    for (const auto& [handle, timeout, text] :
         {std::tuple<HANDLE, long, char const*>{lock, 1, "Non Infinite Wait Mutex Acquire Failed"},
          {closed, 1, "Non Infinite Wait Mutex Acquire Failed"},
          {closed, -1, "Mutex Acquire Failed"}}) {
        debug_texts.clear();
        const CAutoMutex held(handle, timeout);
        EXPECT_FALSE(held.Is_Held());
        EXPECT_EQ(debug_texts, std::vector{process_text(text)});
    }
}

TEST_F(AutoMutex, ReleasesAnAbandonedMutexAndWaitsAgain) {
    for (const long timeout : {0L, -1L}) {
        const Handle lock(CreatePublicMutex("abandoned"));
        abandon(lock);
        debug_texts.clear();
        const CAutoMutex held(lock, timeout);
        EXPECT_TRUE(held.Is_Held());
        EXPECT_EQ(debug_texts, std::vector<std::u16string>{u"WAIT_ABANDONED"});
        EXPECT_TRUE(ReleaseMutex(lock));
        EXPECT_FALSE(ReleaseMutex(lock));
    }
}

TEST_F(AutoMutex, OfSeveralThreadsAnswersEachForItself) {
    static CAutoMutex shared;
    const Handle lock(CreatePublicMutex("shared"));
    shared.Acquire(lock, -1);
    std::thread([&] {
        EXPECT_FALSE(shared.Is_Held());
        shared.Acquire(lock, 1);
        EXPECT_FALSE(shared.Is_Held());
        shared.Release();
        shared.Close();
    }).join();
    EXPECT_TRUE(shared.Is_Held());
    shared.Release();
    std::thread([&] {
        shared.Acquire(lock, 1);
        EXPECT_TRUE(shared.Is_Held());
        shared.Release();
    }).join();
    EXPECT_EQ(look(lock), WAIT_OBJECT_0);
    ReleaseMutex(lock);
}

// A static object that is older than the table of handles outlives it.
TARNWILLOW_CHILD(static_mutex_at_exit) {
    static CAutoMutex held;
    held.Acquire(CreatePublicMutex(std::string(argument).c_str()), -1);
    return held.Is_Held() ? 0 : 1;
}

TEST_F(AutoMutex, ThatIsStaticMayBeHeldAtTheEndOfTheProcess) {
    const Handle lock(CreatePublicMutex("exit"));
    const ChildResult child = run_child("static_mutex_at_exit", "exit");
    EXPECT_EQ(child.exit_code, 0) << child.output;
    EXPECT_EQ(look(lock), WAIT_ABANDONED);
    ReleaseMutex(lock);
}

TEST_F(AutoMutex, IsReleasedByAGuardThatCatchesAFault) {
    const Handle lock(CreatePublicMutex("guarded"));
    probe_guard(
        [&] {
            const CAutoMutex held(lock, -1);
            fault();
        },
        no_recovery);
    EXPECT_FALSE(ReleaseMutex(lock));
    const Holder other(lock);
    EXPECT_EQ(other.result(), WAIT_OBJECT_0);
}

}  // namespace
}  // namespace tarnwillow
