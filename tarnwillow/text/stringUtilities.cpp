#include "tarnwillow/text/stringUtilities.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/wideText.h"
#include "tarnwillow/text/plainText.h"

namespace tarnwillow {

namespace {

using detail::is_one_of;
using detail::length_of;

char* find_in(char const* text, char const* what) {
    return const_cast<char*>(std::strstr(text, what));
}
char16_t* find_in(char16_t const* text, char16_t const* what) { return wide::find(text, what); }

// Moves the text at `from`, terminator included, to `to`.
template <class Char>
void move_text(Char* to, Char const* from) {
    std::memmove(to, from, (length_of(from) + 1) * sizeof(Char));
}

template <class Char>
bool begins_with_no_case(Char const* text, Char const* prefix) {
    for (; *prefix != 0; ++text, ++prefix)
        if (wide::to_lower(*text) != wide::to_lower(*prefix)) return false;
    return true;
}

template <class Char>
Char* find_no_case(Char const* text, Char const* find) {
    for (; !begins_with_no_case(text, find); ++text)
        if (*text == 0) return nullptr;
    return const_cast<Char*>(text);
}

template <class Char>
bool has_one_of(Char const* text, Char const* set) {
    for (; *text != 0; ++text)
        if (is_one_of(*text, set)) return true;
    return false;
}

bool equal(char16_t const* a, char16_t const* b, bool match_case) {
    return (match_case ? wide::compare(a, b) : wide::compare_no_case(a, b)) == 0;
}

int index_in_list(char16_t const* text, char16_t const* const* list, bool match_case) {
    for (int index = 0; list[index] != nullptr; ++index)
        if (equal(text, list[index], match_case)) return index;
    return -1;
}

template <class Char>
bool remove_first(Char* text, Char const* what) {
    Char* const match = find_in(text, what);
    if (match == nullptr) return false;
    move_text(match, match + length_of(what));
    return true;
}

template <class Char>
void remove_all(Char* text, Char c) {
    Char* out = text;
    for (; *text != 0; ++text)
        if (*text != c) *out++ = *text;
    *out = 0;
}

template <class Char>
void remove_space(Char* text) {
    Char* out = text;
    bool in_quote = false;
    for (; *text != 0; ++text) {
        if (*text == '"') in_quote = !in_quote;
        if (in_quote || !wide::is_space(*text)) *out++ = *text;
    }
    *out = 0;
}

template <class Char>
void trim(Char* text, bool at_end) {
    if (at_end) {
        for (std::size_t i = length_of(text); i > 1 && wide::is_space(text[i - 1]); --i)
            text[i - 1] = 0;
        return;
    }
    Char* begin = text;
    while (wide::is_space(*begin))
        ++begin;
    move_text(text, begin);
}

// The result is built aside, because `replacement` may lie in `text`.
template <class Char>
bool replace_first(Char* text, Char const* find, Char const* replacement, int limit) {
    Char* const match = find_in(text, find);
    if (match == nullptr) return false;
    const std::size_t replaced = length_of(find);
    const std::size_t inserted = length_of(replacement);
    const std::size_t length = length_of(text);
    const std::size_t size = length + std::max(replaced, inserted);
    if (limit != -1 && static_cast<long>(size) > limit) return false;
    // With an empty `find` the bound leaves no room for the terminator.
    if (limit != -1 && static_cast<long>(length - replaced + inserted) >= limit) return false;
    const std::unique_ptr<Char[]> result(new (std::nothrow) Char[size + 1]);
    if (result == nullptr) return false;
    Char* out = std::copy(text, match, result.get());
    out = std::copy_n(replacement, inserted, out);
    std::copy_n(match + replaced, length_of(match + replaced) + 1, out);
    move_text(text, result.get());
    return true;
}

template <class Char>
void quote(Char* text) {
    const std::size_t length = length_of(text);
    std::memmove(text + 1, text, length * sizeof(Char));
    text[0] = text[length + 1] = '"';
    text[length + 2] = 0;
}

template <class Char>
Char* tail(Char* text, Char separator, bool keep) {
    for (std::size_t i = length_of(text); i-- > 1;) {
        if (text[i] != separator) continue;
        if (!keep) text[i] = 0;
        return text + i + 1;
    }
    return text;
}

template <class Char>
bool is_digit(Char c) {
    return c >= '0' && c <= '9';
}

template <class Char>
bool is_number(Char const* text) {
    while (is_digit(*text))
        ++text;
    return *text == 0;
}

template <class Char>
bool is_hex(Char const* text) {
    while (is_digit(*text) || (wide::to_lower(*text) >= u'a' && wide::to_lower(*text) <= u'f'))
        ++text;
    return *text == 0;
}

template <class Char>
int bytes_with_terminator(Char const* text) {
    constexpr std::size_t kMost = std::numeric_limits<int>::max();
    return static_cast<int>(std::min(kMost, (length_of(text) + 1) * sizeof(Char)));
}

}  // namespace

char* strstr_ncs(char const* text, char const* find) { return find_no_case(text, find); }
char16_t* wcsstr_ncs(char16_t const* text, char16_t const* find) {
    return find_no_case(text, find);
}

bool String_Begins_With(char const* text, char const* prefix) {
    return begins_with_no_case(text, prefix);
}

int Which_String(char16_t const* text, char16_t const* const* list, bool match_case) {
    return reporting_guard(
        ExceptionLevelHandled, u"Which_String",
        [&] { return index_in_list(not_null(text), not_null(list), match_case); },
        [] { return -1; });
}

bool String_In_Set(char16_t const* text, char16_t const* const* list, bool match_case) {
    return index_in_list(text, list, match_case) >= 0;
}

bool Contains_Char(char const* text, char const* set) { return has_one_of(text, set); }
bool Contains_Char(char16_t const* text, char16_t const* set) { return has_one_of(text, set); }
char Char_In_Set(char c, char const* set) { return is_one_of(c, set) ? c : '\0'; }
char16_t WChar_In_Set(char16_t c, char16_t const* set) { return is_one_of(c, set) ? c : u'\0'; }
bool CharIsNotOneOf(char c, char const* set) { return !is_one_of(c, set); }

bool Strip_String(char* text, char const* what) { return remove_first(text, what); }
bool Strip_String(char16_t* text, char16_t const* what) { return remove_first(text, what); }
void Strip_Quotes(char* text) { remove_all(text, '"'); }
void Strip_Quotes(char16_t* text) { remove_all(text, u'"'); }
void Strip_Single_Quotes(char* text) { remove_all(text, '\''); }
void Strip_Single_Quotes(char16_t* text) { remove_all(text, u'\''); }
void Strip_Char(char* text, char c) { remove_all(text, c); }
void Strip_Whitespace(char* text) { remove_space(text); }
void Strip_Whitespace(char16_t* text) { remove_space(text); }
void Trim_White_Space(char* text, bool at_end) { trim(text, at_end); }
void Trim_White_Space(char16_t* text, bool at_end) { trim(text, at_end); }

bool Replace_String(char* text, char const* find, char const* replacement, int limit) {
    return replace_first(text, find, replacement, limit);
}
bool Replace_String(char16_t* text, char16_t const* find, char16_t const* replacement, int limit) {
    return replace_first(text, find, replacement, limit);
}
void Quote_String(char* text) { quote(text); }
void Quote_String(char16_t* text) { quote(text); }

char* Tail_String(char* text, char separator, bool keep) { return tail(text, separator, keep); }
char16_t* Tail_String(char16_t* text, char16_t separator, bool keep) {
    return tail(text, separator, keep);
}
char* Tail_String(char const* text, char separator) {
    return tail(const_cast<char*>(text), separator, true);
}
char16_t* Tail_String(char16_t const* text, char16_t separator) {
    return tail(const_cast<char16_t*>(text), separator, true);
}

bool Is_Hex(char const* text) { return is_hex(text); }
bool Is_Hex(char16_t const* text) { return is_hex(text); }
bool Is_Number(char const* text) { return is_number(text); }
bool Is_Number(char16_t const* text) { return is_number(text); }
int Str_Buffer_Len(char const* text) { return bytes_with_terminator(text); }
int Str_Buffer_Len(char16_t const* text) { return bytes_with_terminator(text); }

int Count_Lines(char const* text) {
    if (text == nullptr) return 0;
    return 1 + static_cast<int>(std::count(text, text + length_of(text), '\n'));
}

}  // namespace tarnwillow
