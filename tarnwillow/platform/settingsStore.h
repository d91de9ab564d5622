// Which hives there are, where their files live, and the handles of open keys.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/settingsHive.h"

namespace tarnwillow::platform {

/// A key of a hive, and what a handle may do with it.
struct OpenKey {
    std::shared_ptr<SettingsHive> hive;
    KeyId id = kRootKey;
    std::uint32_t access = 0;
    char const* prefix = "";  ///< path of a predefined key inside its hive, with a `\` behind
    bool predefined = false;
};

/// The key behind a predefined or open handle. 0 or ERROR_INVALID_HANDLE. May throw std::bad_alloc.
long find_open_key(HKEY key, OpenKey* found);

/// A new handle for a key; null without memory.
HKEY open_key_handle(const OpenKey& key);

/// ERROR_INVALID_HANDLE for a value that is no open key.
long close_key_handle(HKEY key);

/// Makes a folder and those above it, readable by everyone if wanted, whatever the mask. Whether it
/// is there then.
bool make_folders(const std::string& path, bool for_everyone);

namespace detail {

/// Every hive tells of itself, so that none has a connection while the process forks.
void enter_hive(SettingsHive* hive);
void leave_hive(SettingsHive* hive);

/// Makes the store's own state, so that it outlives what is made later.
void make_settings_store();

}  // namespace detail
}  // namespace tarnwillow::platform
