#include "settingsPlace.h"

#include <strings.h>

#include "tarnwillow/files/CRegistry.h"

namespace tarnwillow::cli {

namespace {

struct Hive {
    char const* name;
    char const* long_name;
    HKEY root;
};

const Hive kHives[] = {{"HKLM", "HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE},
                       {"HKCU", "HKEY_CURRENT_USER", HKEY_CURRENT_USER},
                       {"HKCR", "HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},
                       {"HKU", "HKEY_USERS", HKEY_USERS}};

std::string joined(std::string_view first, std::string_view second) {
    std::string whole(first);
    if (!first.empty() && !second.empty()) whole += '\\';
    return whole.append(second);
}

}  // namespace

std::string SettingsPlace::below(std::string_view name) const {
    return joined(joined(hive, key), name);
}

bool take_hive(std::string_view* text, SettingsPlace* place) {
    const std::string first(text->substr(0, text->find('\\')));
    for (const Hive& hive : kHives) {
        if (strcasecmp(first.c_str(), hive.name) != 0 &&
            strcasecmp(first.c_str(), hive.long_name) != 0)
            continue;
        place->root = hive.root;
        place->hive = hive.name;
        text->remove_prefix(std::min(text->size(), first.size() + 1));
        return true;
    }
    return false;
}

SettingsPlace parse_key(std::string_view text) {
    SettingsPlace place;
    const bool with_hive = take_hive(&text, &place);
    while (!text.empty() && text.back() == '\\')
        text.remove_suffix(1);
    place.key = with_hive ? std::string(text) : joined(kApplicationKey, text);
    return place;
}

SettingsPlace parse_value(std::string_view text, std::string* name) {
    const std::size_t end = text.rfind('\\');
    const bool has_key = end != std::string_view::npos;
    *name = has_key ? text.substr(end + 1) : text;
    return parse_key(has_key ? text.substr(0, end) : std::string_view());
}

}  // namespace tarnwillow::cli
