// Keys and values as they are stored, whatever width they came through.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tarnwillow/platform/registry.h"

namespace tarnwillow::cli {

struct SettingsEntry {
    std::string name;
    std::uint32_t type = REG_NONE;
    bool wide = false;
    std::string bytes;
};

/// An open key for a scope.
class SettingsKey {
public:
    SettingsKey() = default;
    ~SettingsKey() { RegCloseKey(key_); }
    SettingsKey(const SettingsKey&) = delete;
    SettingsKey& operator=(const SettingsKey&) = delete;

    /// Both give an error number of the store.
    long open(HKEY root, const std::string& path);
    long create(HKEY root, const std::string& path);

    HKEY get() const { return key_; }

private:
    HKEY key_ = nullptr;
};

std::vector<std::string> read_subkeys(HKEY key);
std::vector<SettingsEntry> read_entries(HKEY key);

/// An error number of the store.
long read_entry(HKEY key, const std::string& name, SettingsEntry* entry);
long write_entry(HKEY key, const SettingsEntry& entry);

}  // namespace tarnwillow::cli
