// Three appends to a text that several threads may share: ours beside a string with a lock for each
// append. A second thread sleeps beside them, as in every program that needs the lock.
#include <charconv>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>

#include "cases.h"
#include "sleeper.h"
#include "tarnwillow/text/COutputBuffer.h"

namespace {

struct Length {
    const char* name;
    int appends;  ///< before the text begins anew
};

/// One line, such as a report is made of; and a text that has grown to some ten thousand bytes.
constexpr Length kLengths[] = {{"Line", 1}, {"Report", 200}};

template <class Mutex>
class LockedString {
public:
    LockedString& operator<<(char const* text) { return add(text); }
    LockedString& operator<<(char c) { return add({&c, 1}); }
    LockedString& operator<<(int value) {
        char digits[16];
        char* const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
        return add({digits, static_cast<std::size_t>(end - digits)});
    }

private:
    LockedString& add(std::string_view text) {
        const std::lock_guard hold(mutex_);
        text_ += text;
        return *this;
    }

    Mutex mutex_;
    std::string text_;
};

template <class Text>
void append(benchmark::State& state, Length length) {
    const Sleeper sleeper;
    char const* words = "The connection was closed after ";
    for (auto _ : state) {
        Text text;
        for (int i = 0; i < length.appends; ++i) {
            benchmark::DoNotOptimize(words);
            text << words << 4711 << '\n';
        }
        benchmark::DoNotOptimize(text);
    }
    state.SetItemsProcessed(state.iterations() * length.appends);
}

}  // namespace

int main(int argc, char** argv) {
    return tarnwillow::bench::run_cases<Length>(
        argc, argv,
        {{"ours", append<tarnwillow::COutputBuffer>},
         {"stdMutex", append<LockedString<std::mutex>>},
         {"stdRecursive", append<LockedString<std::recursive_mutex>>}},
        kLengths);
}
