#include "tarnwillow/platform/sharedMemory.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/childProcess.h"
#include "support/failingAllocator.h"
#include "support/runningChild.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::test {
namespace {

class SharedMemory : public testing::Test {
protected:
    char* open(char const* name, HANDLE* mapping = nullptr) {
        SetLastError(77);
        auto* const view = static_cast<char*>(CreateSharedMemory(100, name, mapping));
        existed = GetLastError() == ERROR_ALREADY_EXISTS;
        EXPECT_TRUE(existed || GetLastError() == 0);
        return view;
    }
    /// The status thrown, or 0.
    static long thrown(unsigned long size, char const* name) {
        try {
            CreateSharedMemory(size, name, nullptr);
        } catch (long status) {
            return status;
        }
        return 0;
    }

    TemporaryFolder folder;
    bool existed = false;
};

TEST_F(SharedMemory, IsZeroAtFirstAndTellsWhetherItExisted) {
    char* const first = open("one");
    EXPECT_FALSE(existed);
    EXPECT_EQ(std::string_view(first, 100), std::string(100, '\0'));
    std::strcpy(first, "hello");
    char* const second = open("one");
    EXPECT_TRUE(existed);
    EXPECT_STREQ(second, "hello");
    char* const other = open("another");
    EXPECT_FALSE(existed);
    for (char* view : {first, second, other})
        EXPECT_TRUE(UnmapViewOfFile(view));
}

TEST_F(SharedMemory, LastsUntilBothViewAndHandleAreGivenBack) {
    HANDLE mapping = nullptr;
    char* const view = open("one", &mapping);
    EXPECT_TRUE(CloseHandle(mapping));
    UnmapViewOfFile(open("one"));
    EXPECT_TRUE(existed);
    EXPECT_TRUE(UnmapViewOfFile(view));
    char* const anew = open("one", &mapping);
    EXPECT_FALSE(existed);
    EXPECT_TRUE(UnmapViewOfFile(anew));
    UnmapViewOfFile(open("one"));
    EXPECT_TRUE(existed);
    EXPECT_TRUE(CloseHandle(mapping));
    EXPECT_FALSE(CloseHandle(mapping));
}

TEST_F(SharedMemory, SaysNoToWhatIsNoView) {
    char* const view = open("one");
    EXPECT_FALSE(UnmapViewOfFile(view + 1));
    EXPECT_EQ(GetLastError(), static_cast<std::uint32_t>(ERROR_INVALID_ADDRESS));
    EXPECT_FALSE(UnmapViewOfFile(nullptr));
    EXPECT_TRUE(UnmapViewOfFile(view));
    EXPECT_FALSE(UnmapViewOfFile(view));
}

TEST_F(SharedMemory, ThrowsWhereItCannotBeHad) {
    EXPECT_EQ(thrown(0, "none"), E_OUTOFMEMORY);
    EXPECT_EQ(thrown(1UL << 60, "none"), E_OUTOFMEMORY);
    char* const view = open("small");
    EXPECT_EQ(thrown(1 << 20, "small"), E_OUTOFMEMORY);
    UnmapViewOfFile(view);
    for (std::size_t successes = 0; successes < 3; ++successes) {
        const FailingAllocator none(successes);
        EXPECT_EQ(thrown(100, "none"), E_OUTOFMEMORY);
    }
    UnmapViewOfFile(open("none"));
    EXPECT_FALSE(existed) << "failures leave nothing";
}

TARNWILLOW_CHILD(memory_user) {
    auto* const view = static_cast<char*>(CreateSharedMemory(100, "one", nullptr));
    answer(GetLastError() == 0 ? "new" : "known");
    for (std::string request; read_request(&request);) {
        answer(view);
        std::strcpy(view, request.c_str());
    }
    return 0;
}

TEST_F(SharedMemory, IsOneForAllProcessesAndGoesWithTheLastHoweverItEnds) {
    RunningChild first("memory_user");
    EXPECT_EQ(first.line(), "new");
    EXPECT_EQ(first.ask("text"), "");
    RunningChild second("memory_user");
    EXPECT_EQ(second.line(), "known");
    EXPECT_EQ(second.ask("other"), "text");
    first.kill();
    EXPECT_EQ(second.ask("third"), "other");
    second.kill();
    RunningChild later("memory_user");
    EXPECT_EQ(later.line(), "new");
    EXPECT_EQ(later.ask(""), "");
}

}  // namespace
}  // namespace tarnwillow::test
