#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <semaphore>
#include <thread>

#include "support/logCollector.h"
#include "tarnwillow/core/CEasyCriticalSection.h"
#include "tarnwillow/core/diagnosticEntry.h"
#include "tarnwillow/platform/threadId.h"

namespace tarnwillow {
namespace {

// Looks at the fields that a debugger would look at.
class Section : public CEasyCriticalSection {
public:
    Section() : CEasyCriticalSection(u"test") {}
    using CEasyCriticalSection::section;
    std::u16string holder() const { return requestor != nullptr ? requestor.load() : u"(free)"; }
    std::u16string with() const { return qualifier != nullptr ? qualifier.load() : u"(none)"; }
};

// Holds a section in a thread of its own until told to let go.
class Holder {
public:
    explicit Holder(CEasyCriticalSection& section)
        : thread_([this, &section] {
              section.Enter(u"holder", nullptr);
              held_.release();
              let_go_.acquire();
              section.Leave();
          }) {
        held_.acquire();
    }
    ~Holder() {
        let_go_.release();
        thread_.join();
    }

private:
    std::binary_semaphore held_{0};
    std::binary_semaphore let_go_{0};
    std::thread thread_;
};

constexpr char16_t kUnnamed[] = u"UNNAMED CRITICAL SECTION REQUSTOR! WHY?";

TEST(Section, ShowsTheOutermostHolderOnly) {
    Section section;
    EXPECT_TRUE(section.Enter(u"first", u"list"));
    section.Enter(u"second", u"other");
    EXPECT_EQ(section.holder() + u"/" + section.with(), u"first/list");
    section.Leave();
    EXPECT_EQ(section.holder(), u"first");
    section.Leave();
    EXPECT_EQ(section.holder() + u"/" + section.with(), u"(free)/(none)");
}

TEST(Section, AsksWhyANamelessHolderHoldsIt) {
    Section section;
    for (char16_t const* nameless : {static_cast<char16_t const*>(nullptr), u""}) {
        section.Enter(nameless, nameless);
        EXPECT_EQ(section.holder() + u"/" + section.with(), std::u16string(kUnnamed) + u"/");
        section.Leave();
    }
    section.Try(nullptr);
    EXPECT_EQ(section.holder() + u"/" + section.with(), std::u16string(kUnnamed) + u"/(none)");
    section.Leave();
}

TEST(Section, TryByTheHolderReplacesTheOuterRequestor) {
    Section section;
    section.Enter(u"outer", u"list");
    EXPECT_TRUE(section.Try(u"inner"));
    EXPECT_EQ(section.holder() + u"/" + section.with(), u"inner/(none)");
    section.Leave();
    section.Leave();
    EXPECT_EQ(section.Get_Owning_Thread_Id(), 0u);
}

TEST(Section, TryAndLeaveOfAnotherThreadChangeNothing) {
    Section section;
    const Holder holder(section);
    EXPECT_FALSE(section.Try(u"test"));
    section.Leave();
    EXPECT_EQ(section.holder(), u"holder");
    EXPECT_NE(section.Get_Owning_Thread_Id(), 0u);
    EXPECT_NE(section.Get_Owning_Thread_Id(), platform::current_thread_id());
}

TEST(Section, NamesAreKeptByPointer) {
    CEasyCriticalSection unnamed(nullptr);
    EXPECT_EQ(std::u16string(unnamed.Get_Name()), u"Unknown Critical Section");
    char16_t const* name = u"new name";
    unnamed.Set_Name(name);
    EXPECT_EQ(unnamed.Get_Name(), name);
    EXPECT_TRUE(CEasyCriticalSection::Validate(nullptr));
    EXPECT_EQ(unnamed.Get_Object_Ptr(), &unnamed);
}

TEST(Section, AssignmentTakesTheTextsAndLeavesTheTargetWorking) {
    Section source;
    Section target;
    source.Enter(u"source", u"list");
    static_cast<CEasyCriticalSection&>(target) = source;
    EXPECT_EQ(target.holder(), u"source");
    EXPECT_EQ(target.Get_Owning_Thread_Id(), 0u);
    EXPECT_TRUE(target.Enter(u"target", nullptr));
    source.Leave();
    EXPECT_EQ(target.Get_Owning_Thread_Id(), platform::current_thread_id());
    target.Leave();
}

TEST(Section, WritesRecordsOfEachStep) {
    const test::LogCollector collector;
    std::optional<Section> section;
    const auto records = [&](auto step) {
        const std::size_t before = collector.lines().size();
        step();
        return collector.lines().size() - before;
    };
    EXPECT_EQ(records([&] { section.emplace(); }), 1u);
    EXPECT_EQ(records([&] { section->Enter(nullptr, nullptr); }), 2u);
    EXPECT_EQ(records([&] { section->Try(nullptr); }), 2u);
    EXPECT_EQ(records([&] { section->Leave(); }), 1u);
    EXPECT_EQ(
        records([&] { std::thread([&] { section->Try(nullptr), section->Leave(); }).join(); }), 1u);
    EXPECT_EQ(records([&] {
                  std::thread waiting([&] { section->Enter(nullptr, nullptr), section->Leave(); });
                  while (platform::sleepers_for(section->section) == 0)
                      std::this_thread::yield();
                  section->Leave();
                  waiting.join();
              }),
              4u);
    EXPECT_EQ(records([&] { section.reset(); }), 1u);
    for (const test::LoggedLine& line : collector.lines())
        EXPECT_TRUE(line.log_class == kConnectionHandlerThreadsExtended && line.text.empty());
}

TEST(Section, KeepsThreadsApartAndTheTextsWithTheirHolder) {
    Section section;
    long counter = 0;  // plain: the section is its only protection
    std::atomic<int> wrong{0};
    auto work = [&](char16_t const* own_name) {
        for (int i = 0; i < 20000; ++i) {
            section.Enter(own_name, nullptr);
            section.Enter(u"nested", nullptr);
            ++counter;
            if (section.holder() != own_name) ++wrong;
            section.Leave();
            section.Leave();
        }
    };
    std::thread a(work, u"a");
    std::thread b(work, u"b");
    std::thread c(work, u"c");
    a.join(), b.join(), c.join();
    EXPECT_EQ(counter, 60000);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(section.holder(), u"(free)");
}

// Without a spin phase every wait is a sleep: a wake-up that gets lost would hang the threads.
TEST(PlatformSection, WakesWhoeverSleeps) {
    CRITICAL_SECTION section;
    InitializeCriticalSectionAndSpinCount(&section, 0);
    long counter = 0;  // plain: the section is its only protection
    auto work = [&] {
        for (int i = 0; i < 5000; ++i) {
            EnterCriticalSection(&section);
            ++counter;
            if (i % 16 == 0) platform::yield_thread();  // lets the others come and sleep
            LeaveCriticalSection(&section);
        }
    };
    std::thread threads[] = {std::thread(work), std::thread(work), std::thread(work),
                             std::thread(work)};
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(counter, 20000);
    EXPECT_EQ(platform::sleepers_for(section), 0U);
    DeleteCriticalSection(&section);
}

TEST(SectionLock, HoldsForItsScopeAndUnlocksOnce) {
    Section section;
    {
        CAutoSectionLock hold(section, u"scope", u"list");
        EXPECT_EQ(section.holder(), u"scope");
        CAutoSectionLock nested(&section, u"nested", nullptr);
        nested.Unlock();
        nested.Unlock();
        EXPECT_EQ(section.holder(), u"scope");
        hold.Unlock();
        EXPECT_EQ(section.holder(), u"(free)");
        hold.Lock();
    }
    EXPECT_EQ(section.holder(), u"(free)");
}

TEST(SectionLock, DoesNothingForANullSection) {
    CEasyCriticalSection* none = nullptr;
    CAutoSectionLock hold(none, u"scope", nullptr);
    hold.Unlock();
    hold.Lock();
}

}  // namespace
}  // namespace tarnwillow
