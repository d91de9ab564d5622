// Replacing 200,000 words in 10 MB by CSmartBuffer, by finding and appending, and by Abseil. Each
// gets the text in memory of its own, which is not timed, and ends with the result in its hands.
#include <absl/strings/str_replace.h>
#include <benchmark/benchmark.h>

#include <string>
#include <string_view>

#include "cases.h"
#include "tarnwillow/text/CSmartBuffer.h"
#include "words.h"

namespace tarnwillow {
namespace {

constexpr std::size_t kSize = 10 << 20;
constexpr std::size_t kMatches = 200000;

struct Case {
    const char* name;
    std::string_view find;
    std::string_view with;
};

// A word like any other, and one whose first letter is rare, which suits a search for that letter.
constexpr Case kCases[] = {
    {"word/shorter", "village", "place"},       {"word/equal", "village", "borough"},
    {"word/longer", "village", "settlement"},   {"rareLetter/shorter", "Zealand", "Wales"},
    {"rareLetter/equal", "Zealand", "Ireland"}, {"rareLetter/longer", "Zealand", "Switzerland"}};

// Words, with the one to be replaced about every fifty bytes.
std::string make_text(std::string_view find) {
    std::string words = bench::make_words(kSize);
    const std::size_t step = kSize / kMatches;
    for (std::size_t i = 0; i < kMatches; ++i)
        words.replace(i * step + i * 7919 % 40, find.size(), find);
    return words;
}

std::string find_and_append(const std::string& in, std::string_view find, std::string_view with) {
    std::string out;
    out.reserve(in.size());
    std::size_t from = 0;
    for (std::size_t at; (at = in.find(find, from)) != in.npos; from = at + find.size()) {
        out.append(in, from, at - from);
        out += with;
    }
    return out.append(in, from);
}

void check(benchmark::State& state, const Case& c, std::size_t size) {
    if (size != kSize + kMatches * c.with.size() - kMatches * c.find.size())
        state.SkipWithError("not the right number of replacements");
}

void ours(benchmark::State& state, Case c) {
    const std::string text = make_text(c.find);
    CSmartBuffer buffer;
    for (auto _ : state) {
        state.PauseTiming();
        buffer.Initialize(static_cast<long>(kSize));
        buffer.Write(text.data(), static_cast<long>(kSize));
        state.ResumeTiming();
        benchmark::DoNotOptimize(buffer.Search_And_Replace(c.find.data(), c.with.data(), true));
    }
    check(state, c, buffer.Get_End_Of_Data());
}

void by_hand(benchmark::State& state, Case c) {
    const std::string text = make_text(c.find);
    std::string result;
    for (auto _ : state) {
        state.PauseTiming();
        result = text;
        state.ResumeTiming();
        result = find_and_append(result, c.find, c.with);
        benchmark::DoNotOptimize(result.data());
    }
    check(state, c, result.size());
}

void abseil(benchmark::State& state, Case c) {
    const std::string text = make_text(c.find);
    const absl::string_view find(c.find.data(), c.find.size());
    const absl::string_view with(c.with.data(), c.with.size());
    std::string result;
    for (auto _ : state) {
        state.PauseTiming();
        result = text;
        state.ResumeTiming();
        result = absl::StrReplaceAll(result, {{find, with}});
        benchmark::DoNotOptimize(result.data());
    }
    check(state, c, result.size());
}

constexpr std::pair<const char*, void (*)(benchmark::State&, Case)> kJobs[] = {
    {"ours/", ours}, {"findAndAppend/", by_hand}, {"abseil/", abseil}};

}  // namespace
}  // namespace tarnwillow

int main(int argc, char** argv) {
    return tarnwillow::bench::run_cases(argc, argv, tarnwillow::kJobs, tarnwillow::kCases);
}
