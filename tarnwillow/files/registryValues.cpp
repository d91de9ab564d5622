// The values of CRegistry.
#include <algorithm>
#include <cstring>
#include <limits>

#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/files/registryCalls.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

using detail::query_value;
using detail::set_value;
using detail::value_at;

constexpr std::uint32_t kTextRoom = 256;
constexpr unsigned long kLongest = std::numeric_limits<std::uint32_t>::max();

std::uint32_t as_size(unsigned long size) {
    return static_cast<std::uint32_t>(std::min(size, kLongest));
}

// From the terminator, wherever it is within the buffer, to the buffer's end.
void clean_behind(char* text, std::size_t room) {
    const std::size_t length = strnlen(text, room);
    std::memset(text + length, 0, room - length);
}

void clean_behind(char16_t* text, std::size_t room) {
    const std::size_t length = wide::bounded_length(text, room);
    std::fill(text + length, text + room, u'\0');
}

// Text without a terminator gets one where the buffer has room for it.
void terminate(char* text, std::size_t bytes) {
    if (bytes < kTextRoom) text[bytes] = 0;
}

void terminate(char16_t* text, std::size_t bytes) {
    if (bytes / sizeof(char16_t) < kTextRoom) text[bytes / sizeof(char16_t)] = 0;
}

template <class Char>
bool read_number(HKEY key, Char const* name, std::int32_t* number) {
    std::int32_t stored = 0;
    std::uint32_t size = sizeof stored;
    if (key == nullptr || query_value(key, name, nullptr, &stored, &size) != S_OK) return false;
    *number = stored;
    return true;
}

template <class Char>
bool read_long(HKEY key, Char const* name, long* out) {
    std::int32_t number = 0;
    if (out == nullptr || !read_number(key, name, &number)) return false;
    *out = number;
    return true;
}

template <class Char>
bool read_bool(HKEY key, Char const* name, bool* out) {
    std::int32_t number = 0;
    if (out == nullptr || !read_number(key, name, &number)) return false;
    *out = number != 0;
    return true;
}

template <class Char>
bool write(HKEY key, std::uint32_t type, Char const* name, void const* data, unsigned long size) {
    return key != nullptr && size <= kLongest &&
           set_value(key, name, type, data, static_cast<std::uint32_t>(size)) == S_OK;
}

}  // namespace

// Reading.

bool CRegistry::Get_Entry(char const* name, char const* out) {
    auto* text = const_cast<char*>(out);
    unsigned long size = kTextRoom;
    if (text == nullptr || !Get_Entry(name, text, &size)) return false;
    terminate(text, size);
    return true;
}

bool CRegistry::Get_Entry(char16_t const* name, char16_t const* out) {
    auto* text = const_cast<char16_t*>(out);
    std::uint32_t size = kTextRoom * sizeof(char16_t);
    if (key == nullptr || text == nullptr) return false;
    if (query_value(key, name, nullptr, text, &size) != S_OK) return false;
    terminate(text, size);
    return true;
}

bool CRegistry::Get_Entry(char const* name, void* data, unsigned long* size) {
    if (key == nullptr || size == nullptr) return false;
    const std::uint32_t room = as_size(*size);
    std::uint32_t length = room;
    const bool found = query_value(key, name, nullptr, data, &length) == S_OK;
    if (found && clean_results && data != nullptr) clean_behind(static_cast<char*>(data), room);
    *size = found ? length : 0;
    return found;
}

bool CRegistry::Get_Entry(char16_t const* name, void* data, unsigned long* size) {
    if (key == nullptr || size == nullptr) return false;
    const std::uint32_t room = as_size(std::min(*size, kLongest / sizeof(char16_t)));
    std::uint32_t length = room * static_cast<std::uint32_t>(sizeof(char16_t));
    std::uint32_t type = REG_NONE;
    const long error = query_value(key, name, &type, data, &length);
    *size = error == S_OK ? length : error == ERROR_MORE_DATA ? static_cast<unsigned long>(-1) : 0;
    if (error == S_OK && type == REG_SZ && clean_results && data != nullptr)
        clean_behind(static_cast<char16_t*>(data), room);
    return error == S_OK;
}

bool CRegistry::Get_Entry(char const* name, long* out) { return read_long(key, name, out); }
bool CRegistry::Get_Entry(char16_t const* name, long* out) { return read_long(key, name, out); }
bool CRegistry::Get_Entry(char const* name, bool* out) { return read_bool(key, name, out); }
bool CRegistry::Get_Entry(char16_t const* name, bool* out) { return read_bool(key, name, out); }

bool CRegistry::Entry_Exists(char const* name) {
    return key != nullptr && RegQueryValueExA(key, name, nullptr, nullptr, nullptr) == S_OK;
}
bool CRegistry::Entry_Exists(char16_t const* name) {
    return key != nullptr && RegQueryValueExW(key, name, nullptr, nullptr, nullptr) == S_OK;
}

// Writing.

bool CRegistry::Delete_Entry(char const* name) {
    return key != nullptr && RegDeleteValueA(key, name) == S_OK;
}
bool CRegistry::Delete_Entry(char16_t const* name) {
    return key != nullptr && RegDeleteValueW(key, name) == S_OK;
}

bool CRegistry::Set_Entry(char const* name, char const* text) {
    return text != nullptr && write(key, REG_SZ, name, text, std::strlen(text) + 1);
}
bool CRegistry::Set_Entry(char16_t const* name, char16_t const* text) {
    return text != nullptr &&
           write(key, REG_SZ, name, text, (wide::length(text) + 1) * sizeof(char16_t));
}

template <class Char>
bool CRegistry::set_number(Char const* name, std::uint32_t value) {
    return write(key, REG_DWORD, name, &value, sizeof value);
}
template bool CRegistry::set_number(char const* name, std::uint32_t value);
template bool CRegistry::set_number(char16_t const* name, std::uint32_t value);

bool CRegistry::Set_Entry(char const* name, long value) {
    return detail::fits_setting(value) && set_number(name, static_cast<std::uint32_t>(value));
}
bool CRegistry::Set_Entry(char16_t const* name, long value) {
    return detail::fits_setting(value) && set_number(name, static_cast<std::uint32_t>(value));
}
bool CRegistry::Set_Entry(char const* name, bool value) {
    return set_number(name, std::uint32_t{value});
}
bool CRegistry::Set_Entry(char16_t const* name, bool value) {
    return set_number(name, std::uint32_t{value});
}

bool CRegistry::Set_Entry(char const* name, void const* data, unsigned long size) {
    return write(key, REG_SZ, name, data, size);
}
bool CRegistry::Set_Entry(char16_t const* name, void const* data, unsigned long size) {
    return write(key, REG_SZ, name, data, size);
}
bool CRegistry::Set_Entry(char const* name, long const* data, unsigned long size) {
    return write(key, REG_BINARY, name, data, size);
}
bool CRegistry::Set_Entry(char16_t const* name, long const* data, unsigned long size) {
    return write(key, REG_BINARY, name, data, size);
}
bool CRegistry::Set_Entry(int type, char const* name, void const* data, unsigned long size) {
    return write(key, static_cast<std::uint32_t>(type), name, data, size);
}
bool CRegistry::Set_Entry(int type, char16_t const* name, void const* data, unsigned long size) {
    return write(key, static_cast<std::uint32_t>(type), name, data, size);
}

// By index.

bool CRegistry::Get_Indexed_Value_Data(unsigned long index, unsigned long* type, void* data,
                                       unsigned long* size) {
    if (key == nullptr || index > kLongest) return false;
    const auto place = static_cast<std::uint32_t>(index);
    char16_t name[kNameRoom];
    std::uint32_t name_size = kNameRoom, stored = REG_NONE;
    std::uint32_t length = size != nullptr ? as_size(*size) : 0;
    std::uint32_t* const room = size != nullptr ? &length : nullptr;
    const long error =
        wide ? value_at(key, place, name, &name_size, &stored, data, room)
             : value_at(key, place, reinterpret_cast<char*>(name), &name_size, &stored, data, room);
    if (size != nullptr) *size = length;
    if (error == S_OK && type != nullptr) *type = stored;
    return error == S_OK;
}

namespace {

template <class Char>
bool give_subkey(HKEY key, unsigned long index, Char* out) {
    std::uint32_t size = CRegistry::kNameRoom;
    return key != nullptr && index <= kLongest &&
           detail::subkey_at(key, static_cast<std::uint32_t>(index), out, &size) == S_OK;
}

template <class Char>
bool give_value_name(HKEY key, unsigned long index, Char* out) {
    std::uint32_t size = CRegistry::kNameRoom;
    return key != nullptr && index <= kLongest &&
           value_at(key, static_cast<std::uint32_t>(index), out, &size, nullptr, nullptr,
                    nullptr) == S_OK;
}

}  // namespace

bool CRegistry::Get_Subkey(unsigned long index, char* out) { return give_subkey(key, index, out); }
bool CRegistry::Get_Subkey(unsigned long index, char16_t* out) {
    return give_subkey(key, index, out);
}
bool CRegistry::Get_Indexed_Value(unsigned long index, char* out) {
    return give_value_name(key, index, out);
}
bool CRegistry::Get_Indexed_Value(unsigned long index, char16_t* out) {
    return give_value_name(key, index, out);
}

}  // namespace tarnwillow
