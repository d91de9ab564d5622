// A recursive section entered and left with nobody waiting, ours beside std::recursive_mutex: in a
// process of one thread, where neither needs a locked instruction, and with another thread asleep.
#include <benchmark/benchmark.h>

#include <mutex>

#include "sleeper.h"
#include "tarnwillow/core/CEasyCriticalSection.h"

namespace {

using namespace tarnwillow;

void no_other_thread(benchmark::State& state, void (*job)(benchmark::State&)) { job(state); }

void another_thread(benchmark::State& state, void (*job)(benchmark::State&)) {
    const Sleeper sleeper;
    job(state);
}

void platform_section(benchmark::State& state) {
    CRITICAL_SECTION section;
    InitializeCriticalSectionAndSpinCount(&section, 4000);
    for (auto _ : state) {
        EnterCriticalSection(&section);
        benchmark::ClobberMemory();
        LeaveCriticalSection(&section);
    }
}

void named_section(benchmark::State& state) {
    CEasyCriticalSection section(u"benchmark");
    for (auto _ : state) {
        section.Enter(u"benchmark", u"");
        benchmark::ClobberMemory();
        section.Leave();
    }
}

void std_recursive_mutex(benchmark::State& state) {
    std::recursive_mutex mutex;
    for (auto _ : state) {
        mutex.lock();
        benchmark::ClobberMemory();
        mutex.unlock();
    }
}

#define SECTION_BENCHMARKS(company)                     \
    BENCHMARK_CAPTURE(company, ours, platform_section); \
    BENCHMARK_CAPTURE(company, named, named_section);   \
    BENCHMARK_CAPTURE(company, std, std_recursive_mutex)

SECTION_BENCHMARKS(no_other_thread);
SECTION_BENCHMARKS(another_thread);

}  // namespace

BENCHMARK_MAIN();
