#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <new>
#include <utility>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/diagnostics/logging.h"

namespace tarnwillow {

namespace {

constexpr std::size_t kPartLength = 160;

template <class Char>
struct Texts;
template <>
struct Texts<char> {
    static constexpr char kPercent[] = "<PC>";
    static constexpr char kWhole[] = "%s";
    static constexpr char kPart[] = "Part %d: \"%s\"";
};
template <>
struct Texts<char16_t> {
    static constexpr char16_t kPercent[] = u"<PC>";
    static constexpr char16_t kWhole[] = u"%s";
    static constexpr char16_t kPart[] = u"Part %d: \"%s\"";
};

/// Copies with "%" spelt out, so that whoever takes the text for a format does no harm; gives the
/// length. `out` has room for four times `length`, and a terminator.
template <class Char>
std::size_t copy_without_percent(Char* out, Char const* text, std::size_t length) {
    constexpr std::size_t kSpelt = std::size(Texts<Char>::kPercent) - 1;
    Char* at = out;
    for (std::size_t i = 0; i < length && text[i] != 0; ++i) {
        if (text[i] == '%')
            at = std::copy_n(Texts<Char>::kPercent, kSpelt, at);
        else
            *at++ = text[i];
    }
    *at = 0;
    return static_cast<std::size_t>(at - out);
}

template <class Char>
void write_parts(long log_class, Char* text, std::size_t length) {
    const std::size_t parts = length / kPartLength + 1;
    if (parts == 1) return _LOG(log_class, Texts<Char>::kWhole, text);
    for (std::size_t i = 0; i < parts; ++i) {
        Char* const part = text + i * kPartLength;
        const std::size_t part_length = std::min(kPartLength, length - i * kPartLength);
        const Char next = std::exchange(part[part_length], Char{0});
        _LOG(log_class, Texts<Char>::kPart, static_cast<int>(i), part);
        part[part_length] = next;
    }
}

template <class Char>
std::size_t bounded_length(Char const* text, std::size_t limit) {
    std::size_t length = 0;
    while (length < limit && text[length] != 0)
        ++length;
    return length;
}

constexpr std::size_t kUnreadable = SIZE_MAX;

/// What a read of the caller's text gives, or kUnreadable.
template <class Read>
std::size_t readable(Read read) {
    return probe_guard(read, [] { return kUnreadable; });
}

// The work buffer is owned outside the guards. A text that another thread shortens meanwhile is
// copied up to its new end.
template <class Char>
void write_large(long log_class, Char const* text, unsigned int limit) {
    if (limit == 0 || !detail::line_concerns_log(log_class)) return;
    const std::size_t length = readable([&] { return bounded_length(not_null(text), limit); });
    if (length == kUnreadable) return;
    const std::unique_ptr<Char[]> work(new (std::nothrow) Char[length * 4 + 1]);
    if (work == nullptr) return;
    Char* const copy = work.get();
    const std::size_t copied = readable([&] { return copy_without_percent(copy, text, length); });
    if (copied != kUnreadable) write_parts(log_class, copy, copied);
}

}  // namespace

void _LOG_LARGE(long log_class, char const* text, unsigned int length) {
    write_large(log_class, text, length);
}

void _LOG_LARGE(long log_class, char16_t const* text, unsigned int length) {
    write_large(log_class, text, length);
}

}  // namespace tarnwillow
