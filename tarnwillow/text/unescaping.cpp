// Undoing escapes, and making foreign text safe as a format string.
#include <algorithm>
#include <memory>
#include <new>

#include "tarnwillow/text/plainText.h"
#include "tarnwillow/text/stringUtilities.h"
#include "tarnwillow/text/valueConversions.h"

namespace tarnwillow {

namespace {

/// What an escape stands for, and the units that it takes; no units if there is none.
template <class Char>
struct Escape {
    Char value;
    std::size_t length;
};

// A terminator ends the digits: one digit, or none at all, is a number too.
template <class Char>
Escape<Char> read_percent(Char const* at) {
    Char digits[3] = {};
    std::size_t count = 0;
    for (; count < 2 && at[1 + count] != 0; ++count)
        digits[count] = at[1 + count];
    if (!Is_Hex(digits)) return {0, 0};
    return {static_cast<Char>(HexStringToNum(digits)), 1 + count};
}

template <class Char>
bool matches_entity(Char const* at, char const* name) {
    for (; *name != 0; ++at, ++name)
        if (*at != *name && *at != *name - 32) return false;
    return *at == ';';
}

template <class Char>
Escape<Char> read_entity(Char const* at) {
    if (matches_entity(at + 1, "amp")) return {'&', 5};
    if (matches_entity(at + 1, "lt")) return {'<', 4};
    if (matches_entity(at + 1, "gt")) return {'>', 4};
    return {0, 0};
}

template <class Char>
Escape<Char> read_escape(Char const* at) {
    if (*at == '%') return read_percent(at);
    if (*at == '&') return read_entity(at);
    return {0, 0};
}

// No escape is longer than what it stands for, so the text is its own temporary.
template <class Char>
void unescape(Char* text, int size) {
    if (size < 0) return;
    Char* out = text;
    Char* const cut =
        text + std::min<std::size_t>(static_cast<std::size_t>(size), detail::length_of(text));
    for (Char const* at = text; *at != 0 && out != cut;) {
        const Escape<Char> escape = read_escape(at);
        const Char value = escape.length != 0 ? escape.value : *at;
        at += std::max<std::size_t>(escape.length, 1);
        if (value == 0) break;
        *out++ = value;
    }
    *out = 0;
}

// Gives the units written to `out`, at most `room`.
template <class Char>
std::size_t double_percents(Char const* at, Char* out, std::size_t room) {
    std::size_t written = 0;
    while (*at != 0) {
        const std::size_t units = *at == '%' ? 2 : 1;
        if (units > room - written) break;
        std::fill_n(out + written, units, *at);
        written += units;
        at += at[0] == '%' && at[1] == '%' ? 2 : 1;
    }
    return written;
}

template <class Char>
void prepare(Char* text, int size) {
    if (size < 0) return;
    unescape(text, size);
    const std::size_t room =
        std::min<std::size_t>(static_cast<std::size_t>(size), 2 * detail::length_of(text));
    const std::unique_ptr<Char[]> doubled(new (std::nothrow) Char[room + 1]);
    if (doubled == nullptr) return;
    const std::size_t length = double_percents(text, doubled.get(), room);
    std::copy_n(doubled.get(), length, text);
    text[length] = 0;
}

}  // namespace

void Url_Unescape(char* text, int size) { unescape(text, size); }
void Url_Unescape(char16_t* text, int size) { unescape(text, size); }
void Prepare_Log_String(char* text, int size) { prepare(text, size); }
void Prepare_Log_String(char16_t* text, int size) { prepare(text, size); }

}  // namespace tarnwillow
