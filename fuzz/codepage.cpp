// Any bytes and any units to the other width: in exactly the room that the length functions tell,
// and in less. What one direction has made goes there and back unchanged.
#include <cstdlib>

#include "tarnwillow/platform/codepage.h"
#include "terminatedText.h"

namespace {

using namespace tarnwillow;

void check(bool holds) {
    if (!holds) std::abort();
}

platform::Conversion convert(char const* from, std::size_t length, char16_t* to, std::size_t room) {
    return platform::narrow_to_wide(from, length, to, room);
}
platform::Conversion convert(char16_t const* from, std::size_t length, char* to, std::size_t room) {
    return platform::wide_to_narrow(from, length, to, room);
}
std::size_t converted_length(char const* from, std::size_t length) {
    return platform::narrow_to_wide_length(from, length);
}
std::size_t converted_length(char16_t const* from, std::size_t length) {
    return platform::wide_to_narrow_length(from, length);
}

// The blocks end where the text ends.
template <class Char>
std::unique_ptr<Char[]> exact(Char const* units, std::size_t length) {
    std::unique_ptr<Char[]> copy(new Char[length]);
    std::char_traits<Char>::copy(copy.get(), units, length);
    return copy;
}

template <class To, class From>
std::basic_string<To> all(From const* source, std::size_t length) {
    const auto from = exact(source, length);
    const std::size_t needed = converted_length(from.get(), length);
    const std::unique_ptr<To[]> to(new To[needed]);
    const platform::Conversion done = convert(from.get(), length, to.get(), needed);
    check(done.consumed == length && done.written == needed);
    return {to.get(), needed};
}

// Less room gives a beginning of the whole, cut in front of a character.
template <class To, class From>
void cut(From const* source, std::size_t length, std::size_t room,
         const std::basic_string<To>& whole) {
    const auto from = exact(source, length);
    const std::unique_ptr<To[]> to(new To[room]);
    const platform::Conversion done = convert(from.get(), length, to.get(), room);
    check(done.written <= room && done.consumed <= length);
    check(whole.compare(0, done.written, to.get(), done.written) == 0);
    check(converted_length(from.get(), done.consumed) == done.written);
    check(done.consumed == length || room - done.written < 4);
}

template <class To, class From>
void run(std::uint8_t const* bytes, std::size_t size, std::size_t room) {
    const auto text = fuzz::terminated<From>(bytes, size);
    const std::size_t length = size / sizeof(From);
    const std::basic_string<To> whole = all<To>(text.get(), length);
    cut(text.get(), length, room % (whole.size() + 1), whole);
    const std::basic_string<From> back = all<From>(whole.data(), whole.size());
    check(all<To>(back.data(), back.size()) == whole);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size < 1) return 0;
    run<char16_t, char>(bytes + 1, size - 1, bytes[0]);
    run<char, char16_t>(bytes + 1, size - 1, bytes[0]);
    return 0;
}
