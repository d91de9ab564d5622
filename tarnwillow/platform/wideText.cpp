#include "tarnwillow/platform/wideText.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>

namespace tarnwillow::wide {

namespace {

int order(char16_t a, char16_t b) { return a < b ? -1 : (a > b ? 1 : 0); }

}  // namespace

std::size_t length(char16_t const* text) { return std::char_traits<char16_t>::length(text); }

std::size_t bounded_length(char16_t const* text, std::size_t limit) {
    std::size_t count = 0;
    while (count < limit && text[count] != 0)
        ++count;
    return count;
}

int compare(char16_t const* a, char16_t const* b) {
    while (*a != 0 && *a == *b)
        ++a, ++b;
    return order(*a, *b);
}

int compare_no_case(char16_t const* a, char16_t const* b) {
    return compare_no_case(a, b, std::numeric_limits<std::size_t>::max());
}

int compare_no_case(char16_t const* a, char16_t const* b, std::size_t limit) {
    for (std::size_t i = 0; i < limit; ++i) {
        const char16_t left = to_lower(a[i]);
        const char16_t right = to_lower(b[i]);
        if (left != right) return order(left, right);
        if (left == 0) return 0;
    }
    return 0;
}

char16_t* find(char16_t const* text, char16_t c) {
    for (; *text != 0; ++text)
        if (*text == c) return const_cast<char16_t*>(text);
    return nullptr;
}

char16_t* find(char16_t const* text, char16_t const* what) {
    const std::basic_string_view<char16_t> whole(text);
    const std::size_t at = whole.find(what);
    return at == whole.npos ? nullptr : const_cast<char16_t*>(text + at);
}

std::size_t copy(char16_t* dest, std::size_t size, char16_t const* source) {
    if (size == 0) return 0;
    const std::size_t count = bounded_length(source, size - 1);
    std::memcpy(dest, source, count * sizeof(char16_t));
    dest[count] = 0;
    return count;
}

std::size_t append(char16_t* dest, std::size_t size, char16_t const* source) {
    const std::size_t present = bounded_length(dest, size);
    if (present == size) return present;
    return present + copy(dest + present, size - present, source);
}

std::int32_t to_int(char16_t const* text) {
    while (is_space(*text) || *text == u'\v' || *text == u'\f')
        ++text;
    const bool negative = *text == u'-';
    if (*text == u'-' || *text == u'+') ++text;
    std::int64_t value = 0;
    for (; *text >= u'0' && *text <= u'9'; ++text)
        value = std::min<std::int64_t>(value * 10 + (*text - u'0'), std::int64_t{1} << 32);
    if (negative) value = -value;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(
        value, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()));
}

}  // namespace tarnwillow::wide
