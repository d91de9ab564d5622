// Whole trees of settings, out and in.
#pragma once

#include <functional>
#include <string>

#include "settingsPlace.h"

namespace tarnwillow::cli {

/// Calls `line` with each line of a tree: the headings of its keys, and below each its entries.
/// False if the key does not exist.
using TakeLine = std::function<void(const SettingsPlace& place, const std::string& line)>;
bool write_tree(const SettingsPlace& place, const TakeLine& line);

/// Exit codes.
int export_settings(const SettingsPlace& place);
int import_settings(char const* file);
int watch_settings(const SettingsPlace& place);

/// Says what failed, on standard error. Gives exit code 1.
int settings_failed(const std::string& where, long error);

}  // namespace tarnwillow::cli
