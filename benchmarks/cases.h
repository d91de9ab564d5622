// A benchmark program of several jobs that each run over the same cases.
#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <utility>

namespace tarnwillow::bench {

/// Runs every job over every case; a benchmark is named for both. A case has a `name`.
template <class Case, std::size_t job_count, std::size_t case_count>
int run_cases(int argc, char** argv,
              const std::pair<const char*, void (*)(benchmark::State&, Case)> (&jobs)[job_count],
              const Case (&cases)[case_count]) {
    benchmark::Initialize(&argc, argv);
    for (const auto& [name, job] : jobs)
        for (const Case& c : cases)
            benchmark::RegisterBenchmark((std::string(name) + c.name).c_str(), job, c);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

}  // namespace tarnwillow::bench
