// Loading an XML document of UTF-16 text: ours beside readers that build a tree too (pugixml,
// rapidxml) and one that only reports what it reads (expat). Each iteration starts from the
// document's text, which none may change, and ends with everything freed.
//
// The counter `peak` is the memory, in bytes, that the process gained at its highest during one
// load.
#include <benchmark/benchmark.h>
#include <expat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <pugixml.hpp>
#include <rapidxml/rapidxml.hpp>
#include <string>

#include "processMemory.h"
#include "tarnwillow/xml/CXMLParser.h"

namespace {

enum Shape { kSmallElements, kAttributes, kDeep };

void append(std::u16string& text, const std::string& narrow) {
    text.append(narrow.begin(), narrow.end());
}

void append_record(std::u16string& text, Shape shape, unsigned i) {
    char record[256];
    if (shape == kSmallElements) {
        std::snprintf(record, sizeof record, "<row><id>%u</id><name>item %u</name><flag/></row>\n",
                      i, i % 977);
        return append(text, record);
    }
    if (shape == kAttributes) {
        std::snprintf(record, sizeof record,
                      "<item id=\"%u\" name=\"widget %u\" color='blue' price=\"%u.50\" "
                      "path=\"/usr/share/items/%u\" stock=\"7\"/>\n",
                      i, i % 977, i % 100, i);
        return append(text, record);
    }
    for (int level = 0; level < 190; ++level)
        append(text, "<level>");
    append(text, "x");
    for (int level = 0; level < 190; ++level)
        append(text, "</level>");
}

const std::u16string& document(Shape shape, std::size_t bytes) {
    static Shape kept_shape;
    static std::u16string kept;
    if (kept.size() * 2 >= bytes && kept.size() * 2 < bytes + 8192 && kept_shape == shape)
        return kept;
    kept_shape = shape;
    kept.clear();
    kept.reserve(bytes / 2 + 4096);
    append(kept, "<?xml version=\"1.0\"?>\n<doc>\n");
    for (unsigned i = 0; kept.size() * 2 < bytes; ++i)
        append_record(kept, shape, i);
    append(kept, "</doc>");
    return kept;
}

template <class Load>
void measure(benchmark::State& state, Load load) {
    const std::u16string& text =
        document(static_cast<Shape>(state.range(0)), static_cast<std::size_t>(state.range(1)));
    state.counters["peak"] = peak_of([&] { load(text); });
    for (auto _ : state)
        if (!load(text)) return state.SkipWithError("the document was not read");
    state.SetBytesProcessed(static_cast<long>(state.iterations() * text.size() * 2));
}

void ours(benchmark::State& state) {
    measure(state, [](const std::u16string& text) {
        tarnwillow::CXMLParser parser;
        return parser.Initialize(text.data(), static_cast<int>(text.size())) == 0;
    });
}

void with_pugixml(benchmark::State& state) {
    measure(state, [](const std::u16string& text) {
        pugi::xml_document parsed;
        return static_cast<bool>(parsed.load_buffer(text.data(), text.size() * 2,
                                                    pugi::parse_default, pugi::encoding_utf16_le));
    });
}

void with_rapidxml(benchmark::State& state) {
    measure(state, [](const std::u16string& text) {
        // It writes into its input, so a document of its own needs a copy, like ours.
        const std::unique_ptr<char16_t[]> copy(new char16_t[text.size() + 1]);
        std::memcpy(copy.get(), text.c_str(), (text.size() + 1) * 2);
        const auto parsed = std::make_unique<rapidxml::xml_document<char16_t>>();
        parsed->parse<0>(copy.get());
        return parsed->first_node() != nullptr;
    });
}

void with_expat(benchmark::State& state) {
    measure(state, [](const std::u16string& text) {
        XML_Parser parser = XML_ParserCreate("UTF-16LE");
        long seen = 0;
        XML_SetUserData(parser, &seen);
        XML_SetElementHandler(
            parser,
            [](void* count, const XML_Char*, const XML_Char**) { ++*static_cast<long*>(count); },
            [](void*, const XML_Char*) {});
        XML_SetCharacterDataHandler(parser, [](void*, const XML_Char*, int) {});
        const bool read = XML_Parse(parser, reinterpret_cast<const char*>(text.data()),
                                    static_cast<int>(text.size() * 2), 1) == XML_STATUS_OK;
        XML_ParserFree(parser);
        return read && seen > 0;
    });
}

void documents(benchmark::internal::Benchmark* bench) {
    bench->ArgNames({"shape", "bytes"})->Unit(benchmark::kMillisecond);
    for (const long bytes : {1L << 20, 50L << 20})
        for (const long shape : {kSmallElements, kAttributes, kDeep})
            bench->Args({shape, bytes});
}

BENCHMARK(ours)->Apply(documents);
BENCHMARK(with_pugixml)->Apply(documents);
BENCHMARK(with_rapidxml)->Apply(documents);
BENCHMARK(with_expat)->Apply(documents);

}  // namespace

int main(int argc, char** argv) {
    // The allocator keeps freed memory only once it has seen a large block go. Without this the
    // first benchmarks would pay for fresh pages each time and the later ones would not.
    void* large = std::malloc(std::size_t{30} << 20);
    benchmark::DoNotOptimize(large);
    std::free(large);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
