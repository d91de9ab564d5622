// Texts made ready for XML, ours beside GLib: a name, a line of a log, and a piece of markup.
#include <glib.h>

#include "cases.h"
#include "tarnwillow/text/encoders.h"

namespace {

struct Text {
    const char* name;
    const char* text;
};

constexpr Text kTexts[] = {
    {"Name", "Marchetti & Daughters"},
    {"Line",
     "The connection to the second server was closed after 5000 milliseconds, and three of the "
     "\"pending\" requests were given up."},
    {"Plain",
     "A paragraph of ordinary prose seldom holds anything that a document would have to hide. It "
     "goes on for a few hundred characters, with commas, full stops and a number such as 1024, "
     "and a reader that looks at sixteen of them at a time is through with it before it has "
     "properly begun. Another sentence makes it long enough to be worth the measuring, and a last "
     "one ends it."},
    {"Markup",
     "<list a=\"1\" b=\"2\"><item id=\"42\">Tom & Jerry</item><item id=\"43\">a < b</item></list>"},
};

void ours(benchmark::State& state, Text text) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(text.text);
        benchmark::DoNotOptimize(tarnwillow::Encode_For_XML(text.text));
    }
}

void glib(benchmark::State& state, Text text) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(text.text);
        char* const escaped = g_markup_escape_text(text.text, -1);
        benchmark::DoNotOptimize(escaped);
        g_free(escaped);
    }
}

}  // namespace

int main(int argc, char** argv) {
    return tarnwillow::bench::run_cases<Text>(argc, argv, {{"ours", ours}, {"glib", glib}}, kTexts);
}
