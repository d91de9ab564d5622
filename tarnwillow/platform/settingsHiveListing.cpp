// What a hive tells of a key index by index, and of a key as a whole.
#include <algorithm>
#include <limits>

#include "tarnwillow/platform/settingsHive.h"
#include "tarnwillow/platform/settingsName.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::platform {

namespace {

std::uint32_t as_size(std::size_t size) {
    return static_cast<std::uint32_t>(
        std::min<std::size_t>(size, std::numeric_limits<std::uint32_t>::max()));
}

// In the longer of both widths.
std::size_t longest_form(const StoredValue& value) {
    if (!is_text_type(value.type)) return value.bytes.size();
    const std::size_t other = value.wide ? wide_bytes_as_narrow(value.bytes).size()
                                         : unit_count(value.bytes) * sizeof(char16_t);
    return std::max(value.bytes.size(), other);
}

}  // namespace

// All names are loaded when the same key is asked a second time without a change between: who
// deletes what it enumerates gets by with single rows.
bool SettingsHive::asks_again(KeyId key, bool of_values) {
    if (listing_.key == key && listing_.of_values == of_values) return true;
    listing_ = {};
    listing_.key = key;
    listing_.of_values = of_values;
    return false;
}

long SettingsHive::load_listing() {
    Listing all{listing_.key, listing_.of_values, true, {}, {}};
    Statement rows(database_, all.of_values ? Query::values : Query::subkeys);
    rows.bind(all.key);
    while (rows.next()) {
        if (all.of_values)
            all.values.push_back(value_of(rows));
        else
            all.names.emplace_back(rows.text(1));
    }
    if (rows.error() != S_OK) return rows.error();
    if (is_settled(remembered_at_) && sequence_.number() == remembered_at_)
        listing_ = std::move(all);
    return S_OK;
}

long SettingsHive::row_at(KeyId key, std::uint32_t index, bool of_values, std::string* name,
                          ValuePointer* value) {
    if (asks_again(key, of_values) && !listing_.complete) {
        const long error = load_listing();
        if (error != S_OK) return error;
    }
    if (listing_.complete) {
        if (index >= (of_values ? listing_.values.size() : listing_.names.size()))
            return ERROR_NO_MORE_ITEMS;
        if (of_values)
            *value = listing_.values[index];
        else
            *name = listing_.names[index];
        return S_OK;
    }
    std::int64_t level = 0;
    const long error = level_of(key, &level);
    if (error != S_OK) return error;
    Statement row(database_, of_values ? Query::value_at : Query::subkey_at);
    if (!row.bind(key).bind(std::int64_t{index}).next())
        return row.error() != S_OK ? row.error() : ERROR_NO_MORE_ITEMS;
    if (of_values)
        *value = value_of(row);
    else
        *name = row.text(1);
    return S_OK;
}

long SettingsHive::subkey_at(KeyId key, std::uint32_t index, std::string* name) {
    const Hold hold(*this);
    forget_if_changed();
    const long error = read(key, [&] { return row_at(key, index, false, name, nullptr); });
    return error == ERROR_FILE_NOT_FOUND ? ERROR_NO_MORE_ITEMS : error;
}

long SettingsHive::value_at(KeyId key, std::uint32_t index, ValuePointer* value) {
    const Hold hold(*this);
    forget_if_changed();
    const long error = read(key, [&] { return row_at(key, index, true, nullptr, value); });
    return error == ERROR_FILE_NOT_FOUND ? ERROR_NO_MORE_ITEMS : error;
}

long SettingsHive::describe(KeyId key, KeyInfo* info) {
    const Hold hold(*this);
    forget_if_changed();
    const auto count = [&] {
        std::int64_t level = 0;
        const long error = level_of(key, &level);
        if (error != S_OK) return error;
        *info = {};
        Statement subkeys(database_, Query::subkeys);
        for (subkeys.bind(key); subkeys.next(); ++info->subkeys)
            info->longest_subkey =
                std::max(info->longest_subkey, as_size(unit_count(subkeys.text(1))));
        Statement values(database_, Query::values);
        for (values.bind(key); values.next(); ++info->values) {
            const ValuePointer value = value_of(values);
            info->longest_value_name =
                std::max(info->longest_value_name, as_size(unit_count(value->name)));
            info->longest_data = std::max(info->longest_data, as_size(longest_form(*value)));
        }
        return subkeys.error() != S_OK ? subkeys.error() : values.error();
    };
    const long error = read(key, count);
    return error == ERROR_FILE_NOT_FOUND ? S_OK : error;
}

}  // namespace tarnwillow::platform
