#include "tarnwillow/platform/settingsName.h"

#include <algorithm>
#include <cstring>

#include "tarnwillow/platform/ownText.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow::platform {

namespace {

bool is_ascii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
}

}  // namespace

std::string stored_text(char const* text) {
    if (text == nullptr) return {};
    const std::string_view given = text;
    if (is_ascii(given)) return std::string(given);
    const std::u16string wide = widened(given);
    return narrowed(wide);
}

std::string stored_text(char16_t const* text) {
    return text != nullptr ? narrowed({text, wide::length(text)}) : std::string();
}

std::string wide_bytes_as_narrow(std::string_view bytes) {
    std::u16string wide(bytes.size() / sizeof(char16_t), u'\0');
    std::memcpy(wide.data(), bytes.data(), wide.size() * sizeof(char16_t));
    return narrowed(wide);
}

std::string narrow_bytes_as_wide(std::string_view bytes) {
    const std::u16string wide = widened(bytes);
    return {reinterpret_cast<char const*>(wide.data()), wide.size() * sizeof(char16_t)};
}

void append_folded(std::string& target, std::string_view text) {
    const std::size_t before = target.size();
    target.append(text);
    std::transform(target.begin() + static_cast<std::ptrdiff_t>(before), target.end(),
                   target.begin() + static_cast<std::ptrdiff_t>(before),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
}

std::size_t unit_count(std::string_view text) {
    return narrow_to_wide_length(text.data(), text.size());
}

std::string_view take_first_name(std::string_view& path) {
    while (!path.empty() && path.front() == '\\')
        path.remove_prefix(1);
    const std::string_view name = path.substr(0, path.find('\\'));
    path.remove_prefix(name.size());
    return name;
}

}  // namespace tarnwillow::platform
