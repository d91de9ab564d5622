// The lines that threads and mutexes write to the log.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "support/logCollector.h"
#include "support/reports.h"
#include "support/temporaryFolder.h"
#include "support/waiting.h"
#include "tarnwillow/core/CAutoMutex.h"
#include "tarnwillow/core/threads.h"
#include "tarnwillow/platform/clock.h"

namespace tarnwillow {
namespace {

using namespace test;

// A text made as the C runtime makes it.
[[gnu::format(printf, 1, 2)]] std::u16string text(char const* format, ...) {
    char out[512];
    std::va_list values;
    va_start(values, format);
    std::vsnprintf(out, sizeof out, format, values);
    va_end(values);
    return std::u16string(out, out + std::strlen(out));
}

// All lines of one class, in the order of their texts: those of two threads meet in any order.
std::vector<std::u16string> sorted_lines(const LogCollector& log, int log_class) {
    std::vector<std::u16string> texts;
    for (const LoggedLine& line : log.lines())
        if (line.log_class == log_class) texts.push_back(line.text);
    std::sort(texts.begin(), texts.end());
    return texts;
}

std::u16string about(char const* what, unsigned int id) {
    return text("%s: ID: %x Handle: fffffffe Thread Desc: \"line\"", what, id);
}

TEST(ThreadMessages, TellStartAndEnd) {
    const LogCollector log;
    unsigned int id = 0;
    void* const thread =
        New_Thread([](void*) -> unsigned int { return 0; }, nullptr, "line", 0, &id, true);
    wait(thread);
    EXPECT_TRUE(End_Thread(thread, nullptr, 0));
    EXPECT_EQ(sorted_lines(log, 4),
              (std::vector{std::u16string(u"End_Thread complete."), about("New Thread", id),
                           about("Thread Completed", id)}));
}

TEST(ThreadMessages, TellAFaultButNoForcedEnd) {
    const LogCollector log;
    const ReportCollector reports;
    unsigned int id = 0;
    const Handle faulty(New_Thread([](void*) -> unsigned int { return fault(), 0; }, nullptr,
                                   "line", 0, &id, true));
    wait(faulty);
    EXPECT_EQ(sorted_lines(log, 4),
              (std::vector{about("New Thread", id), about("Thread Completed", id),
                           about("Thread Raised an exception", id)}));
    const Handle never = manual_event();
    void* const endless = New_Thread([](void* event) -> unsigned int { return wait(event); }, never,
                                     "line", 0, &id, true);
    EXPECT_FALSE(End_Thread(endless, nullptr, 1));
    const auto texts = sorted_lines(log, 4);
    EXPECT_EQ(std::count(texts.begin(), texts.end(), about("Thread Completed", id)), 1);
    EXPECT_EQ(std::count(texts.begin(), texts.end(), about("Thread Raised an exception", id)), 0);
}

TEST(ThreadMessages, TellWhyAThreadDidNotStart) {
    const LogCollector log;
    EXPECT_EQ(New_Thread(nullptr, nullptr, "line", 0, nullptr, true), nullptr);
    EXPECT_EQ(log.texts(), text("New_Thread  line  Failed Error :%d|", EINVAL));
}

TEST(ThreadMessages, TellOfALongWaitForAMutex) {
    const TemporaryFolder folder;
    const LogCollector log;
    const Handle lock = mutex(u"long");
    Holder holder(lock);
    std::thread later([&] {
        while (sorted_lines(log, 3).empty())
            Sleep(50);
        holder.release();
    });
    const CAutoMutex held(lock, -1);
    later.join();
    EXPECT_TRUE(held.Is_Held());
    EXPECT_EQ(sorted_lines(log, 3),
              std::vector{
                  text("Mutex Wait Timeout after 2 seconds. PID: %x   Trying Again\n", getpid())});
}

}  // namespace
}  // namespace tarnwillow
