// A store of the test's own, and short words for it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "support/temporaryFolder.h"
#include "tarnwillow/platform/registry.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::test {

inline long set(char const* name, std::string_view bytes, HKEY key = HKEY_LOCAL_MACHINE) {
    return RegSetValueExA(key, name, REG_BINARY, bytes.data(),
                          static_cast<std::uint32_t>(bytes.size()));
}

/// The value's bytes, or the error as a number.
inline std::string get(char const* name, HKEY key = HKEY_LOCAL_MACHINE) {
    std::uint32_t size = 20000;
    std::string bytes(size, '~');
    const long error = RegQueryValueExA(key, name, nullptr, bytes.data(), &size);
    return error == S_OK ? bytes.substr(0, size) : std::to_string(error);
}

class SettingsStore : public testing::Test {
protected:
    std::string file(char const* name) { return folder.file("settings/") + name; }

    /// Databases set aside.
    std::vector<std::string> set_aside() {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(file("")))
            if (entry.path().string().find("machine.db.unreadable-") != std::string::npos)
                names.push_back(entry.path().string());
        return names;
    }

    TemporaryFolder folder;
};

}  // namespace tarnwillow::test
