// Searching 10 MB of words by CSmartBuffer and by what the system and the language offer. Each case
// searches for a text that stands at the very end alone, or nowhere.
#include <benchmark/benchmark.h>
#include <strings.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "cases.h"
#include "tarnwillow/text/CSmartBuffer.h"
#include "words.h"

namespace tarnwillow {
namespace {

constexpr std::size_t kSize = 10 << 20;

struct Case {
    const char* name;
    const char* pattern;
    bool at_end;  // else it is absent
};

// Common words that never follow each other, a word with rare letters, a single common prefix that
// is everywhere but for its last letter, and markup.
constexpr Case kCases[] = {{"common", "the of and to in the of", true},
                           {"nearly", "somethinx", true},
                           {"rare", "Zyzzyva quiz", true},
                           {"absent", "</paragraph>", false},
                           {"absentWord", "whatever", false}};

const std::string& narrow_text(const Case& c) {
    static std::string text = bench::make_words(kSize);
    const std::size_t length = std::strlen(c.pattern);
    text.replace(kSize - length - 1, length + 1, length + 1, ' ');
    if (c.at_end) text.replace(kSize - length, length, c.pattern);
    return text;
}

std::u16string wide_text(const Case& c) { return bench::widen(narrow_text(c)); }

void fill(CSmartBuffer& buffer, const void* data, std::size_t size) {
    buffer.Initialize(static_cast<long>(size));
    buffer.Write(data, static_cast<long>(size));
}

void check(benchmark::State& state, const Case& c, bool found) {
    if (found != c.at_end) state.SkipWithError("found what is not there, or not what is");
    state.SetBytesProcessed(state.iterations() * static_cast<long>(kSize));
}

template <class Find>
void run(benchmark::State& state, const Case& c, Find find) {
    bool found = false;
    for (auto _ : state)
        benchmark::DoNotOptimize(found = find());
    check(state, c, found);
}

std::string other_case(std::string text) {
    for (char& letter : text)
        if (std::isalpha(static_cast<unsigned char>(letter)) != 0) letter ^= 0x20;
    return text;
}

void narrow_ours(benchmark::State& state, Case c) {
    CSmartBuffer buffer;
    fill(buffer, narrow_text(c).data(), kSize);
    run(state, c, [&] { return buffer.Move_To(c.pattern, true, false) == 0; });
}

void narrow_memmem(benchmark::State& state, Case c) {
    const auto& text = narrow_text(c);
    run(state, c, [&] {
        return memmem(text.data(), text.size(), c.pattern, std::strlen(c.pattern)) != nullptr;
    });
}

void narrow_std_search(benchmark::State& state, Case c) {
    const auto& text = narrow_text(c);
    const std::string_view pattern(c.pattern);
    run(state, c, [&] {
        return std::search(text.begin(), text.end(), pattern.begin(), pattern.end()) != text.end();
    });
}

void wide_ours(benchmark::State& state, Case c) {
    const auto text = wide_text(c);
    const auto pattern = bench::widen(c.pattern);
    CSmartBuffer buffer;
    fill(buffer, text.data(), text.size() * 2);
    buffer.Set_Unicode(true);
    run(state, c, [&] { return buffer.Move_To(pattern.c_str(), true, false) == 0; });
}

void wide_view_find(benchmark::State& state, Case c) {
    const auto text = wide_text(c);
    const auto pattern = bench::widen(c.pattern);
    run(state, c, [&] { return std::u16string_view(text).find(pattern) != text.npos; });
}

void wide_std_search(benchmark::State& state, Case c) {
    const auto text = wide_text(c);
    const auto pattern = bench::widen(c.pattern);
    run(state, c, [&] {
        return std::search(text.begin(), text.end(), pattern.begin(), pattern.end()) != text.end();
    });
}

void no_case_ours(benchmark::State& state, Case c) {
    const std::string pattern = other_case(c.pattern);
    CSmartBuffer buffer;
    fill(buffer, narrow_text(c).data(), kSize);
    run(state, c, [&] { return buffer.Move_To_NCS(pattern.c_str(), true, false) == 0; });
}

void no_case_strcasestr(benchmark::State& state, Case c) {
    const auto& text = narrow_text(c);
    const std::string pattern = other_case(c.pattern);
    run(state, c, [&] { return strcasestr(text.c_str(), pattern.c_str()) != nullptr; });
}

constexpr std::pair<const char*, void (*)(benchmark::State&, Case)> kJobs[] = {
    {"narrow/ours/", narrow_ours},
    {"narrow/memmem/", narrow_memmem},
    {"narrow/stdSearch/", narrow_std_search},
    {"wide/ours/", wide_ours},
    {"wide/viewFind/", wide_view_find},
    {"wide/stdSearch/", wide_std_search},
    {"noCase/ours/", no_case_ours},
    {"noCase/strcasestr/", no_case_strcasestr}};

}  // namespace
}  // namespace tarnwillow

int main(int argc, char** argv) {
    return tarnwillow::bench::run_cases(argc, argv, tarnwillow::kJobs, tarnwillow::kCases);
}
