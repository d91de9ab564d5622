// Replacing 200,000 words in 10 MB by CSmartBuffer, by finding and appending, and by Abseil. Each
// gets the text in memory of its own, which is not timed, and ends with the result in its hands.
#include <absl/strings/str_replace.h>
#include <benchmark/benchmark.h>

#include <string>
#include <string_view>

#include "tarnwillow/text/CSmartBuffer.h"
#include "words.h"

namespace tarnwillow {
namespace {

constexpr std::size_t kSize = 10 << 20;
constexpr std::size_t kMatches = 200000;
constexpr const char* kFind = "Zealand";

// Words with the one to be replaced about every fifty bytes.
const std::string& text() {
    static const std::string made = [] {
        std::string words = bench::make_words(kSize);
        const std::size_t step = kSize / kMatches;
        for (std::size_t i = 0; i < kMatches; ++i)
            words.replace(i * step + i % 30, 7, kFind);
        return words;
    }();
    return made;
}

std::string find_and_append(const std::string& in, std::string_view with) {
    std::string out;
    out.reserve(in.size());
    std::size_t from = 0;
    for (std::size_t at; (at = in.find(kFind, from)) != in.npos; from = at + 7) {
        out.append(in, from, at - from);
        out += with;
    }
    return out.append(in, from);
}

void check(benchmark::State& state, std::size_t size, std::string_view with) {
    if (size != kSize + kMatches * with.size() - kMatches * 7)
        state.SkipWithError("not the right number of replacements");
}

void ours(benchmark::State& state, const char* with) {
    CSmartBuffer buffer;
    for (auto _ : state) {
        state.PauseTiming();
        buffer.Initialize(static_cast<long>(kSize));
        buffer.Write(text().data(), static_cast<long>(kSize));
        state.ResumeTiming();
        benchmark::DoNotOptimize(buffer.Search_And_Replace(kFind, with, true));
    }
    check(state, buffer.Get_End_Of_Data(), with);
}

void by_hand(benchmark::State& state, const char* with) {
    std::string result;
    for (auto _ : state) {
        state.PauseTiming();
        result = text();
        state.ResumeTiming();
        result = find_and_append(result, with);
        benchmark::DoNotOptimize(result.data());
    }
    check(state, result.size(), with);
}

void abseil(benchmark::State& state, const char* with) {
    std::string result;
    for (auto _ : state) {
        state.PauseTiming();
        result = text();
        state.ResumeTiming();
        result = absl::StrReplaceAll(result, {{kFind, with}});
        benchmark::DoNotOptimize(result.data());
    }
    check(state, result.size(), with);
}

void register_all() {
    const std::pair<const char*, void (*)(benchmark::State&, const char*)> jobs[] = {
        {"ours/", ours}, {"findAndAppend/", by_hand}, {"abseil/", abseil}};
    const std::pair<const char*, const char*> cases[] = {
        {"shorter", "Wales"}, {"equal", "Ireland"}, {"longer", "Switzerland"}};
    for (const auto& [name, job] : jobs)
        for (const auto& [length, with] : cases)
            benchmark::RegisterBenchmark((std::string(name) + length).c_str(), job, with);
}

}  // namespace
}  // namespace tarnwillow

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    tarnwillow::register_all();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
