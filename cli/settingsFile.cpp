#include "settingsFile.h"

#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <vector>

#include "settingsText.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::cli {

namespace {

/// A key of a file, with what is written there.
struct ImportedKey {
    SettingsPlace place;
    std::vector<SettingsEntry> entries;
};

/// Reads a whole file before anything is written.
class SettingsReader {
public:
    /// The number of the line that is wrong, or 0.
    int read(std::istream& input) {
        std::string line;
        for (int number = 1; std::getline(input, line); ++number) {
            if (number == 1 && line.rfind("\xEF\xBB\xBF", 0) == 0) line.erase(0, 3);
            if (!line.empty() && line.back() == '\r') line.pop_back();
            if (!line.empty() && line.front() != '#' && !take(line)) return number;
        }
        return with_header_ ? 0 : 1;
    }
    const std::vector<ImportedKey>& keys() const { return keys_; }

private:
    bool take(const std::string& line) {
        if (!with_header_) return with_header_ = line == kSettingsHeader;
        if (line.front() == '[') return parse_heading(line, &keys_.emplace_back().place);
        return !keys_.empty() && parse_entry_line(line, &keys_.back().entries.emplace_back());
    }

    bool with_header_ = false;
    std::vector<ImportedKey> keys_;
};

int write_key(const ImportedKey& imported) {
    SettingsKey key;
    long error = key.create(imported.place.root, imported.place.key);
    if (error != S_OK) return settings_failed(imported.place.text(), error);
    for (const SettingsEntry& entry : imported.entries) {
        error = write_entry(key.get(), entry);
        if (error != S_OK) return settings_failed(imported.place.below(entry.name), error);
    }
    return 0;
}

/// Every line of a tree under its key's heading, sorted.
using Snapshot = std::map<std::string, std::string>;

Snapshot take_snapshot(const SettingsPlace& place) {
    Snapshot all;
    write_tree(place, [&](const SettingsPlace& key, const std::string& line) {
        const std::string head = heading(key);
        const std::size_t value = line.front() == '[' ? line.size() : line.find(" = ");
        const std::string name = line == head ? head : head + " " + line.substr(0, value);
        all[name] = value < line.size() ? line.substr(value) : "";
    });
    return all;
}

void print_changes(const Snapshot& before, const Snapshot& after) {
    for (const auto& [name, value] : before)
        if (after.find(name) == after.end()) std::printf("- %s\n", name.c_str());
    for (const auto& [name, value] : after) {
        const auto old = before.find(name);
        if (old == before.end())
            std::printf("+ %s%s\n", name.c_str(), value.c_str());
        else if (old->second != value)
            std::printf("~ %s%s\n", name.c_str(), value.c_str());
    }
}

}  // namespace

bool write_tree(const SettingsPlace& place, const TakeLine& line) {
    SettingsKey key;
    if (key.open(place.root, place.key) != S_OK) return false;
    line(place, heading(place));
    for (const SettingsEntry& entry : read_entries(key.get()))
        line(place, entry_line(entry));
    for (const std::string& name : read_subkeys(key.get())) {
        SettingsPlace below = place;
        below.key = place.key.empty() ? name : place.key + "\\" + name;
        write_tree(below, line);
    }
    return true;
}

int export_settings(const SettingsPlace& place) {
    std::printf("%s\n", std::string(kSettingsHeader).c_str());
    const bool there = write_tree(place, [](const SettingsPlace&, const std::string& line) {
        std::printf(line.front() == '[' ? "\n%s\n" : "%s\n", line.c_str());
    });
    if (!there) return settings_failed(place.text(), ERROR_FILE_NOT_FOUND);
    return std::fflush(stdout) == 0 ? 0 : settings_failed(place.text(), ERROR_DISK_FULL);
}

int import_settings(char const* file) {
    const bool from_input = std::string_view(file) == "-";
    std::ifstream opened;
    if (!from_input) opened.open(file, std::ios::binary);
    if (!from_input && !opened) return settings_failed(file, ERROR_FILE_NOT_FOUND);
    SettingsReader reader;
    const int wrong = reader.read(from_input ? std::cin : opened);
    if (wrong != 0) {
        std::fprintf(stderr, "tarnwillow: %s:%d: not a line of exported settings\n", file, wrong);
        return 1;
    }
    for (const ImportedKey& key : reader.keys())
        if (write_key(key) != 0) return 1;
    return 0;
}

// Sleeps until the store's number changes. While there is no store yet the number cannot tell, and
// each sleep ends after a second.
int watch_settings(const SettingsPlace& place) {
    constexpr std::uint32_t kSecond = 1000;
    std::uint64_t seen = platform::settings_sequence(place.root);
    Snapshot before = take_snapshot(place);
    std::fprintf(stderr, "watching %s\n", heading(place).c_str());
    while (std::ferror(stdout) == 0) {
        const std::uint64_t now = platform::wait_for_settings_change(place.root, seen, kSecond);
        if (now == seen) continue;
        seen = now;
        Snapshot after = take_snapshot(place);
        print_changes(before, after);
        std::fflush(stdout);
        before = std::move(after);
    }
    return 1;
}

}  // namespace tarnwillow::cli
