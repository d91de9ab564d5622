// Two bytes of size, then a text to unescape and to make safe as a format, in exactly the room that
// the operations ask for: size + 1 units, or the text's own where that is more.
#include <algorithm>
#include <cstdlib>

#include "tarnwillow/text/stringUtilities.h"
#include "terminatedText.h"

namespace {

using namespace tarnwillow;
using fuzz::length;

template <class Char>
struct Text {
    std::unique_ptr<Char[]> units;
    std::size_t room;  // how long a result may be
};

template <class Char>
Text<Char> load(std::uint8_t const* bytes, std::size_t size, std::size_t room) {
    const std::size_t units = size / sizeof(Char);
    return {fuzz::block<Char>(bytes, size, std::max(room, units) + 1), room};
}

template <class Char>
void unescape(const Text<Char>& text) {
    const std::size_t before = length(text.units.get());
    Url_Unescape(text.units.get(), static_cast<int>(text.room));
    if (length(text.units.get()) > std::min(before, text.room)) std::abort();
}

// Every "%" is one of a pair, so a formatter finds no directive.
template <class Char>
bool is_safe(Char const* text) {
    for (; *text != 0; ++text)
        if (*text == '%' && *++text != '%') return false;
    return true;
}

template <class Char>
void prepare(const Text<Char>& text) {
    Prepare_Log_String(text.units.get(), static_cast<int>(text.room));
    if (length(text.units.get()) > text.room || !is_safe(text.units.get())) std::abort();
}

template <class Char>
void run(std::uint8_t const* bytes, std::size_t size, std::size_t room) {
    unescape(load<Char>(bytes, size, room));
    prepare(load<Char>(bytes, size, room));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size < 2) return 0;
    const std::size_t room = (bytes[0] | std::size_t{bytes[1]} << 8) % 1024;
    run<char>(bytes + 2, size - 2, room);
    run<char16_t>(bytes + 2, size - 2, room);
    return 0;
}
