#include "tarnwillow/platform/registry.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

#include "tarnwillow/platform/codepage.h"
#include "tarnwillow/platform/settingsName.h"
#include "tarnwillow/platform/settingsStore.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

namespace {

using platform::OpenKey;
using platform::StoredValue;
using platform::ValuePointer;

constexpr std::uint32_t kEveryRight = KEY_ALL_ACCESS;
constexpr std::uint32_t kGenericRead = 0x80000000;
constexpr std::uint32_t kGenericWrite = 0x40000000;
constexpr std::uint32_t kGenericAll = 0x10000000;
constexpr std::uint32_t kWriting = KEY_SET_VALUE | KEY_CREATE_SUB_KEY;
constexpr std::uint32_t kDeleting = 0x10000;
constexpr std::uint32_t kLargestValue = 256U << 20;

// Every call runs in here: no memory is an error like any other.
template <class Body>
long with_memory(Body body) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

// The rights that an access mask stands for.
std::uint32_t rights_of(std::uint32_t access) {
    if ((access & (MAXIMUM_ALLOWED | kGenericAll)) != 0) return kEveryRight;
    if ((access & kGenericRead) != 0) access |= KEY_READ;
    if ((access & kGenericWrite) != 0) access |= KEY_WRITE;
    return access;
}

bool asks_for_writing(std::uint32_t access) {
    if ((access & MAXIMUM_ALLOWED) != 0) return false;
    return (rights_of(access) & (kWriting | kDeleting)) != 0;
}

// The key behind a handle that has these rights. A predefined key that is a path in its hive is
// looked up, and made if something is to be written there.
long key_for(HKEY handle, std::uint32_t rights, OpenKey* key) {
    const long error = platform::find_open_key(handle, key);
    if (error != S_OK) return error;
    if ((rights_of(key->access) & rights) != rights) return ERROR_ACCESS_DENIED;
    if (*key->prefix == 0) return S_OK;
    bool created = false;
    return (rights & kWriting) != 0
               ? key->hive->create_key(key->id, key->prefix, &key->id, &created)
               : key->hive->find_key(key->id, key->prefix, &key->id);
}

// A key and a path below it, as a place in the hive.
template <class Char>
long place_for(HKEY handle, Char const* path, OpenKey* key, std::string* place) {
    const long error = platform::find_open_key(handle, key);
    if (error == S_OK) *place = key->prefix + platform::stored_text(path);
    return error;
}

long give_handle(OpenKey& key, std::uint32_t access, HKEY* out) {
    if (asks_for_writing(access) && !key.hive->is_writable()) return ERROR_ACCESS_DENIED;
    key.access = access;
    key.prefix = "";
    key.predefined = false;
    *out = platform::open_key_handle(key);
    return *out != nullptr ? S_OK : ERROR_NOT_ENOUGH_MEMORY;
}

template <class Char>
long open_key(HKEY handle, Char const* path, std::uint32_t access, HKEY* out) {
    if (out == nullptr) return ERROR_INVALID_PARAMETER;
    *out = nullptr;
    return with_memory([&] {
        OpenKey key;
        std::string place;
        long error = place_for(handle, path, &key, &place);
        if (error == S_OK) error = key.hive->find_key(key.id, place, &key.id);
        return error == S_OK ? give_handle(key, access, out) : error;
    });
}

template <class Char>
long create_key(HKEY handle, Char const* path, std::uint32_t access, HKEY* out, bool* created) {
    if (out == nullptr) return ERROR_INVALID_PARAMETER;
    *out = nullptr;
    return with_memory([&] {
        OpenKey key;
        std::string place;
        bool is_new = false;
        long error = place_for(handle, path, &key, &place);
        if (error == S_OK && (rights_of(key.access) & KEY_CREATE_SUB_KEY) == 0)
            error = key.hive->find_key(key.id, place, &key.id) == S_OK ? S_OK : ERROR_ACCESS_DENIED;
        else if (error == S_OK)
            error = key.hive->create_key(key.id, place, &key.id, &is_new);
        if (created != nullptr) *created = is_new;
        return error == S_OK ? give_handle(key, access, out) : error;
    });
}

template <class Char>
long delete_key(HKEY handle, Char const* path, bool with_subkeys) {
    if (path == nullptr) return ERROR_INVALID_PARAMETER;
    return with_memory([&] {
        OpenKey key;
        std::string place;
        const long error = place_for(handle, path, &key, &place);
        if (error != S_OK) return error;
        if (key.predefined && *path == 0) return ERROR_ACCESS_DENIED;
        return key.hive->delete_key(key.id, place, with_subkeys);
    });
}

// Values.

// Copies out, as RegQueryValueEx tells. The lock of the hive is not held: a fault in the caller's
// memory harms nobody else.
long give_bytes(std::string_view bytes, void* data, std::uint32_t* size) {
    if (size == nullptr) return data == nullptr ? S_OK : ERROR_INVALID_PARAMETER;
    const std::uint32_t room = *size;
    *size = static_cast<std::uint32_t>(bytes.size());
    if (data == nullptr) return S_OK;
    if (room < bytes.size()) return ERROR_MORE_DATA;
    if (!bytes.empty()) std::memcpy(data, bytes.data(), bytes.size());
    return S_OK;
}

template <class Char>
long give_value(const StoredValue& value, std::uint32_t* type, void* data, std::uint32_t* size) {
    constexpr bool kWide = sizeof(Char) == sizeof(char16_t);
    if (type != nullptr) *type = value.type;
    if (!platform::is_text_type(value.type) || value.wide == kWide)
        return give_bytes(value.bytes, data, size);
    return give_bytes(kWide ? platform::narrow_bytes_as_wide(value.bytes)
                            : platform::wide_bytes_as_narrow(value.bytes),
                      data, size);
}

template <class Char>
long query_value(HKEY handle, Char const* name, std::uint32_t* type, void* data,
                 std::uint32_t* size) {
    return with_memory([&] {
        OpenKey key;
        ValuePointer value;
        long error = key_for(handle, KEY_QUERY_VALUE, &key);
        if (error == S_OK)
            error = key.hive->find_value(key.id, platform::stored_text(name), &value);
        return error == S_OK ? give_value<Char>(*value, type, data, size) : error;
    });
}

template <class Char>
long set_value(HKEY handle, Char const* name, std::uint32_t type, void const* data,
               std::uint32_t size) {
    if ((data == nullptr && size > 0) || size > kLargestValue) return ERROR_INVALID_PARAMETER;
    return with_memory([&] {
        StoredValue value;
        value.name = platform::stored_text(name);
        value.type = type;
        value.wide = platform::is_text_type(type) && sizeof(Char) == sizeof(char16_t);
        if (size > 0) value.bytes.assign(static_cast<char const*>(data), size);
        OpenKey key;
        const long error = key_for(handle, KEY_SET_VALUE, &key);
        return error == S_OK ? key.hive->set_value(key.id, value) : error;
    });
}

template <class Char>
long delete_value(HKEY handle, Char const* name) {
    return with_memory([&] {
        OpenKey key;
        const long error = key_for(handle, KEY_SET_VALUE, &key);
        return error == S_OK ? key.hive->delete_value(key.id, platform::stored_text(name)) : error;
    });
}

// Enumeration.

long give_name(const std::string& name, char* out, std::uint32_t* size) {
    if (*size <= name.size()) return ERROR_MORE_DATA;
    std::memcpy(out, name.c_str(), name.size() + 1);
    *size = static_cast<std::uint32_t>(name.size());
    return S_OK;
}

long give_name(const std::string& name, char16_t* out, std::uint32_t* size) {
    if (*size <= platform::unit_count(name)) return ERROR_MORE_DATA;
    const auto whole = platform::narrow_to_wide(name.data(), name.size(), out, *size - 1);
    out[whole.written] = 0;
    *size = static_cast<std::uint32_t>(whole.written);
    return S_OK;
}

template <class Char>
long enumerate_key(HKEY handle, std::uint32_t index, Char* name, std::uint32_t* size) {
    if (name == nullptr || size == nullptr) return ERROR_INVALID_PARAMETER;
    return with_memory([&] {
        OpenKey key;
        std::string found;
        long error = key_for(handle, KEY_ENUMERATE_SUB_KEYS, &key);
        if (error == S_OK) error = key.hive->subkey_at(key.id, index, &found);
        return error == S_OK ? give_name(found, name, size) : error;
    });
}

template <class Char>
long enumerate_value(HKEY handle, std::uint32_t index, Char* name, std::uint32_t* name_size,
                     std::uint32_t* type, void* data, std::uint32_t* size) {
    if (name == nullptr || name_size == nullptr) return ERROR_INVALID_PARAMETER;
    return with_memory([&] {
        OpenKey key;
        ValuePointer value;
        long error = key_for(handle, KEY_QUERY_VALUE, &key);
        if (error == S_OK) error = key.hive->value_at(key.id, index, &value);
        if (error == S_OK) error = give_name(value->name, name, name_size);
        return error == S_OK ? give_value<Char>(*value, type, data, size) : error;
    });
}

void give(std::uint32_t* out, std::uint32_t number) {
    if (out != nullptr) *out = number;
}

}  // namespace

long RegOpenKeyExA(HKEY key, char const* path, std::uint32_t access, HKEY* out) {
    return open_key(key, path, access, out);
}
long RegOpenKeyExW(HKEY key, char16_t const* path, std::uint32_t access, HKEY* out) {
    return open_key(key, path, access, out);
}
long RegCreateKeyExA(HKEY key, char const* path, std::uint32_t access, HKEY* out, bool* created) {
    return create_key(key, path, access, out, created);
}
long RegCreateKeyExW(HKEY key, char16_t const* path, std::uint32_t access, HKEY* out,
                     bool* created) {
    return create_key(key, path, access, out, created);
}

long RegCloseKey(HKEY key) { return platform::close_key_handle(key); }

long RegQueryValueExA(HKEY key, char const* name, std::uint32_t* type, void* data,
                      std::uint32_t* size) {
    return query_value(key, name, type, data, size);
}
long RegQueryValueExW(HKEY key, char16_t const* name, std::uint32_t* type, void* data,
                      std::uint32_t* size) {
    return query_value(key, name, type, data, size);
}
long RegSetValueExA(HKEY key, char const* name, std::uint32_t type, void const* data,
                    std::uint32_t size) {
    return set_value(key, name, type, data, size);
}
long RegSetValueExW(HKEY key, char16_t const* name, std::uint32_t type, void const* data,
                    std::uint32_t size) {
    return set_value(key, name, type, data, size);
}
long RegDeleteValueA(HKEY key, char const* name) { return delete_value(key, name); }
long RegDeleteValueW(HKEY key, char16_t const* name) { return delete_value(key, name); }

long RegDeleteKeyA(HKEY key, char const* path) { return delete_key(key, path, false); }
long RegDeleteKeyW(HKEY key, char16_t const* path) { return delete_key(key, path, false); }
long SHDeleteKeyA(HKEY key, char const* path) { return delete_key(key, path, true); }
long SHDeleteKeyW(HKEY key, char16_t const* path) { return delete_key(key, path, true); }

long RegEnumKeyExA(HKEY key, std::uint32_t index, char* name, std::uint32_t* size) {
    return enumerate_key(key, index, name, size);
}
long RegEnumKeyExW(HKEY key, std::uint32_t index, char16_t* name, std::uint32_t* size) {
    return enumerate_key(key, index, name, size);
}
long RegEnumValueA(HKEY key, std::uint32_t index, char* name, std::uint32_t* name_size,
                   std::uint32_t* type, void* data, std::uint32_t* size) {
    return enumerate_value(key, index, name, name_size, type, data, size);
}
long RegEnumValueW(HKEY key, std::uint32_t index, char16_t* name, std::uint32_t* name_size,
                   std::uint32_t* type, void* data, std::uint32_t* size) {
    return enumerate_value(key, index, name, name_size, type, data, size);
}

long RegQueryInfoKeyW(HKEY handle, std::uint32_t* subkeys, std::uint32_t* longest_subkey,
                      std::uint32_t* values, std::uint32_t* longest_value_name,
                      std::uint32_t* longest_data) {
    return with_memory([&] {
        OpenKey key;
        platform::KeyInfo info;
        long error = key_for(handle, KEY_QUERY_VALUE, &key);
        if (error == S_OK) error = key.hive->describe(key.id, &info);
        if (error != S_OK) return error;
        give(subkeys, info.subkeys);
        give(longest_subkey, info.longest_subkey);
        give(values, info.values);
        give(longest_value_name, info.longest_value_name);
        give(longest_data, info.longest_data);
        return S_OK;
    });
}

long RegSetKeySecurity(HKEY handle, std::uint32_t, void const*) {
    return with_memory([&] {
        OpenKey key;
        const long error = key_for(handle, 0, &key);
        return error == S_OK ? ERROR_NOT_SUPPORTED : error;
    });
}

namespace platform {

bool is_wide_setting(HKEY handle, char const* name) {
    bool wide = false;
    with_memory([&] {
        OpenKey key;
        ValuePointer value;
        long error = key_for(handle, KEY_QUERY_VALUE, &key);
        if (error == S_OK) error = key.hive->find_value(key.id, stored_text(name), &value);
        wide = error == S_OK && value->wide;
        return error;
    });
    return wide;
}

bool is_same_key(HKEY first, HKEY second) {
    const long same = with_memory([&] {
        OpenKey a, b;
        const long error = key_for(first, 0, &a) | key_for(second, 0, &b);
        return error == S_OK && a.hive == b.hive && a.id == b.id ? S_OK : ERROR_INVALID_HANDLE;
    });
    return same == S_OK;
}

std::uint64_t settings_sequence(HKEY handle) { return wait_for_settings_change(handle, 0, 0); }

std::uint64_t wait_for_settings_change(HKEY handle, std::uint64_t seen,
                                       std::uint32_t milliseconds) {
    std::uint64_t number = seen;
    with_memory([&] {
        OpenKey key;
        const long error = find_open_key(handle, &key);
        if (error == S_OK) number = key.hive->wait_for_change(seen, milliseconds);
        return error;
    });
    return number;
}

}  // namespace platform
}  // namespace tarnwillow
