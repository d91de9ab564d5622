// An enabled line all the way into a file: through the library and the example message core, beside
// spdlog's file sink. The core has each line in the file when the call returns, so that a crash
// loses none and several processes can write. spdlog does the same where it is told to flush each
// line; left to itself it keeps lines in the process's buffer.
#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "tarnwillow/core/logClassState.h"
#include "tarnwillow/diagnostics/logging.h"
#include "tarnwillow/files/CRegistry.h"

namespace {

using namespace tarnwillow;

constexpr int kOn = 4;

/// Where all of it happens; goes at the end.
class Place {
public:
    Place() {
        std::string name = (std::filesystem::temp_directory_path() / "bench-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) std::abort();
        path = name;
        setenv("TARNWILLOW_SETTINGS_DIR", (path / "settings").c_str(), 1);
        setenv("TARNWILLOW_LOG_FILE", (path / "ours.txt").c_str(), 1);
    }
    ~Place() { std::filesystem::remove_all(path); }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    std::filesystem::path path;
};

Place& place() {
    static Place the_place;
    return the_place;
}

void prepare() {
    place();
    CRegistry settings;
    settings.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE);
    settings.Set_Entry("Log", TARNWILLOW_EXAMPLE_CORE);
    InitializeDebugMode();
    detail::log_class_states[kOn] = detail::LogClassState::On;
}

spdlog::logger& peer() {
    static spdlog::logger logger(
        "peer", std::make_shared<spdlog::sinks::basic_file_sink_mt>(place().path / "peer.txt"));
    return logger;
}

int id = 4711;
char const* description = "reader of the second queue";
char16_t const* wide_description = u"reader of the second queue";

void spdlog_line() { peer().info("New Thread: ID: {:x} Thread Desc: \"{}\"", id, description); }

void ours(benchmark::State& state) {
    for (auto _ : state)
        _LOG(kOn, "New Thread: ID: %x Thread Desc: \"%s\"", id, description);
}

void ours_wide(benchmark::State& state) {
    for (auto _ : state)
        _LOG(kOn, u"New Thread: ID: %x Thread Desc: \"%s\"", id, wide_description);
}

void spdlog_flushed(benchmark::State& state) {
    peer().flush_on(spdlog::level::info);
    for (auto _ : state)
        spdlog_line();
}

void spdlog_buffered(benchmark::State& state) {
    peer().flush_on(spdlog::level::off);
    for (auto _ : state)
        spdlog_line();
}

BENCHMARK(ours)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(ours_wide)->UseRealTime();
BENCHMARK(spdlog_flushed)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(spdlog_buffered)->Threads(1)->Threads(2)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    prepare();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
