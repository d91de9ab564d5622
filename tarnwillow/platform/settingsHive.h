// One hive of the settings store: its files, what is remembered of it, and the operations on keys
// by number. Any thread may call. All results are 0 or an error number of registry.h; a call may
// throw std::bad_alloc, and has then changed nothing.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tarnwillow/platform/settingsDatabase.h"
#include "tarnwillow/platform/settingsSequence.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::platform {

/// A key's number in its hive; never used again when the key is gone.
using KeyId = std::int64_t;
inline constexpr KeyId kRootKey = 1;

struct StoredValue {
    std::string name;
    std::uint32_t type = 0;
    bool wide = false;  ///< text that came through a wide call
    std::string bytes;
};
using ValuePointer = std::shared_ptr<const StoredValue>;

/// The value in the present row.
ValuePointer value_of(const Statement& row);

/// See RegQueryInfoKeyW.
struct KeyInfo {
    std::uint32_t subkeys = 0, longest_subkey = 0;
    std::uint32_t values = 0, longest_value_name = 0, longest_data = 0;
};

class SettingsHive {
public:
    /// `base` is the path that its files' names begin with; `access` that of new files. Nothing is
    /// opened before it is needed.
    SettingsHive(std::string base, unsigned access);
    ~SettingsHive();
    SettingsHive(const SettingsHive&) = delete;
    SettingsHive& operator=(const SettingsHive&) = delete;

    long find_key(KeyId base, std::string_view path, KeyId* key);
    long create_key(KeyId base, std::string_view path, KeyId* key, bool* created);
    long delete_key(KeyId base, std::string_view path, bool with_subkeys);
    long subkey_at(KeyId key, std::uint32_t index, std::string* name);

    long find_value(KeyId key, std::string_view name, ValuePointer* value);
    long set_value(KeyId key, const StoredValue& value);
    long delete_value(KeyId key, std::string_view name);
    long value_at(KeyId key, std::uint32_t index, ValuePointer* value);

    long describe(KeyId key, KeyInfo* info);

    /// Whether this account may change the hive.
    bool is_writable();

    std::uint64_t sequence();
    std::uint64_t wait_for_change(std::uint64_t seen, std::uint32_t milliseconds);

    /// A connection, and a lock, must not pass through a fork: they are closed before, and both
    /// processes open their own when they need them. What is remembered stays.
    void prepare_fork();
    void finish_fork() { lock_.unlock(); }

    /// For the list of all hives.
    SettingsHive*& next_hive() { return next_; }

private:
    class Change;
    class Lock;

    // Keeps other threads out.
    class Hold {
    public:
        explicit Hold(SettingsHive& hive) : hive_(hive) { hive_.lock_.lock(); }
        ~Hold();
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

    private:
        SettingsHive& hive_;
    };

    // What is remembered under a key's number and a path below it, or the name of a value in it.
    struct Remembered {
        KeyId key = 0;       // of a path; 0: there is none
        ValuePointer value;  // of a name; null: there is none
    };
    struct TextHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const {
            return std::hash<std::string_view>()(text);
        }
    };
    using Memory = std::unordered_map<std::string, Remembered, TextHash, std::equal_to<>>;

    // All names of one key, for who asks index by index.
    struct Listing {
        KeyId key = 0;
        bool of_values = false;
        bool complete = false;
        std::vector<std::string> names;
        std::vector<ValuePointer> values;
    };

    template <class Work>
    long read(KeyId key, Work work);
    template <class Work>
    long change(Work work);

    void forget();
    void forget_if_changed();
    void settle_if_stuck();
    void remember(std::string_view place, Remembered what, std::size_t bytes);
    const Remembered* recall(std::string_view place) const;

    long open(bool create);
    long open_files(bool create);
    bool set_aside();
    bool make_folder() const;
    bool move_files_away();

    long look_up(KeyId base, std::string_view path, KeyId* key);
    long level_of(KeyId key, std::int64_t* level);
    long child(KeyId parent, std::string_view name, KeyId* key);
    long add_child(KeyId parent, std::string_view name, KeyId* key);
    long make_path(KeyId base, std::string_view path, KeyId* key, bool* created);
    long remove_key(KeyId key, bool with_subkeys);
    long load_value(KeyId key, std::string_view name, ValuePointer* value);
    bool asks_again(KeyId key, bool of_values);
    long load_listing();
    long row_at(KeyId key, std::uint32_t index, bool of_values, std::string* name,
                ValuePointer* value);

    SettingsHive* next_ = nullptr;
    const std::string base_;
    const unsigned access_;
    std::mutex lock_;
    SettingsDatabase database_;
    SettingsSequence sequence_;
    std::uint64_t generation_ = 0;     // of the files that the connection belongs to
    std::uint64_t remembered_at_ = 1;  // the number for which memory and listing hold
    unsigned unsettled_reads_ = 0;     // in a row under one odd number
    std::size_t remembered_bytes_ = 0;
    Memory memory_;
    Listing listing_;
    std::string report_;  // of what was set aside, not yet told
};

// Runs with the database open; a second time if it could not be read and another took its place.
// Without a database there is only the root.
template <class Work>
long SettingsHive::read(KeyId key, Work work) {
    long error = open(false);
    if (error == S_OK) error = work();
    if (error == ERROR_REGISTRY_CORRUPT && set_aside()) {
        error = open(false);
        if (error == S_OK) error = work();
    }
    const bool nowhere = error == ERROR_FILE_NOT_FOUND && !database_.is_open();
    return nowhere && key != kRootKey ? ERROR_KEY_DELETED : error;
}

}  // namespace tarnwillow::platform
