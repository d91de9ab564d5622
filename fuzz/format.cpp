// Formats from the input, in both families, into buffers of many sizes. The arguments stay the
// same: enough of them for every directive that is let through, each one fit to be read as a number
// and followed as a text of either width.
#include "tarnwillow/platform/format.h"

#include <algorithm>
#include <utility>

#include "terminatedText.h"

namespace {

using namespace tarnwillow;
using fuzz::length;

constexpr int kMostDirectives = 16;

// A directive may take two stars and a long double.
constexpr std::size_t kArguments = kMostDirectives * 5;

alignas(16) constexpr unsigned char kText[] = {'t',  0, 0xAC, 0x20, 0xE2, 0x82, 0xAC, 0x3D,
                                               0xD8, 0, 0xDE, 0,    0,    0,    0,    0};

// In every second place the text begins with a sequence of bytes instead of one.
void const* argument(std::size_t index) { return kText + (index % 2) * 4; }

void check(bool held) {
    if (!held) __builtin_trap();
}

template <class Char, std::size_t... index>
std::size_t print(Char* out, std::size_t room, Char const* format, std::index_sequence<index...>) {
    return platform::format_text(out, room, format, 1.5, -0.0, 1e300, 5e-324, 1e6, 0.1, -1e-5, 7.0,
                                 argument(index)...);
}

template <class Char>
std::unique_ptr<Char[]> printed(std::size_t room, Char const* format) {
    std::unique_ptr<Char[]> out(new Char[room]);
    const std::size_t count =
        print(out.get(), room, format, std::make_index_sequence<kArguments>());
    check(count < room && out[count] == 0);
    return out;
}

// What fits into less room begins what fits into more.
template <class Char>
void try_format(std::uint8_t const* bytes, std::size_t size, std::size_t room) {
    const auto format = fuzz::terminated<Char>(bytes, size);
    Char const* const end = format.get() + length(format.get());
    if (std::count(static_cast<Char const*>(format.get()), end, '%') > kMostDirectives) return;
    const auto whole = printed<Char>(2048, format.get());
    const auto part = printed<Char>(room, format.get());
    check(std::equal(part.get(), part.get() + length(part.get()), whole.get()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size < 1) return 0;
    const std::size_t room = 1 + bytes[0];
    try_format<char>(bytes + 1, size - 1, room);
    try_format<char16_t>(bytes + 1, size - 1, room);
    return 0;
}
