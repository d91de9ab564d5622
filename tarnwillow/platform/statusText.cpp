#include "tarnwillow/platform/statusText.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "tarnwillow/platform/status.h"

namespace tarnwillow::platform {

namespace {

struct StatusText {
    long code;
    char const* text;
};

constexpr StatusText kTexts[] = {
#define TARNWILLOW_STATUS_TEXT(name, number, text) {status(number), text},
    TARNWILLOW_STATUS_LIST(TARNWILLOW_STATUS_TEXT)
#undef TARNWILLOW_STATUS_TEXT
};

// A code's own text comes before that of the error number it may have been made of.
char const* known_text(long code) {
    for (const StatusText& known : kTexts)
        if (known.code == code) return known.text;
    for (const StatusText& known : kTexts)
        if (HRESULT_FROM_WIN32(known.code) == code) return known.text;
    return nullptr;
}

std::size_t widen(std::string_view text, char16_t* buffer, std::size_t size) {
    if (size == 0) return 0;
    text = text.substr(0, size - 1);
    *std::copy(text.begin(), text.end(), buffer) = 0;
    return text.size();
}

}  // namespace

std::size_t describe_status(long code, char16_t* buffer, std::size_t size) {
    if (char const* text = known_text(code)) return widen(text, buffer, size);
    char text[24];
    std::snprintf(text, sizeof(text), "Error 0x%08X", static_cast<std::uint32_t>(code));
    return widen(text, buffer, size);
}

}  // namespace tarnwillow::platform
