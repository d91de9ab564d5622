#include "tarnwillow/core/guard.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cfenv>
#include <string>
#include <thread>
#include <vector>

#include "faults.h"
#include "support/reports.h"
#include "tarnwillow/containers/CCollection.h"
#include "tarnwillow/platform/debugOutput.h"

void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.name; }

namespace tarnwillow {
namespace {

using test::ReportCollector;

std::string run_guarded(const Fault& fault) {
    return reporting_guard(
        ExceptionLevelHandled, u"test",
        [&] {
            fault.run();
            return "went on";
        },
        [] { return "recovered"; });
}

std::string run_probed(const Fault& fault) {
    return probe_guard(
        [&] {
            fault.run();
            return "went on";
        },
        [] { return "recovered"; });
}

bool possible(const Fault& fault) {
    return !(fault.only_without_address_checks && test::address_checks());
}

class GuardAgainst : public testing::TestWithParam<Fault> {};

TEST_P(GuardAgainst, RecoversAndReportsOnceEveryTime) {
    if (!possible(GetParam())) return;  // the table says why
    for (int round = 0; round < 3; ++round) {
        ReportCollector collector;
        EXPECT_EQ(run_guarded(GetParam()), "recovered");
        ASSERT_EQ(collector.names(), u"test");
        EXPECT_EQ(collector.reports()[0].code, GetParam().code);
        EXPECT_EQ(collector.reports()[0].level, ExceptionLevelHandled);
        EXPECT_EQ(collector.reports()[0].has_context, GetParam().code != EXCEPTION_THROWN_VALUE);
    }
}

TEST_P(GuardAgainst, ProbeRecoversWithoutReport) {
    if (!possible(GetParam())) return;
    ReportCollector collector;
    EXPECT_EQ(run_probed(GetParam()), "recovered");
    EXPECT_EQ(collector.names(), u"");
}

TEST_P(GuardAgainst, RecoversInAnotherThread) {
    if (!possible(GetParam())) return;
    std::string result;
    std::thread([&] { result = run_guarded(GetParam()); }).join();
    EXPECT_EQ(result, "recovered");
}

std::vector<Fault> all(std::span<const Fault> faults) { return {faults.begin(), faults.end()}; }
std::string name_of(const testing::TestParamInfo<Fault>& info) {
    std::string name = info.param.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
}
INSTANTIATE_TEST_SUITE_P(AtO0, GuardAgainst, testing::ValuesIn(all(faults_at_O0())), name_of);
INSTANTIATE_TEST_SUITE_P(AtO2, GuardAgainst, testing::ValuesIn(all(faults_at_O2())), name_of);

const Fault& a_fault() { return faults_at_O2()[0]; }

TEST(Guard, GivesTheResultOfABodyThatReturns) {
    EXPECT_EQ(probe_guard([] { return 7; }, [] { return 0; }), 7);
    int seen = 0;
    reporting_guard(
        ExceptionLevelSerious, u"test", [&] { seen = 1; }, [&] { seen = 2; });
    EXPECT_EQ(seen, 1);
}

TEST(Guard, InnermostTakesTheFaultAndTheOuterOneTheNext) {
    ReportCollector collector;
    const std::string order = reporting_guard(
        ExceptionLevelSerious, u"outer",
        [] {
            run_guarded(a_fault());
            run_probed(a_fault());
            a_fault().run();
            return "went on";
        },
        [] { return "outer recovered"; });
    EXPECT_EQ(order, "outer recovered");
    EXPECT_EQ(collector.names(), u"test,outer");
}

TEST(Guard, KeepsWhatTheBodyStoredBeforeTheFault) {
    int stored = 0;
    const int result = probe_guard(
        [&] {
            for (stored = 1; stored < 1000; ++stored)
                if (stored == 500) a_fault().run();
            return 0;
        },
        [&] { return stored; });
    EXPECT_EQ(result, 500);
}

TEST(Guard, FaultInTheRecoveryBelongsToTheOuterGuard) {
    const std::string result = probe_guard(
                                   [] {
                                       return std::string(probe_guard(
                                                  [] {
                                                      a_fault().run();
                                                      return "a";
                                                  },
                                                  [] {
                                                      a_fault().run();
                                                      return "b";
                                                  })) == "a";
                                   },
                                   [] { return true; })
                                   ? "outer"
                                   : "wrong";
    EXPECT_EQ(result, "outer");
}

TEST(Guard, CatchesABreakpoint) {
    EXPECT_TRUE(probe_guard(
        [] {
            DebugBreak();
            return false;
        },
        [] { return true; }));
    EXPECT_TRUE(probe_guard(
        [] {
            Debugger();
            return false;
        },
        [] { return true; }));
}

// Whether another thread gets the lock without waiting.
bool free_for_others(CCollection& list) {
    long result = -1;
    std::thread([&] {
        result = list.Protect(u"other", 0);
        if (result == S_OK) list.Unprotect();
    }).join();
    return result == S_OK;
}

unsigned long faulting_callback(void*, unsigned long) {
    a_fault().run();
    return 0;
}

TEST(Guard, FaultInACallbackUnderALockLeavesTheLockFree) {
    CCollection list;
    list.Add(1);
    list.Protect(u"test", 0);
    list.Unprotect();
    EXPECT_TRUE(probe_guard([&] { return list.Contains_Ex(faulting_callback, nullptr) != nullptr; },
                            [] { return true; }));
    EXPECT_TRUE(free_for_others(list));
}

TEST(Guard, LeavesWhatItsBodyProtectedAndKeepsWhatWasHeldBefore) {
    CCollection inner;
    CCollection outer;
    ASSERT_EQ(outer.Protect(u"test", 0), S_OK);
    for (const Fault& fault : faults_at_O2()) {
        if (!possible(fault)) continue;
        probe_guard(
            [&] {
                for (int depth = 0; depth < 40; ++depth)
                    inner.Protect(u"test", 0);
                outer.Protect(u"again", 0);
                fault.run();
            },
            no_recovery);
        EXPECT_TRUE(free_for_others(inner)) << fault.name;
        EXPECT_FALSE(free_for_others(outer)) << fault.name;
    }
    EXPECT_EQ(outer.Unprotect(), S_OK);
    EXPECT_EQ(outer.Unprotect(), E_UNEXPECTED);
    EXPECT_TRUE(free_for_others(outer));
}

TEST(Guard, KeepsWhatAGuardThatEndedWellHadEntered) {
    CCollection list;
    probe_guard([&] { list.Protect(u"test", 0); }, no_recovery);
    probe_guard([] { a_fault().run(); }, no_recovery);
    EXPECT_FALSE(free_for_others(list));
    EXPECT_EQ(list.Unprotect(), S_OK);
    EXPECT_TRUE(free_for_others(list));
}

TEST(Guard, KeepsTheFloatingPointModes) {
    const volatile double one = 1;
    const volatile double tiny = 1e-30;
    fesetround(FE_UPWARD);
    run_probed(a_fault());
    const bool kept = fegetround() == FE_UPWARD && one + tiny > one;
    fesetround(FE_TONEAREST);
    EXPECT_TRUE(kept);
}

TEST(Guard, HasABarrierBelowItsStackForSignals) {
    std::thread([] {
        probe_guard([] {}, no_recovery);
        stack_t stack{};
        sigaltstack(nullptr, &stack);
        auto* const below = static_cast<char*>(stack.ss_sp) - 4096;
        mmap(below, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE,
             -1, 0);
        EXPECT_TRUE(probe_guard([&] { return *static_cast<volatile char*>(below) = 0, false; },
                                [] { return true; }));
    }).join();
}

TEST(Guard, LetsThreadCancellationThrough) {
    pthread_t thread;
    static bool recovered = false;
    auto body = [](void*) -> void* {
        probe_guard(
            [] {
                for (;;)
                    pause();
            },
            [] { recovered = true; });
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, body, nullptr), 0);
    pthread_cancel(thread);
    void* result = nullptr;
    pthread_join(thread, &result);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_FALSE(recovered);
}

TEST(FilteredGuard, AsksItsFilterInPlaceOfTheReport) {
    for (const Fault& fault : faults_at_O2()) {
        if (!possible(fault)) continue;
        ReportCollector collector;
        unsigned seen = 0;
        const int result = filtered_guard(
            [&](EXCEPTION_POINTERS* pointers) {
                seen = pointers->ExceptionRecord->ExceptionCode;
                return 1;
            },
            [&] {
                fault.run();
                return 1;
            },
            [] { return 2; });
        EXPECT_EQ(result, 2) << fault.name;
        EXPECT_EQ(seen, fault.code) << fault.name;
        EXPECT_EQ(collector.names(), u"");
    }
}

TEST(FilteredGuard, SurvivesAFaultInItsFilter) {
    void (*const faulty)() = a_fault().run;
    void (*const throwing)() = [] { throw 5L; };
    struct {
        void (*body)();
        void (*filter)();
    } const cases[] = {{faulty, faulty}, {throwing, faulty}, {throwing, throwing}};
    for (const auto& c : cases) {
        const auto run = [&] {
            return filtered_guard([&](EXCEPTION_POINTERS*) { return c.filter(), 1; },
                                  [&] { return c.body(), 1; }, [] { return 2; });
        };
        EXPECT_EQ(run(), 2);
        EXPECT_EQ(probe_guard(run, [] { return 3; }), 2);
    }
}

}  // namespace
}  // namespace tarnwillow
