#include "tarnwillow/platform/settingsHive.h"

#include <algorithm>

#include "tarnwillow/platform/registry.h"
#include "tarnwillow/platform/settingsName.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::platform {

namespace {

constexpr std::int64_t kMostLevels = 512;
constexpr std::size_t kLargestRemembered = std::size_t{64} << 10;
constexpr std::size_t kMostRemembered = std::size_t{4} << 20;

// Where a path or a name is remembered: the key's number, which of the two it is, the folded text.
std::string place_of(KeyId key, char kind, std::string_view text) {
    std::string place;
    place.reserve(sizeof key + 1 + text.size());
    place.append(reinterpret_cast<char const*>(&key), sizeof key);
    place.push_back(kind);
    append_folded(place, text);
    return place;
}

constexpr char kPath = 'p';
constexpr char kName = 'n';

}  // namespace

/// The lock that keeps other processes from changing the hive.
class SettingsHive::Lock {
public:
    Lock(SettingsHive& hive, bool patient) : hive_(hive), error_(hive.sequence_.lock(patient)) {}
    ~Lock() {
        if (error_ == S_OK) hive_.sequence_.unlock();
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    long error() const { return error_; }

private:
    SettingsHive& hive_;
    const long error_;
};

/// A change under way, under the lock. From its beginning to its end nobody remembers what he
/// reads.
class SettingsHive::Change {
public:
    explicit Change(SettingsHive& hive) : hive_(hive) { hive_.sequence_.begin_change(); }
    ~Change() {
        hive_.sequence_.end_change();
        hive_.forget();
    }
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;

    /// Several statements as one: all of them are done, or none.
    template <class Work>
    long as_one(Work work) {
        const Rollback unless_committed(hive_);
        long error = Statement(hive_.database_, Query::begin).finish();
        if (error == S_OK) error = work();
        return error == S_OK ? Statement(hive_.database_, Query::commit).finish() : error;
    }

private:
    struct Rollback {
        explicit Rollback(SettingsHive& hive) : database(hive.database_) {}
        ~Rollback() {
            if (database.in_transaction()) Statement(database, Query::rollback).finish();
        }
        Rollback(const Rollback&) = delete;
        Rollback& operator=(const Rollback&) = delete;
        SettingsDatabase& database;
    };

    SettingsHive& hive_;
};

// Runs under the lock with the database open for writing; a second time if it could not be read and
// another took its place.
template <class Work>
long SettingsHive::change(Work work) {
    const auto attempt = [&] {
        long error = open(true);
        if (error != S_OK) return error;
        const Lock lock(*this, true);
        if (lock.error() != S_OK) return lock.error();
        Change change(*this);
        return work(change);
    };
    const long error = attempt();
    return error == ERROR_REGISTRY_CORRUPT && set_aside() ? attempt() : error;
}

// Remembering.

void SettingsHive::forget() {
    memory_.clear();
    listing_ = {};
    remembered_bytes_ = 0;
    remembered_at_ = 1;
}

void SettingsHive::forget_if_changed() {
    const std::uint64_t number = sequence_.number();
    if (number == remembered_at_ && is_settled(number)) return;
    if (sequence_.generation() != generation_ || database_.is_frozen()) database_.close();
    unsettled_reads_ = number == remembered_at_ ? unsettled_reads_ + 1 : 0;
    forget();
    remembered_at_ = number;
    if (unsettled_reads_ > 100) settle_if_stuck();
}

// A change that does not end has lost its process, or is a very long one.
void SettingsHive::settle_if_stuck() {
    unsettled_reads_ = 0;
    const Lock lock(*this, false);
    if (lock.error() == S_OK) const Change ends_it(*this);
}

void SettingsHive::remember(std::string_view place, Remembered what, std::size_t bytes) {
    if (!is_settled(remembered_at_) || sequence_.number() != remembered_at_) return;
    if (bytes > kLargestRemembered) return;
    if (remembered_bytes_ > kMostRemembered) {
        memory_.clear();
        remembered_bytes_ = 0;
    }
    remembered_bytes_ += bytes + place.size() + sizeof(Remembered) + sizeof(StoredValue);
    memory_.insert_or_assign(std::string(place), std::move(what));
}

const SettingsHive::Remembered* SettingsHive::recall(std::string_view place) const {
    const auto found = memory_.find(place);
    return found != memory_.end() ? &found->second : nullptr;
}

// Keys.

long SettingsHive::level_of(KeyId key, std::int64_t* level) {
    Statement query(database_, Query::key_level);
    if (!query.bind(key).next()) return query.error() != S_OK ? query.error() : ERROR_KEY_DELETED;
    *level = query.number(0);
    return S_OK;
}

long SettingsHive::child(KeyId parent, std::string_view name, KeyId* key) {
    Statement query(database_, Query::find_key);
    if (!query.bind(parent).bind(name).next())
        return query.error() != S_OK ? query.error() : ERROR_FILE_NOT_FOUND;
    *key = query.number(0);
    return S_OK;
}

long SettingsHive::look_up(KeyId base, std::string_view path, KeyId* key) {
    std::int64_t level = 0;
    long error = level_of(base, &level);
    *key = base;
    for (auto name = take_first_name(path); error == S_OK && !name.empty();
         name = take_first_name(path))
        error = child(*key, name, key);
    return error;
}

long SettingsHive::find_key(KeyId base, std::string_view path, KeyId* key) {
    const std::string place = place_of(base, kPath, path);
    const Hold hold(*this);
    forget_if_changed();
    if (const Remembered* known = recall(place)) {
        *key = known->key;
        return *key != 0 ? S_OK : ERROR_FILE_NOT_FOUND;
    }
    const long error = read(base, [&] { return look_up(base, path, key); });
    if (error == S_OK) remember(place, {*key, nullptr}, 0);
    if (error != ERROR_FILE_NOT_FOUND) return error;
    if (take_first_name(path).empty() && base == kRootKey) {
        *key = kRootKey;  // there is no database yet
        return S_OK;
    }
    remember(place, {}, 0);
    return error;
}

long SettingsHive::add_child(KeyId parent, std::string_view name, KeyId* key) {
    if (unit_count(name) > kLongestKeyName) return ERROR_INVALID_PARAMETER;
    std::int64_t level = 0;
    const long error = level_of(parent, &level);
    if (error != S_OK) return error;
    if (level >= kMostLevels) return ERROR_INVALID_PARAMETER;
    Statement insert(database_, Query::insert_key);
    if (insert.bind(parent).bind(name).bind(level + 1).next()) *key = insert.number(0);
    return insert.finish();
}

long SettingsHive::make_path(KeyId base, std::string_view path, KeyId* key, bool* created) {
    *key = base;
    *created = false;
    std::int64_t level = 0;
    long error = level_of(base, &level);
    for (auto name = take_first_name(path); error == S_OK && !name.empty();
         name = take_first_name(path)) {
        error = child(*key, name, key);
        *created = error == ERROR_FILE_NOT_FOUND;
        if (*created) error = add_child(*key, name, key);
    }
    return error;
}

long SettingsHive::create_key(KeyId base, std::string_view path, KeyId* key, bool* created) {
    *created = false;
    const long error = find_key(base, path, key);
    if (error != ERROR_FILE_NOT_FOUND) return error;
    const Hold hold(*this);
    forget_if_changed();
    return change([&](Change& all) {
        return all.as_one([&] { return make_path(base, path, key, created); });
    });
}

long SettingsHive::remove_key(KeyId key, bool with_subkeys) {
    if (!with_subkeys) {
        Statement subkey(database_, Query::subkey_at);
        if (subkey.bind(key).bind(std::int64_t{0}).next()) return ERROR_ACCESS_DENIED;
        if (subkey.error() != S_OK) return subkey.error();
    }
    const long error = Statement(database_, Query::delete_tree_values).bind(key).finish();
    return error == S_OK ? Statement(database_, Query::delete_tree).bind(key).finish() : error;
}

long SettingsHive::delete_key(KeyId base, std::string_view path, bool with_subkeys) {
    KeyId key = 0;
    const long error = find_key(base, path, &key);
    if (error != S_OK) return error;
    if (key == kRootKey) return ERROR_ACCESS_DENIED;
    const Hold hold(*this);
    forget_if_changed();
    return change([&](Change& all) {
        return all.as_one([&] {
            const long gone = look_up(base, path, &key);
            return gone == S_OK ? remove_key(key, with_subkeys) : gone;
        });
    });
}

// Values.

ValuePointer value_of(const Statement& row) {
    const auto value = std::make_shared<StoredValue>();
    value->name = row.text(1);
    value->type = static_cast<std::uint32_t>(row.number(2));
    value->wide = row.number(3) != 0;
    value->bytes = row.bytes(4);
    return value;
}

long SettingsHive::load_value(KeyId key, std::string_view name, ValuePointer* value) {
    Statement query(database_, Query::find_value);
    if (!query.bind(key).bind(name).next())
        return query.error() != S_OK ? query.error() : ERROR_KEY_DELETED;
    *value = query.is_null(0) ? nullptr : value_of(query);
    return S_OK;
}

long SettingsHive::find_value(KeyId key, std::string_view name, ValuePointer* value) {
    const std::string place = place_of(key, kName, name);
    const Hold hold(*this);
    forget_if_changed();
    if (const Remembered* known = recall(place)) {
        *value = known->value;
    } else {
        const long error = read(key, [&] { return load_value(key, name, value); });
        if (error != S_OK) return error;
        remember(place, {0, *value}, *value != nullptr ? (*value)->bytes.size() : 0);
    }
    return *value != nullptr ? S_OK : ERROR_FILE_NOT_FOUND;
}

long SettingsHive::set_value(KeyId key, const StoredValue& value) {
    if (unit_count(value.name) > kLongestValueName) return ERROR_INVALID_PARAMETER;
    const Hold hold(*this);
    forget_if_changed();
    return change([&](Change&) {
        Statement set(database_, Query::set_value);
        set.bind(key).bind(value.name).bind(static_cast<std::int64_t>(value.type));
        const long error = set.bind(std::int64_t{value.wide}).bind_bytes(value.bytes).finish();
        return error == S_OK && database_.changed_rows() == 0 ? ERROR_KEY_DELETED : error;
    });
}

long SettingsHive::delete_value(KeyId key, std::string_view name) {
    ValuePointer value;
    const long error = find_value(key, name, &value);
    if (error != S_OK) return error;
    const Hold hold(*this);
    forget_if_changed();
    return change([&](Change&) {
        const long failed = Statement(database_, Query::delete_value).bind(key).bind(name).finish();
        return failed == S_OK && database_.changed_rows() == 0 ? ERROR_FILE_NOT_FOUND : failed;
    });
}

}  // namespace tarnwillow::platform
