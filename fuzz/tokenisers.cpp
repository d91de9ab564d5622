// Any text cut by every tokeniser: two bytes of settings, then the text. Each walk ends, its pieces
// lie in the text in order, and no step leaves the block.
#include <cstdlib>
#include <utility>

#include "tarnwillow/text/CStrTok.h"
#include "tarnwillow/text/CTokenString.h"
#include "tarnwillow/text/CWStrTok.h"
#include "tarnwillow/text/CWTokenString.h"
#include "tarnwillow/text/tokenisers.h"
#include "terminatedText.h"

namespace {

using namespace tarnwillow;
using fuzz::length;

char const kSeparators[] = ", ";
char16_t const kWideSeparators[] = u", ";

// A walk of a text of `size` units gives at most one piece more than it has units, and together
// they are no longer than it.
template <class Next>
void walk(std::size_t size, Next next) {
    std::size_t pieces = 0;
    std::size_t units = 0;
    for (auto* piece = next(); piece != nullptr; piece = next()) {
        units += length(piece);
        if (++pieces > size + 1 || units > size) std::abort();
    }
    if (next() != nullptr) std::abort();
}

template <class Tokens, class Char>
void cut_at_one(Char* text, std::uint8_t settings) {
    const std::size_t size = length(text);
    Tokens tokens(text, Char(','));
    tokens.Strip_Leading_Spaces((settings & 1) != 0);
    tokens.Strip_Trailing_Spaces((settings & 2) != 0);
    if ((settings & 4) != 0) {
        tokens.Next_Token(' ');
        if (length(tokens.Remainder()) > size) std::abort();
    }
    walk(size, [&] { return tokens.Next_Token(0); });
    if (*tokens.Remainder() != 0) std::abort();
}

template <class Tokens, class Char>
void cut_at_any(Char const* text, Char const* separators, std::uint8_t settings) {
    Tokens tokens(text, (settings & 8) != 0);
    walk(length(text), [&] { return tokens.Next((settings & 16) != 0 ? nullptr : separators); });
}

void cut_in_place(std::unique_ptr<char[]> text, std::unique_ptr<char16_t[]> wide) {
    char* start = text.get();
    walk(length(start), [&] { return smartok(std::exchange(start, nullptr), kSeparators); });
    char16_t* wide_start = wide.get();
    walk(length(wide_start),
         [&] { return wsmartok(std::exchange(wide_start, nullptr), kWideSeparators); });
}

void read_options(std::unique_ptr<char[]> line) {
    char const* const end = line.get() + length(line.get());
    for (char* at = line.get(); at != nullptr;) {
        char* option = nullptr;
        char* value = nullptr;
        char* const next = Next_Cmdline_Option(at, &option, &value);
        if (next != nullptr && (option == nullptr || next <= at || next >= end)) std::abort();
        if (value != nullptr && (value <= option || value + length(value) > end)) std::abort();
        at = next;
    }
}

template <class Char>
void rewrite_case(std::unique_ptr<Char[]> text, Char const* marks, bool to_upper) {
    const std::size_t before = length(text.get());
    Prepare_Tokens(text.get(), marks, to_upper);
    if (length(text.get()) != before) std::abort();
}

void rewrite_space(std::unique_ptr<char[]> text, char replacement) {
    const std::size_t before = length(text.get());
    Tokenize_Whitespace(text.get(), replacement);
    if (length(text.get()) > before) std::abort();
}

template <class Char>
std::unique_ptr<Char[]> again(std::unique_ptr<Char[]> const& text) {
    return fuzz::copy_of(text.get());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size < 2) return 0;
    const std::uint8_t settings = bytes[0];
    const char replacement = static_cast<char>(bytes[1]);
    const auto text = fuzz::terminated<char>(bytes + 2, size - 2);
    const auto wide = fuzz::terminated<char16_t>(bytes + 2, size - 2);
    cut_at_one<CTokenString>(again(text).get(), settings);
    cut_at_one<CWTokenString>(again(wide).get(), settings);
    cut_at_any<CStrTok, char>(text.get(), kSeparators, settings);
    cut_at_any<CWStrTok, char16_t>(wide.get(), kWideSeparators, settings);
    cut_in_place(again(text), again(wide));
    read_options(again(text));
    rewrite_case(again(text), "'%", (settings & 32) != 0);
    rewrite_case(again(wide), u"'%", (settings & 32) != 0);
    rewrite_space(again(text), replacement);
    return 0;
}
