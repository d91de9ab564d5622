#include "tarnwillow/diagnostics/CDeadLockWatcher.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "support/logCollector.h"
#include "support/reports.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/platform/messageBox.h"
#include "tarnwillow/platform/threadId.h"
#include "tarnwillow/platform/threads.h"

namespace tarnwillow {
namespace {

constexpr int kStopWatching = 0;  // neither OK nor Cancel

/// The person at the machine: answers each box with the next of its answers, then watches no more.
class Person {
public:
    static Person& instance() {
        static Person person;
        return person;
    }

    void will_answer(std::vector<int> answers) {
        const std::lock_guard hold(lock_);
        answers_ = std::move(answers);
        boxes_.clear();
    }

    int asked(std::u16string text) {
        const std::lock_guard hold(lock_);
        boxes_.push_back(std::move(text));
        thread_ = GetCurrentThreadId();
        changed_.notify_all();
        return boxes_.size() <= answers_.size() ? answers_[boxes_.size() - 1] : kStopWatching;
    }

    /// Waits until so many boxes were answered.
    std::vector<std::u16string> boxes(std::size_t count) {
        std::unique_lock hold(lock_);
        changed_.wait(hold, [&] { return boxes_.size() >= count; });
        return boxes_;
    }

    /// The thread that asked last.
    std::uint32_t thread() {
        const std::lock_guard hold(lock_);
        return static_cast<std::uint32_t>(thread_);
    }

private:
    unsigned long thread_ = 0;
    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<int> answers_;
    std::vector<std::u16string> boxes_;
};

int present(HWND, char16_t const* text, char16_t const* caption, std::uint32_t style) {
    const bool expected = caption == std::u16string(u"Deadlock Sniffer") && style == 17;
    return Person::instance().asked(expected ? text : u"another box");
}

class DeadLockWatcher : public testing::Test {
protected:
    DeadLockWatcher() { Set_Message_Box_Presenter(present); }
    ~DeadLockWatcher() override {
        Set_Message_Box_Presenter(nullptr);
        forget_settings();
    }

    static void forget_settings() {
        CDeadLockWatcher::m_EnableWatcher = false;
        CDeadLockWatcher::m_Timeout = -1;
    }
    static void switch_on(int milliseconds) {
        CDeadLockWatcher::m_EnableWatcher = true;
        CDeadLockWatcher::m_Timeout = milliseconds;
    }

    Person& person = Person::instance();
};

TEST_F(DeadLockWatcher, ReadsItsSettings) {
    const struct {
        std::optional<long> enable, timeout;
        bool enabled;
        int milliseconds;
    } cases[] = {
        {{}, {}, false, -1},   {0, 5000, false, -1},    {1, {}, true, 2000},
        {7, 1500, true, 2000}, {1, 10000, true, 10000}, {1, -1, true, 2000},
    };
    for (const auto& c : cases) {
        const test::TemporaryFolder folder;
        CRegistry settings;
        settings.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE);
        if (c.enable) settings.Set_Entry("_EnableDeadlockWatcher", *c.enable);
        if (c.timeout) settings.Set_Entry("_DeadlockWatcherTimeout", *c.timeout);
        forget_settings();
        const CDeadLockWatcher watcher;
        EXPECT_EQ(CDeadLockWatcher::m_EnableWatcher, c.enabled);
        EXPECT_EQ(CDeadLockWatcher::m_Timeout, c.milliseconds);
    }
}

TEST_F(DeadLockWatcher, SwitchedOffItDoesNothing) {
    const test::TemporaryFolder settings;
    person.will_answer({});
    CDeadLockWatcher watcher;
    CDeadLockWatcher::m_Timeout = 0;
    watcher.Start_Watch(u"off");
    watcher.End_Watch();
    EXPECT_EQ(person.boxes(0).size(), 0U);
}

TEST_F(DeadLockWatcher, AsksWithTheThreadAndTheName) {
    switch_on(1);
    for (const auto& [name, shown] :
         std::initializer_list<std::pair<char16_t const*, std::u16string>>{
             {u"loading", u"loading"},
             {u"", u"-UNNAMED DEADLOCK WATCH!-"},
             {nullptr, u"-UNNAMED DEADLOCK WATCH!-"}}) {
        person.will_answer({});
        CDeadLockWatcher watcher;
        watcher.Start_Watch(name);
        const std::string id = std::to_string(GetCurrentThreadId());
        EXPECT_EQ(person.boxes(1)[0].rfind(u"There is a potential deadlock in thread " +
                                               std::u16string(id.begin(), id.end()) + u" (" +
                                               shown + u"). \r\rOK - Enter debugger\rCancel",
                                           0),
                  0U);
    }
}

TEST_F(DeadLockWatcher, ALongNameIsCut) {
    switch_on(1);
    person.will_answer({});
    CDeadLockWatcher watcher;
    watcher.Start_Watch(std::u16string(300, u'n').c_str());
    const std::u16string box = person.boxes(1)[0];
    EXPECT_NE(box.find(u" (" + std::u16string(255, u'n') + u"). "), std::u16string::npos);
    EXPECT_NE(box.find(u"Ignore (Cancel) always in that case"), std::u16string::npos);
}

TEST_F(DeadLockWatcher, CancelWaitsAsLongAgainAndAnyOtherAnswerStops) {
    switch_on(1);
    person.will_answer({IDCANCEL, IDCANCEL, IDABORT});
    CDeadLockWatcher watcher;
    watcher.Start_Watch(u"slow");
    person.boxes(3);
    watcher.End_Watch();
    EXPECT_EQ(person.boxes(3).size(), 3U);
}

TEST_F(DeadLockWatcher, OkStopsInTheDebuggerAndTheWatchedCodeGoesOn) {
    const test::ReportCollector reports;
    switch_on(1);
    person.will_answer({IDOK});
    CDeadLockWatcher watcher;
    watcher.Start_Watch(u"slow");
    person.boxes(1);
    watcher.End_Watch();
    EXPECT_EQ(reports.names(), u"CDeadLockWatcher::Watcher_Entrypoint");
    EXPECT_EQ(reports.reports()[0].level, ExceptionLevelHandled);
}

TEST_F(DeadLockWatcher, AStretchThatEndsInTimeAsksNobody) {
    switch_on(60000);
    person.will_answer({});
    {
        CDeadLockWatcher left_to_the_destructor, ended;
        left_to_the_destructor.Start_Watch(u"a");
        ended.Start_Watch(u"b");
        ended.End_Watch();
        ended.Start_Watch(u"c");
        ended.Start_Watch(u"d");
        ended.End_Watch();
        ended.End_Watch();
    }
    EXPECT_EQ(person.boxes(0).size(), 0U);
}

TEST_F(DeadLockWatcher, ItsThreadEndsWithItThoughItIsSwitchedOffMeanwhile) {
    switch_on(1);
    person.will_answer(std::vector<int>(100000, IDCANCEL));
    {
        CDeadLockWatcher watcher;
        watcher.Start_Watch(u"slow");
        person.boxes(1);
        CDeadLockWatcher::m_EnableWatcher = false;
        watcher.End_Watch();
    }
    EXPECT_FALSE(platform::is_thread_of_process(person.thread()));
}

// The watched thread waits here, where its stack is looked at.
extern "C" __attribute__((visibility("default"), noinline)) std::size_t watched_stretch() {
    return Person::instance().boxes(1).size() + 1;
}

TEST_F(DeadLockWatcher, TheLogGetsTheWarningAndTheStack) {
    const test::LogCollector log;
    switch_on(100);
    person.will_answer({});
    CDeadLockWatcher watcher;
    watcher.Start_Watch(u"stuck");
    EXPECT_EQ(watched_stretch(), 2U);
    watcher.End_Watch();
    const auto lines = log.lines();
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[0].log_class, 4);
    EXPECT_EQ(lines[0].text, u"!!!!!!  Potential Deadk Lock   stuck !!!!!!!");
    EXPECT_EQ(lines[1].text.rfind(u"    #0 ", 0), 0U);
    EXPECT_NE(log.texts().find(u" watched_stretch+0x"), std::u16string::npos) << "not in the stack";
}

}  // namespace
}  // namespace tarnwillow
