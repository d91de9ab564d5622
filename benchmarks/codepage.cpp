// UTF-8 to UTF-16 and back, ours beside ICU, on about a megabyte of each kind of text.
#include "tarnwillow/platform/codepage.h"

#include <benchmark/benchmark.h>
#include <unicode/ustring.h>

#include <string>
#include <string_view>

namespace {

using tarnwillow::platform::Conversion;

constexpr std::size_t kBytes = 1 << 20;

struct Kind {
    char const* name;
    std::string_view sentences;
};

constexpr Kind kKinds[] = {
    {"ASCII",
     "The quick brown fox jumps over the lazy dog, and then it turns round to see who laughed. "
     "<item id=\"42\" name=\"some value\">plain markup of a document</item>\n"},
    {"European",
     "Le cœur déçu mais l'âme plutôt naïve, Louÿs rêva de crapaüter en canoë au delà des îles. "
     "Zwölf Boxkämpfer jagen Viktor quer über den großen Sylter Deich. "
     "El pingüino Wenceslao hizo kilómetros bajo exhaustiva lluvia y frío, añoraba a su querido "
     "cachorro. Pchnąć w tę łódź jeża lub ośm skrzyń fig. Příliš žluťoučký kůň úpěl ďábelské "
     "ódy.\n"},
    {"Cyrillic",
     "Съешь же ещё этих мягких французских булок, да выпей чаю. Широкая электрификация южных "
     "губерний даст мощный толчок подъёму сельского хозяйства.\n"},
    {"CJK",
     "人人生而自由，在尊严和权利上一律平等。他们赋有理性和良心，并应以兄弟关系的精神相对待。"
     "すべての人間は、生まれながらにして自由であり、かつ、尊厳と権利とについて平等である。\n"},
};

const Kind& kind_of(const benchmark::State& state) { return kKinds[state.range(0)]; }

std::string narrow_text(const Kind& kind) {
    std::string text;
    while (text.size() < kBytes)
        text += kind.sentences;
    return text;
}

std::u16string wide_text(const Kind& kind) {
    const std::string narrow = narrow_text(kind);
    std::u16string text(narrow.size(), u'\0');
    const Conversion done = tarnwillow::platform::narrow_to_wide(narrow.data(), narrow.size(),
                                                                 text.data(), text.size());
    text.resize(done.written);
    return text;
}

void finish(benchmark::State& state, std::size_t narrow_bytes) {
    state.SetBytesProcessed(
        static_cast<std::int64_t>(state.iterations() * static_cast<std::int64_t>(narrow_bytes)));
    state.SetLabel(kind_of(state).name);
}

void to_wide_ours(benchmark::State& state) {
    const std::string source = narrow_text(kind_of(state));
    std::u16string dest(source.size(), u'\0');
    for (auto _ : state) {
        benchmark::DoNotOptimize(tarnwillow::platform::narrow_to_wide(source.data(), source.size(),
                                                                      dest.data(), dest.size()));
        benchmark::ClobberMemory();
    }
    finish(state, source.size());
}

void to_wide_icu(benchmark::State& state) {
    const std::string source = narrow_text(kind_of(state));
    std::u16string dest(source.size(), u'\0');
    for (auto _ : state) {
        std::int32_t written = 0;
        UErrorCode error = U_ZERO_ERROR;
        u_strFromUTF8(dest.data(), static_cast<std::int32_t>(dest.size()), &written, source.data(),
                      static_cast<std::int32_t>(source.size()), &error);
        if (U_FAILURE(error)) state.SkipWithError("ICU failed");
        benchmark::ClobberMemory();
    }
    finish(state, source.size());
}

void to_narrow_ours(benchmark::State& state) {
    const std::u16string source = wide_text(kind_of(state));
    std::string dest(3 * source.size(), '\0');
    std::size_t written = 0;
    for (auto _ : state) {
        written = tarnwillow::platform::wide_to_narrow(source.data(), source.size(), dest.data(),
                                                       dest.size())
                      .written;
        benchmark::ClobberMemory();
    }
    finish(state, written);
}

void to_narrow_icu(benchmark::State& state) {
    const std::u16string source = wide_text(kind_of(state));
    std::string dest(3 * source.size(), '\0');
    std::int32_t written = 0;
    for (auto _ : state) {
        UErrorCode error = U_ZERO_ERROR;
        u_strToUTF8(dest.data(), static_cast<std::int32_t>(dest.size()), &written, source.data(),
                    static_cast<std::int32_t>(source.size()), &error);
        if (U_FAILURE(error)) state.SkipWithError("ICU failed");
        benchmark::ClobberMemory();
    }
    finish(state, static_cast<std::size_t>(written));
}

constexpr int kLastKind = sizeof kKinds / sizeof kKinds[0] - 1;

BENCHMARK(to_wide_ours)->DenseRange(0, kLastKind);
BENCHMARK(to_wide_icu)->DenseRange(0, kLastKind);
BENCHMARK(to_narrow_ours)->DenseRange(0, kLastKind);
BENCHMARK(to_narrow_icu)->DenseRange(0, kLastKind);

}  // namespace

BENCHMARK_MAIN();
