#include "settingsEntry.h"

#include "tarnwillow/platform/status.h"
#include "xmlDocument.h"

namespace tarnwillow::cli {

namespace {

// Room for every name, in either width.
constexpr std::uint32_t kNameRoom = 3 * 16384;

long query(HKEY key, const SettingsEntry& entry, std::uint32_t* type, void* data,
           std::uint32_t* size) {
    return entry.wide ? RegQueryValueExW(key, to_wide(entry.name.c_str()).c_str(), type, data, size)
                      : RegQueryValueExA(key, entry.name.c_str(), type, data, size);
}

}  // namespace

long SettingsKey::open(HKEY root, const std::string& path) {
    return RegOpenKeyExA(root, path.c_str(), MAXIMUM_ALLOWED, &key_);
}

long SettingsKey::create(HKEY root, const std::string& path) {
    return RegCreateKeyExA(root, path.c_str(), MAXIMUM_ALLOWED, &key_);
}

std::vector<std::string> read_subkeys(HKEY key) {
    std::vector<std::string> names;
    std::string name(kNameRoom, '\0');
    for (std::uint32_t size = kNameRoom;
         RegEnumKeyExA(key, static_cast<std::uint32_t>(names.size()), name.data(), &size) == S_OK;
         size = kNameRoom)
        names.push_back(name.substr(0, size));
    return names;
}

// Asks again if another process has made the value longer meanwhile.
long read_entry(HKEY key, const std::string& name, SettingsEntry* entry) {
    entry->name = name;
    for (;;) {
        entry->wide = platform::is_wide_setting(key, name.c_str());
        std::uint32_t size = 0;
        long error = query(key, *entry, nullptr, nullptr, &size);
        if (error != S_OK) return error;
        entry->bytes.resize(size);
        error = query(key, *entry, &entry->type, entry->bytes.data(), &size);
        entry->bytes.resize(size);
        if (error != ERROR_MORE_DATA) return error;
    }
}

std::vector<SettingsEntry> read_entries(HKEY key) {
    std::vector<SettingsEntry> entries;
    std::string name(kNameRoom, '\0');
    std::uint32_t size = kNameRoom;
    for (std::uint32_t index = 0;
         RegEnumValueA(key, index, name.data(), &size, nullptr, nullptr, nullptr) == S_OK;
         ++index, size = kNameRoom) {
        SettingsEntry entry;
        if (read_entry(key, name.substr(0, size), &entry) == S_OK)
            entries.push_back(std::move(entry));
    }
    return entries;
}

long write_entry(HKEY key, const SettingsEntry& entry) {
    const auto size = static_cast<std::uint32_t>(entry.bytes.size());
    return entry.wide
               ? RegSetValueExW(key, to_wide(entry.name.c_str()).c_str(), entry.type,
                                entry.bytes.data(), size)
               : RegSetValueExA(key, entry.name.c_str(), entry.type, entry.bytes.data(), size);
}

}  // namespace tarnwillow::cli
