// Where a setting is, as a person writes it.
#pragma once

#include <string>
#include <string_view>

#include "tarnwillow/platform/registry.h"

namespace tarnwillow::cli {

/// A key: HKLM\path, HKCU\path, HKCR\path or HKU\path, the long names too. Without a hive the path
/// starts at the application key of HKLM.
struct SettingsPlace {
    HKEY root = HKEY_LOCAL_MACHINE;
    char const* hive = "HKLM";
    std::string key;

    std::string below(std::string_view name) const;
    std::string text() const { return below({}); }
};

SettingsPlace parse_key(std::string_view text);

/// The same with the name of a value behind the last `\`.
SettingsPlace parse_value(std::string_view text, std::string* name);

/// Whether the text begins with a hive; takes it off.
bool take_hive(std::string_view* text, SettingsPlace* place);

}  // namespace tarnwillow::cli
