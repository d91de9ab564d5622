#include "tarnwillow/text/tokenisers.h"

#include <cstring>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/text/tokenWalks.h"

namespace tarnwillow {

namespace {

char* narrow_position = nullptr;
char16_t* wide_position = nullptr;

bool is_blank(char c) { return c == ' ' || c == '\t'; }

char* skip_blanks(char* at) {
    while (is_blank(*at))
        ++at;
    return at;
}

// Both give the blank that ends the word, or the end of the line.
char* end_of_name(char* at) {
    while (*at != 0 && !is_blank(*at))
        ++at;
    return at;
}

char* end_of_value(char* at) {
    for (bool in_quote = false; *at != 0 && (in_quote || !is_blank(*at)); ++at)
        if (*at == '"') in_quote = !in_quote;
    return at;
}

// Ends the word at `end`. Gives what stands behind it, or null if nothing does.
char* cut(char* end) {
    if (*end == 0) return nullptr;
    *end = 0;
    return end[1] != 0 ? end + 1 : nullptr;
}

}  // namespace

char* smartok(char* text, char const* separators) {
    if (text != nullptr) narrow_position = text;
    return detail::next_piece(narrow_position, separators, true);
}

char16_t* wsmartok(char16_t* text, char16_t const* separators) {
    if (text != nullptr) wide_position = text;
    return detail::next_piece(wide_position, separators, true);
}

void Tokenize_Whitespace(char* text, char replacement) {
    char* out = text;
    const char* at = text;
    bool in_quote = false;
    for (; *at != 0; ++at) {
        if (*at == '\n') continue;
        if (*at == '"') in_quote = !in_quote;
        const bool replaced = !in_quote && (is_blank(*at) || *at == '\r');
        const char c = replaced ? replacement : *at;
        if (c != 0) *out++ = c;
    }
    std::memset(out, 0, static_cast<std::size_t>(at - out));
}

char* Next_Cmdline_Option(char* line, char** option, char** value) {
    *option = *value = nullptr;
    char* const slash = line != nullptr ? std::strchr(line, '/') : nullptr;
    if (slash == nullptr || slash[1] == 0) return nullptr;
    *option = slash + 1;
    char* at = cut(end_of_name(*option));
    if (at == nullptr) return nullptr;
    at = skip_blanks(at);
    if (*at == '/') return at;
    *value = at;
    return cut(end_of_value(at));
}

void Prepare_Tokens(char16_t* text, char16_t const* quotes, bool to_upper) {
    probe_guard([&] { detail::prepare_tokens(text, quotes, to_upper); }, no_recovery);
}

void Prepare_Tokens(char* text, char const* quotes, bool to_upper) {
    probe_guard([&] { detail::prepare_tokens(text, quotes, to_upper); }, no_recovery);
}

}  // namespace tarnwillow
