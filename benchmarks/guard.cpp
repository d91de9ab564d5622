// A guard entered and left, beside the bare sigsetjmp without the signal mask that it stands on.
#include "tarnwillow/core/guard.h"

#include <benchmark/benchmark.h>
#include <setjmp.h>

namespace {

using namespace tarnwillow;

void probe(benchmark::State& state) {
    for (auto _ : state)
        probe_guard([] { benchmark::ClobberMemory(); }, no_recovery);
}

void reporting(benchmark::State& state) {
    for (auto _ : state)
        reporting_guard(
            ExceptionLevelHandled, u"benchmark", [] { benchmark::ClobberMemory(); }, no_recovery);
}

void probe_with_result(benchmark::State& state) {
    int value = 1;
    for (auto _ : state)
        benchmark::DoNotOptimize(probe_guard([&] { return value; }, [] { return 0; }));
}

void bare_sigsetjmp(benchmark::State& state) {
    for (auto _ : state) {
        sigjmp_buf env;
        benchmark::DoNotOptimize(sigsetjmp(env, 0));
    }
}

BENCHMARK(probe);
BENCHMARK(reporting);
BENCHMARK(probe_with_result);
BENCHMARK(bare_sigsetjmp);

}  // namespace

BENCHMARK_MAIN();
