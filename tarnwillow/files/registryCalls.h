// The store's calls of both widths under one name, for code that serves both.
#pragma once

#include "tarnwillow/platform/registry.h"

namespace tarnwillow::detail {

inline long open_key(HKEY key, char const* path, std::uint32_t access, HKEY* out) {
    return RegOpenKeyExA(key, path, access, out);
}
inline long open_key(HKEY key, char16_t const* path, std::uint32_t access, HKEY* out) {
    return RegOpenKeyExW(key, path, access, out);
}
inline long create_key(HKEY key, char const* path, std::uint32_t access, HKEY* out) {
    return RegCreateKeyExA(key, path, access, out);
}
inline long create_key(HKEY key, char16_t const* path, std::uint32_t access, HKEY* out) {
    return RegCreateKeyExW(key, path, access, out);
}
inline long delete_key(HKEY key, char const* path) { return RegDeleteKeyA(key, path); }
inline long delete_key(HKEY key, char16_t const* path) { return RegDeleteKeyW(key, path); }
inline long query_value(HKEY key, char const* name, std::uint32_t* type, void* data,
                        std::uint32_t* size) {
    return RegQueryValueExA(key, name, type, data, size);
}
inline long query_value(HKEY key, char16_t const* name, std::uint32_t* type, void* data,
                        std::uint32_t* size) {
    return RegQueryValueExW(key, name, type, data, size);
}
inline long set_value(HKEY key, char const* name, std::uint32_t type, void const* data,
                      std::uint32_t size) {
    return RegSetValueExA(key, name, type, data, size);
}
inline long set_value(HKEY key, char16_t const* name, std::uint32_t type, void const* data,
                      std::uint32_t size) {
    return RegSetValueExW(key, name, type, data, size);
}
inline long subkey_at(HKEY key, std::uint32_t index, char* name, std::uint32_t* size) {
    return RegEnumKeyExA(key, index, name, size);
}
inline long subkey_at(HKEY key, std::uint32_t index, char16_t* name, std::uint32_t* size) {
    return RegEnumKeyExW(key, index, name, size);
}
inline long value_at(HKEY key, std::uint32_t index, char* name, std::uint32_t* name_size,
                     std::uint32_t* type, void* data, std::uint32_t* size) {
    return RegEnumValueA(key, index, name, name_size, type, data, size);
}
inline long value_at(HKEY key, std::uint32_t index, char16_t* name, std::uint32_t* name_size,
                     std::uint32_t* type, void* data, std::uint32_t* size) {
    return RegEnumValueW(key, index, name, name_size, type, data, size);
}

}  // namespace tarnwillow::detail
