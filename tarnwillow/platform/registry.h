// The settings store: keys in a hierarchy, with typed values. One database file for each hive.
//
// Every call gives 0 (S_OK) or an error number of status.h, and sets no last error. Any thread may
// call; a change is seen by every other process at once. Beside the errors that a comment names:
//
//   ERROR_INVALID_HANDLE      `key` is neither a predefined key nor an open one
//   ERROR_KEY_DELETED         the key behind an open handle is gone, whoever deleted it; a new key
//                             of the same name needs a new handle
//   ERROR_ACCESS_DENIED       the handle was not opened for this, or the account may not write here
//   ERROR_BUSY                another process kept the store for over five seconds
//   ERROR_NOT_ENOUGH_MEMORY, ERROR_DISK_FULL, ERROR_REGISTRY_CORRUPT, ERROR_REGISTRY_IO_FAILED
//
// Names compare without ASCII case and keep the case of their creation. `\` parts the keys of a
// path; `/` is a character like any other. A key's name has at most 255 UTF-16 units, a value's
// 16,383; what is no Unicode text in a name becomes U+FFFD. Subkeys are counted in the order of
// their names, values in the order of their creation.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// The predefined keys, always open. Their numbers are accepted sign-extended, as here, and
/// zero-extended. HKEY_CLASSES_ROOT is the key Software\Classes of HKEY_LOCAL_MACHINE.
inline const HKEY HKEY_CLASSES_ROOT = reinterpret_cast<HKEY>(std::intptr_t{-0x80000000LL});
inline const HKEY HKEY_CURRENT_USER = reinterpret_cast<HKEY>(std::intptr_t{-0x7FFFFFFFLL});
inline const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(std::intptr_t{-0x7FFFFFFELL});
inline const HKEY HKEY_USERS = reinterpret_cast<HKEY>(std::intptr_t{-0x7FFFFFFDLL});

/// What an open key may be used for. A mask without a right makes the calls that need it answer
/// ERROR_ACCESS_DENIED. MAXIMUM_ALLOWED asks for all that the account has.
inline constexpr std::uint32_t KEY_QUERY_VALUE = 0x0001;
inline constexpr std::uint32_t KEY_SET_VALUE = 0x0002;
inline constexpr std::uint32_t KEY_CREATE_SUB_KEY = 0x0004;
inline constexpr std::uint32_t KEY_ENUMERATE_SUB_KEYS = 0x0008;
inline constexpr std::uint32_t KEY_READ = 0x20019;
inline constexpr std::uint32_t KEY_WRITE = 0x20006;
inline constexpr std::uint32_t KEY_ALL_ACCESS = 0xF003F;
inline constexpr std::uint32_t MAXIMUM_ALLOWED = 0x02000000;

/// Types of values. A type is a label: the bytes are stored as they come, whatever it says, and any
/// other number may be stored too.
inline constexpr std::uint32_t REG_NONE = 0;
inline constexpr std::uint32_t REG_SZ = 1;         ///< text
inline constexpr std::uint32_t REG_EXPAND_SZ = 2;  ///< text with references to be replaced
inline constexpr std::uint32_t REG_BINARY = 3;
inline constexpr std::uint32_t REG_DWORD = 4;
inline constexpr std::uint32_t REG_MULTI_SZ = 7;  ///< texts one behind the other
inline constexpr std::uint32_t REG_QWORD = 11;

/// Opens the key at `path` below `key`; null or empty means `key` itself, by a handle of its own.
/// ERROR_FILE_NOT_FOUND if it is not there. ERROR_ACCESS_DENIED if `access` asks for writing where
/// the account may not. Every success is balanced by one RegCloseKey; on failure *out is null.
TARNWILLOW_API long RegOpenKeyExA(HKEY key, char const* path, std::uint32_t access, HKEY* out);
TARNWILLOW_API long RegOpenKeyExW(HKEY key, char16_t const* path, std::uint32_t access, HKEY* out);

/// The same, but makes every key of the path that is missing. `created`, if not null, tells whether
/// the last one is new. ERROR_INVALID_PARAMETER for a name that is too long, or beyond 512 levels.
TARNWILLOW_API long RegCreateKeyExA(HKEY key, char const* path, std::uint32_t access, HKEY* out,
                                    bool* created = nullptr);
TARNWILLOW_API long RegCreateKeyExW(HKEY key, char16_t const* path, std::uint32_t access, HKEY* out,
                                    bool* created = nullptr);

/// Gives the handle up. A predefined key stays open, with success.
TARNWILLOW_API long RegCloseKey(HKEY key);

/// Reads a value; a null name is the empty one. `type` may be null. With `data`, *size is its room
/// in bytes; with both null only the presence is asked, with `data` alone null *size becomes the
/// length in bytes. ERROR_MORE_DATA with *size the length if there is too little room; then nothing
/// is stored. ERROR_FILE_NOT_FOUND if there is no such value.
///
/// A value of a text type that was written through the other width is converted, whatever
/// terminators it has or lacks; everything else comes back byte for byte.
TARNWILLOW_API long RegQueryValueExA(HKEY key, char const* name, std::uint32_t* type, void* data,
                                     std::uint32_t* size);
TARNWILLOW_API long RegQueryValueExW(HKEY key, char16_t const* name, std::uint32_t* type,
                                     void* data, std::uint32_t* size);

/// Writes a value of `size` bytes, at most 256 MB. An old value of that name is replaced and keeps
/// its place in the order.
TARNWILLOW_API long RegSetValueExA(HKEY key, char const* name, std::uint32_t type, void const* data,
                                   std::uint32_t size);
TARNWILLOW_API long RegSetValueExW(HKEY key, char16_t const* name, std::uint32_t type,
                                   void const* data, std::uint32_t size);

/// ERROR_FILE_NOT_FOUND if there is no such value.
TARNWILLOW_API long RegDeleteValueA(HKEY key, char const* name);
TARNWILLOW_API long RegDeleteValueW(HKEY key, char16_t const* name);

/// Deletes the key at `path` with its values. ERROR_ACCESS_DENIED if it has subkeys, and for a
/// predefined key; ERROR_INVALID_PARAMETER for a null path. An empty path deletes `key` itself.
TARNWILLOW_API long RegDeleteKeyA(HKEY key, char const* path);
TARNWILLOW_API long RegDeleteKeyW(HKEY key, char16_t const* path);

/// The same with everything below the key, all or nothing.
TARNWILLOW_API long SHDeleteKeyA(HKEY key, char const* path);
TARNWILLOW_API long SHDeleteKeyW(HKEY key, char16_t const* path);

/// Name of the subkey at `index`. *size is the room in characters with the terminator, and becomes
/// the length without it. ERROR_NO_MORE_ITEMS behind the last; ERROR_MORE_DATA, with nothing
/// stored, if there is too little room.
TARNWILLOW_API long RegEnumKeyExA(HKEY key, std::uint32_t index, char* name, std::uint32_t* size);
TARNWILLOW_API long RegEnumKeyExW(HKEY key, std::uint32_t index, char16_t* name,
                                  std::uint32_t* size);

/// Name and content of the value at `index`: the name as RegEnumKeyEx gives it, the content as
/// RegQueryValueEx does.
TARNWILLOW_API long RegEnumValueA(HKEY key, std::uint32_t index, char* name,
                                  std::uint32_t* name_size, std::uint32_t* type, void* data,
                                  std::uint32_t* size);
TARNWILLOW_API long RegEnumValueW(HKEY key, std::uint32_t index, char16_t* name,
                                  std::uint32_t* name_size, std::uint32_t* type, void* data,
                                  std::uint32_t* size);

/// What a key holds. Lengths of names are UTF-16 units without terminator. The length of the
/// longest content is bytes, and that of text in the longer of both widths: room of that size
/// suffices for every read. Null pointers are passed over.
TARNWILLOW_API long RegQueryInfoKeyW(HKEY key, std::uint32_t* subkeys,
                                     std::uint32_t* longest_subkey, std::uint32_t* values,
                                     std::uint32_t* longest_value_name,
                                     std::uint32_t* longest_data);

/// Which part of a security descriptor is meant: the access list.
inline constexpr std::uint32_t DACL_SECURITY_INFORMATION = 4;

/// Keys have no access lists of their own here: who may write is what the system says of the hive's
/// file. So for an open key always ERROR_NOT_SUPPORTED.
TARNWILLOW_API long RegSetKeySecurity(HKEY key, std::uint32_t information, void const* descriptor);

namespace platform {

/// Whether a value of a text type was written through a wide call. False for any other value and
/// for a missing one.
TARNWILLOW_API bool is_wide_setting(HKEY key, char const* name);

/// Whether both handles stand for one key of one hive.
TARNWILLOW_API bool is_same_key(HKEY a, HKEY b);

/// A number that every change of the hive raises, whoever makes it.
TARNWILLOW_API std::uint64_t settings_sequence(HKEY key);

/// Sleeps until the hive's number is no longer `seen`, at most so long. Gives the number by then.
TARNWILLOW_API std::uint64_t wait_for_settings_change(HKEY key, std::uint64_t seen,
                                                      std::uint32_t milliseconds);

}  // namespace platform
}  // namespace tarnwillow
