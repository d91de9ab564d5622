// A recursive section entered and left with nobody waiting, ours beside std::recursive_mutex.
#include <benchmark/benchmark.h>

#include <mutex>

#include "tarnwillow/core/CEasyCriticalSection.h"

namespace {

using namespace tarnwillow;

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

BENCHMARK(platform_section);
BENCHMARK(named_section);
BENCHMARK(std_recursive_mutex);

}  // namespace

BENCHMARK_MAIN();
