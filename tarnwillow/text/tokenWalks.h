// The walks of the tokenisers, one for both widths.
#pragma once

#include "tarnwillow/text/plainText.h"
#include "tarnwillow/text/tokenState.h"

namespace tarnwillow::detail {

template <class Char>
TokenState<Char> begin_tokens(Char* text, Char separator) {
    TokenState<Char> state;
    state.text = text;
    state.separator = separator;
    state.length = text != nullptr ? length_of(text) : 0;
    return state;
}

template <class Char>
void skip_leading_spaces(TokenState<Char>& state) {
    if (!state.strip_leading) return;
    while (state.position < state.length && state.text[state.position] == ' ')
        ++state.position;
}

// The first unit of a piece stays, so that a piece of spaces is still a piece.
template <class Char>
void cut_trailing_spaces(Char* piece, Char* end) {
    while (end > piece + 1 && end[-1] == ' ')
        *--end = 0;
}

template <class Char>
Char* next_token(TokenState<Char>& state, Char separator) {
    if (separator == 0) separator = state.separator;
    skip_leading_spaces(state);
    if (state.position >= state.length) return nullptr;  // behind it if the caller has appended
    Char* const piece = state.text + state.position;
    while (state.text[state.position] != separator && state.text[state.position] != 0)
        ++state.position;
    Char* const end = state.text + state.position;
    if (*end == 0) {
        state.position = state.length;  // also at an end that the caller has drawn in meanwhile
    } else {
        *end = 0;
        ++state.position;
    }
    if (state.strip_trailing) cut_trailing_spaces(piece, end);
    return piece;
}

template <class Char>
Char* rest_of_tokens(TokenState<Char>& state) {
    skip_leading_spaces(state);
    Char* const rest = state.text != nullptr ? state.text + state.position : nullptr;
    state.position = state.length;
    return rest;
}

/// Cuts the piece at `position` at the first of the separators outside quotes and moves `position`
/// behind it; to null at the end of the text, and with null separators.
template <class Char>
Char* next_piece(Char*& position, Char const* separators, bool honour_quotes) {
    Char* const piece = position;
    position = nullptr;
    if (piece == nullptr || separators == nullptr) return piece;
    bool in_quote = false;
    for (Char* at = piece; *at != 0; ++at) {
        if (honour_quotes && *at == '"') {
            in_quote = !in_quote;
        } else if (!in_quote && is_one_of(*at, separators)) {
            *at = 0;
            position = at + 1;
            break;
        }
    }
    return piece;
}

/// Changes the case of ASCII letters up to `mark` or the end; gives where it stopped.
template <class Char>
Char* change_case_to(Char* at, Char mark, bool to_upper) {
    const Char first = to_upper ? 'a' : 'A';
    const int step = to_upper ? -32 : 32;
    for (; *at != 0 && *at != mark; ++at)
        if (*at >= first && *at < first + 26) *at = static_cast<Char>(*at + step);
    return at;
}

template <class Char>
void prepare_tokens(Char* at, Char const* marks, bool to_upper) {
    for (; *at != 0; ++at) {
        for (Char const* mark = marks; *mark != 0; ++mark) {
            if (*at != *mark) continue;
            ++at;
            if (*at != *mark) at = change_case_to(at, *mark, to_upper);
        }
        if (*at == 0) return;  // a mark was left open
    }
}

}  // namespace tarnwillow::detail
