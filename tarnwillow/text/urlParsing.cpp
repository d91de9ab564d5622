#include "tarnwillow/text/urlParsing.h"

#include <iterator>

#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

constexpr std::size_t kMostPortText = 255;

/// Whether `text` starts with `prefix`, which is in lower case; never looks behind a terminator.
bool starts_with(char16_t const* text, std::u16string_view prefix) {
    for (const char16_t c : prefix)
        if (wide::to_lower(*text++) != c) return false;
    return true;
}

struct Scheme {
    std::u16string_view prefix;
    std::uint16_t port;
    bool secure;
};
constexpr Scheme kSchemes[] = {
    {u"https://", 443, true},
    {u"http://", 80, false},
    {u"ftp://", 21, false},
};

Scheme const* find_scheme(char16_t const* url) {
    for (const Scheme& scheme : kSchemes)
        if (starts_with(url, scheme.prefix)) return &scheme;
    return nullptr;
}

struct Entity {
    std::u16string_view text;
    char16_t meaning;
};
constexpr Entity kEntities[] = {
    {u"&lt;", u'<'},
    {u"&gt;", u'>'},
    {u"&amp;", u'&'},
    {u"&quot;", u'"'},
};

/// The character at `*at`, decoded; moves behind it.
char16_t take_character(char16_t const** at) {
    if (**at == u'&')
        for (const Entity& entity : kEntities)
            if (starts_with(*at, entity.text)) {
                *at += entity.text.size();
                return entity.meaning;
            }
    return *(*at)++;
}

// Each step moves `*at` behind what it took; false if that does not fit.

template <std::size_t room>
bool take_host(char16_t const** at, char16_t (&host)[room]) {
    std::size_t count = 0;
    for (; **at != 0 && **at != u'/' && **at != u':'; ++*at) {
        host[count++] = **at;
        if (count == room - 1) return false;
    }
    host[count] = 0;
    return true;
}

bool take_port(char16_t const** at, std::uint16_t* port) {
    if (**at != u':') return true;
    char16_t text[kMostPortText + 1];
    std::size_t count = 0;
    for (++*at; **at != 0 && **at != u'/'; ++*at) {
        if (count == kMostPortText) return false;
        text[count++] = **at;
    }
    text[count] = 0;
    *port = static_cast<std::uint16_t>(wide::to_int(text));
    return true;
}

template <std::size_t room>
bool take_path(char16_t const** at, char16_t (&path)[room]) {
    if (**at == u'/') ++*at;
    if (**at == 0) {
        wide::copy(path, room, u"/");
        return true;
    }
    std::size_t count = 0;
    while (**at != 0) {
        path[count++] = take_character(at);
        if (count == room - 1) return false;
    }
    path[count] = 0;
    return true;
}

}  // namespace

long Parse_URL(char16_t const* url, InternetResourceDesc* description) {
    if (url == nullptr || description == nullptr) return E_INVALIDARG;
    Scheme const* const scheme = find_scheme(url);
    if (scheme == nullptr) return E_INVALIDARG;
    description->Port = scheme->port;
    description->Secure = scheme->secure;
    char16_t const* at = url + scheme->prefix.size();
    const bool taken = take_host(&at, description->Host) && take_port(&at, &description->Port) &&
                       take_path(&at, description->Path);
    return taken ? S_OK : E_INVALIDARG;
}

}  // namespace tarnwillow
