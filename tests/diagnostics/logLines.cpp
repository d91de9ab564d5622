#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <climits>
#include <thread>

#include "support/failingAllocator.h"
#include "support/logCollector.h"
#include "support/reports.h"
#include "tarnwillow/core/threads.h"
#include "tarnwillow/diagnostics/logging.h"
#include "tarnwillow/platform/threadId.h"

namespace tarnwillow {
namespace {

using test::LogCollector;

char const* const kBadText = reinterpret_cast<char const*>(1);
char16_t const* const kBadWideText = reinterpret_cast<char16_t const*>(2);

std::u16string narrow_texts;

void note(char const* text) { narrow_texts += std::u16string(text, text + strlen(text)) + u"|"; }

void note_and_log(int, unsigned long, char* text, int) {
    _LOG(4, "nested");
    note(text);
}

void note_and_throw(int, unsigned long, char* text, int) {
    note(text);
    throw 1L;
}

void note_and_fault(int, unsigned long, char* text, int) {
    note(text);
    test::fault();
}

/// Lines that such a procedure gets of two that are logged.
std::u16string two_lines_by(LogOutputProcA procedure) {
    const LogCollector collector;
    narrow_texts.clear();
    Divert_Log_Output(procedure, nullptr);
    _LOG(4, "one");
    _LOG(4, "two");
    EXPECT_EQ(Get_Thread_In_Log_Count(), 0);
    return narrow_texts;
}

/// Logs when the thread's own values go.
struct LogsAtThreadEnd {
    ~LogsAtThreadEnd() {
        EXPECT_EQ(Get_Thread_In_Log_Count(), -1);
        _LOG(4, "last");
    }
};

}  // namespace

TEST(LogLines, ReachTheOutputProcedureOfTheirWidth) {
    const LogCollector collector;
    _LOG(0, "%d %s", 1, "\u20AC");
    _LOG(21, u"%d %s %S", 2L, u"\u20AC", "x");
    const auto lines = collector.lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(collector.texts(), u"1 \u20AC|2 \u20AC x|");
    EXPECT_EQ(lines[0].log_class, 0);
    EXPECT_EQ(lines[1].log_class, 21);
    EXPECT_FALSE(lines[0].wide);
    EXPECT_TRUE(lines[1].wide);
    for (const auto& line : lines) {
        EXPECT_EQ(line.thread_id, platform::current_thread_id());
        EXPECT_EQ(line.level, 5);
    }
}

TEST(LogLines, OfAClassThatIsOffTouchNothing) {
    const LogCollector collector;
    test::set_log_class(7, false);
    const test::FailingAllocator no_memory;
    _LOG(7, kBadText, kBadText);
    _LOG(7, kBadWideText);
    EXPECT_EQ(collector.texts(), u"");
    EXPECT_EQ(no_memory.refused(), 0U);
}

TEST(LogLines, TakeNoMemory) {
    const LogCollector collector;
    Divert_Log_Output([](int, unsigned long, char*, int) {}, nullptr);
    const test::FailingAllocator no_memory;
    _LOG(1, "%s %f %p %S", "text", 1.5, nullptr, u"wide");
    EXPECT_EQ(no_memory.refused(), 0U);
}

TEST(LogLines, AreDroppedWhenTheFormatFaults) {
    if (test::address_checks()) GTEST_SKIP() << "the sanitizer stops the read itself";
    const test::ReportCollector reports;
    const LogCollector collector;
    _LOG(4, "%s", kBadText);
    _LOG(4, u"%s", kBadWideText);
    _LOG(4, u"%S", kBadText);
    _LOG(4, kBadText);
    _LOG(4, static_cast<char const*>(nullptr));
    _LOG(kBadWideText, 5, u"named");
    _LOG(u"named", 5, kBadWideText);
    _LOG(4, "%s", "good");
    EXPECT_EQ(collector.texts(), u"good|");
    EXPECT_EQ(reports.names(), u"");
}

TEST(LogLines, OfANumberThatIsNoClassAreDropped) {
    const LogCollector collector;
    for (const long log_class : {-1L, 22L, 255L, LONG_MIN, LONG_MAX, 0x1'0000'0000L})
        _LOG(log_class, "text");
    EXPECT_EQ(collector.texts(), u"");
    for (const int log_class : {-1, 22, INT_MIN, INT_MAX})
        EXPECT_FALSE(Log_Class_Enabled(log_class));
}

TEST(LogLines, FromInsideAProcedureAreDroppedAndTheOuterLineGoesOn) {
    EXPECT_EQ(two_lines_by(note_and_log), u"one|two|");
}

TEST(LogLines, FromInsideAProcedureDoNotEndAThreadThatBlocksBreakpoints) {
    std::thread([] {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, nullptr);
        EXPECT_EQ(two_lines_by(note_and_log), u"one|two|");
    }).join();
}

TEST(LogLines, DoNotNestWithoutEndInAThreadThatIsEnding) {
    const LogCollector collector;
    narrow_texts.clear();
    Divert_Log_Output(note_and_log, nullptr);
    std::thread([] {
        static thread_local LogsAtThreadEnd last;
        static_cast<void>(&last);
        _LOG(4, "first");
    }).join();
    EXPECT_EQ(narrow_texts, u"first|last|");
}

TEST(LogLines, SurviveAProcedureThatThrowsOrFaults) {
    EXPECT_EQ(two_lines_by(note_and_throw), u"one|two|");
    EXPECT_EQ(two_lines_by(note_and_fault), u"one|two|");
    EXPECT_EQ(two_lines_by(nullptr), u"");
}

TEST(LogLines, AreCutAtACharacter) {
    const LogCollector collector;
    _LOG(1, "%s", std::string(3000, 'x').c_str());
    _LOG(1, "%s\u20AC", std::string(2046, 'x').c_str());
    _LOG(1, u"%s\U0001F600", std::u16string(2046, u'x').c_str());
    const auto lines = collector.lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0].text.size(), 2047U);
    EXPECT_EQ(lines[1].text, std::u16string(2046, u'x'));
    EXPECT_EQ(lines[2].text, std::u16string(2046, u'x'));
}

TEST(LogLines, ComeFromManyThreadsAtOnce) {
    constexpr int kThreads = 16;
    constexpr int kLines = 200;
    const LogCollector collector;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([i] {
            for (int line = 0; line < kLines; ++line)
                line % 2 == 0 ? _LOG(i, "%d", line) : _LOG(i, u"%d", line);
        });
    for (std::thread& thread : threads)
        thread.join();
    int next[kThreads] = {};
    for (const auto& line : collector.lines()) {
        const std::string expected = std::to_string(next[line.log_class]++);
        EXPECT_EQ(line.text, std::u16string(expected.begin(), expected.end()));
    }
    for (const int count : next)
        EXPECT_EQ(count, kLines);
}

}  // namespace tarnwillow
