// A line of a class that is off, and an enabled line whose output goes nowhere, beside spdlog's
// level test and its null sink. Each pair writes the same text.
#include <benchmark/benchmark.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

#include <cstdlib>

#include "tarnwillow/core/logClassState.h"
#include "tarnwillow/diagnostics/logging.h"

namespace {

using namespace tarnwillow;
using detail::LogClassState;

constexpr int kOff = 1;
constexpr int kOn = 4;

void nowhere(int, unsigned long, char* text, int) { benchmark::DoNotOptimize(text); }
void nowhere_wide(int, unsigned long, char16_t* text, int) { benchmark::DoNotOptimize(text); }

/// The settings store stays out of it: the classes are set by hand.
void prepare() {
    setenv("TARNWILLOW_SETTINGS_DIR", "/nonexistent", 1);
    InitializeDebugMode();
    detail::log_class_states[kOff] = LogClassState::Off;
    detail::log_class_states[kOn] = LogClassState::On;
    Divert_Log_Output(nowhere, nowhere_wide);
}

spdlog::logger& peer() {
    static spdlog::logger logger("peer", std::make_shared<spdlog::sinks::null_sink_mt>());
    return logger;
}

template <class Line>
void measure(benchmark::State& state, Line line) {
    for (auto _ : state)
        line();
}

int id = 4711;
char const* description = "reader of the second queue";
char16_t const* wide_description = u"reader of the second queue";

void ours_disabled(benchmark::State& state) {
    measure(state, [] { _LOG(kOff, "New Thread: ID: %x Thread Desc: \"%s\"", id, description); });
}

void spdlog_disabled(benchmark::State& state) {
    peer().set_level(spdlog::level::warn);
    measure(state,
            [] { peer().info("New Thread: ID: {:x} Thread Desc: \"{}\"", id, description); });
}

void ours_enabled(benchmark::State& state) {
    measure(state, [] { _LOG(kOn, "New Thread: ID: %x Thread Desc: \"%s\"", id, description); });
}

void ours_enabled_wide(benchmark::State& state) {
    measure(state,
            [] { _LOG(kOn, u"New Thread: ID: %x Thread Desc: \"%s\"", id, wide_description); });
}

void spdlog_enabled(benchmark::State& state) {
    peer().set_level(spdlog::level::info);
    measure(state,
            [] { peer().info("New Thread: ID: {:x} Thread Desc: \"{}\"", id, description); });
}

void ours_plain(benchmark::State& state) {
    measure(state, [] { _LOG(kOn, "End_Thread complete."); });
}

void spdlog_plain(benchmark::State& state) {
    peer().set_level(spdlog::level::info);
    measure(state, [] { peer().info("End_Thread complete."); });
}

void ours_numbers(benchmark::State& state) {
    measure(state,
            [] { _LOG(kOn, "ID: 0x%x Get: %s = %d took %3.3fs", id, description, -id, 1.25); });
}

void spdlog_numbers(benchmark::State& state) {
    peer().set_level(spdlog::level::info);
    measure(state, [] {
        peer().info("ID: 0x{:x} Get: {} = {} took {:3.3f}s", id, description, -id, 1.25);
    });
}

BENCHMARK(ours_disabled);
BENCHMARK(spdlog_disabled);
BENCHMARK(ours_plain);
BENCHMARK(spdlog_plain);
BENCHMARK(ours_enabled);
BENCHMARK(ours_enabled_wide);
BENCHMARK(spdlog_enabled);
BENCHMARK(ours_numbers);
BENCHMARK(spdlog_numbers);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    prepare();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
