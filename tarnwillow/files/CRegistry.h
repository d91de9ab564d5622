#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "tarnwillow/containers/CCollection.h"
#include "tarnwillow/core/CAutoDeleteableObject.h"
#include "tarnwillow/platform/registry.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

/// The key below a root that all of the product's settings live under.
inline constexpr char kApplicationKey[] = "Software\\fennt\\tarnwillow";

namespace detail {

/// Pointers to anything but text of that width: they must not be taken for a bool.
template <class Pointer, class Char>
concept StrayPointer = std::is_pointer_v<Pointer> &&
    !std::is_same_v<std::remove_cv_t<std::remove_pointer_t<Pointer>>, Char>;

/// Numbers that would otherwise be ambiguous, or be taken for a bool.
template <class Number>
concept OtherNumber =
    std::integral<Number> && !std::same_as<Number, bool> && !std::same_as<Number, long>;

/// Whether a number fits 32 bits, with its sign if it has one.
template <std::integral Number>
constexpr bool fits_setting(Number value) {
    if constexpr (std::is_signed_v<Number>)
        return value >= std::numeric_limits<std::int32_t>::min() &&
               value <= std::numeric_limits<std::int32_t>::max();
    else
        return value <= std::numeric_limits<std::uint32_t>::max();
}

}  // namespace detail

/// A place in the settings store: a current key, and the way that led to it, so that a caller walks
/// down into subkeys and back up as in folders.
///
/// Unless a comment says otherwise an operation gives true for success, and false without an open
/// key. Readers of settings take a false read as a missing value and go on with their default.
/// Names are UTF-8 or UTF-16, compare without ASCII case, and are parted by `\`; see registry.h.
/// Names are read into buffers of 255 characters, terminator included: longer ones fail.
///
/// An object belongs to one thread at a time. Nothing throws.
class TARNWILLOW_API CRegistry : public CAutoDeleteableObject {
public:
    /// Characters of the buffers that names are given in.
    static constexpr std::uint32_t kNameRoom = 255;

    /// Characters of the buffer that Build_Application_Key writes to.
    static constexpr std::size_t kBuiltKeyRoom = 280;

    /// Closed. Throws `long` E_OUTOFMEMORY if it is the process's first list and there is no
    /// memory.
    CRegistry() = default;

    /// A copy stands at the same key with the same path, by a handle of its own. Without memory it
    /// is closed.
    CRegistry(const CRegistry& other);
    CRegistry& operator=(const CRegistry& other);
    ~CRegistry() override;

    // Opening. What is open is closed first, and a failure leaves the object closed.

    /// Opens the key `name` below `root`; a null name opens another handle of the root itself, with
    /// an empty path.
    bool Open_Key(HKEY root, char const* name);
    bool Open_Key(HKEY root, char16_t const* name);
    bool Open_Key(HKEY root, std::nullptr_t) {
        return Open_Key(root, static_cast<char const*>(nullptr));
    }

    /// With an access mask; 0 means MAXIMUM_ALLOWED.
    bool Open_Key_Ex(HKEY root, char const* name, unsigned long access);

    /// The same as Open_Key, but creates what is missing. A failure of the wide form is logged.
    bool Create_Key(HKEY root, char const* name);
    bool Create_Key(HKEY root, char16_t const* name);
    bool Create_Key(HKEY root, std::nullptr_t) {
        return Create_Key(root, static_cast<char const*>(nullptr));
    }

    /// Opens the application key or, with a `subkey` that is not null or empty, that one below it.
    /// Creates what is missing: an account without the right to gets false only then.
    bool Open_Application_Key(char const* subkey, HKEY root);
    bool Open_Application_KeyW(char16_t const* subkey, HKEY root);
    bool Create_Application_Key(char const* subkey, HKEY root);
    bool Create_Application_KeyW(char16_t const* subkey, HKEY root);

    /// Creates nothing; `access` as in Open_Key_Ex.
    bool Open_Application_Key_Ex(unsigned long access, char const* subkey, HKEY root);

    /// Writes the application key's path, a backslash and the formatted text, cut at 255
    /// characters, to `out`, which must have room for kBuiltKeyRoom characters. A fault in the
    /// format's arguments is reported and gives false.
    static bool Build_Application_Key(char* out, char const* format, ...);
    static bool Build_Application_Key(char16_t* out, char16_t const* format, ...);

    // Walking. A failed step down leaves the object where it was.

    /// By its name.
    bool Open_Subkey(char const* name);
    bool Open_Subkey(char16_t const* name);
    bool Open_Subkey(std::nullptr_t) { return false; }

    /// The subkey at that place of the enumeration.
    bool Open_Subkey(int index);
    bool Open_Subkey(long index) { return Open_Subkey(static_cast<int>(index)); }
    bool Open_Subkey(unsigned index) { return Open_Subkey(static_cast<int>(index)); }
    bool Open_Subkey(unsigned long index) { return Open_Subkey(static_cast<int>(index)); }

    /// With an access mask; 0 means MAXIMUM_ALLOWED.
    bool Open_Subkey_Ex(char const* name, unsigned long access);
    bool Open_Subkey_Ex(int index, unsigned long access);
    /// By its name; it is made if it is not there.
    bool Create_Subkey(char const* name);
    bool Create_Subkey(char16_t const* name);
    bool Create_Subkey(std::nullptr_t) { return false; }

    /// One level up, by opening the path anew; from the first level to closed, with true. If the
    /// key above is gone: false, and closed. A mask given on the way down is not applied again.
    bool Close_Subkey();

    /// The key that is open, or null. It stays the object's.
    HKEY Current_Key() const { return key; }

    /// The path from the root key on, without the root's name; empty if there is none. Without a
    /// size `out` must have the room: a path has as many characters as its names and backslashes.
    void Get_Current_Path(char* out) const;
    void Get_Current_Path(char* out, unsigned long size) const;  ///< cut at `size` - 1 bytes

    /// From now on, after a successful read of text, the rest of the caller's buffer is zeroed.
    void Clean_Results(bool clean) { clean_results = clean; }

    // Reading values. A null name is the empty one.

    /// Up to 256 bytes, or 256 wide characters. The text's buffer is written although it is const.
    bool Get_Entry(char const* name, char const* out);
    bool Get_Entry(char16_t const* name, char16_t const* out);

    /// `size` is bytes in the narrow form and characters in the wide form. With a pointer, *size
    /// becomes the length in bytes in both, on failure 0; in the wide form it is
    /// (unsigned long)-1 if the value is there but too long. What is read as text through the other
    /// width than it was written is converted; everything else comes byte for byte, so text that
    /// was stored without a terminator has none.
    bool Get_Entry(char const* name, void* data, unsigned long* size);
    bool Get_Entry(char16_t const* name, void* data, unsigned long* size);
    template <std::integral Size>
    bool Get_Entry(char const* name, void* data, Size size) {
        unsigned long room = as_room(size);
        return Get_Entry(name, data, &room);
    }
    template <std::integral Size>
    bool Get_Entry(char16_t const* name, void* data, Size size) {
        unsigned long room = as_room(size);
        return Get_Entry(name, data, &room);
    }

    /// Four bytes, sign-extended. A shorter value succeeds with the missing bytes zero, a longer
    /// one fails. On failure *out stays.
    bool Get_Entry(char const* name, long* out);
    bool Get_Entry(char16_t const* name, long* out);

    /// True for every number but 0.
    bool Get_Entry(char const* name, bool* out);
    bool Get_Entry(char16_t const* name, bool* out);

    /// The value with the empty name.
    template <class... Rest>
    bool Get_Entry(std::nullptr_t, Rest... rest) {
        return Get_Entry(static_cast<char const*>(nullptr), rest...);
    }

    /// Whether a value of that name is there, of whatever type.
    bool Entry_Exists(char const* name);
    bool Entry_Exists(char16_t const* name);
    bool Entry_Exists(std::nullptr_t) { return Entry_Exists(static_cast<char const*>(nullptr)); }

    // Writing values.

    /// False if there is none.
    bool Delete_Entry(char const* name);
    bool Delete_Entry(char16_t const* name);
    bool Delete_Entry(std::nullptr_t) { return Delete_Entry(static_cast<char const*>(nullptr)); }

    /// REG_SZ, with the terminator. False for a null text.
    bool Set_Entry(char const* name, char const* text);
    bool Set_Entry(char16_t const* name, char16_t const* text);

    /// REG_DWORD. False for a number that does not fit 32 bits, with its sign if it has one.
    bool Set_Entry(char const* name, long value);
    bool Set_Entry(char16_t const* name, long value);
    template <detail::OtherNumber Number>
    bool Set_Entry(char const* name, Number value) {
        return detail::fits_setting(value) && set_number(name, static_cast<std::uint32_t>(value));
    }
    template <detail::OtherNumber Number>
    bool Set_Entry(char16_t const* name, Number value) {
        return detail::fits_setting(value) && set_number(name, static_cast<std::uint32_t>(value));
    }

    /// REG_DWORD 1 or 0.
    bool Set_Entry(char const* name, bool value);
    bool Set_Entry(char16_t const* name, bool value);

    template <detail::StrayPointer<char> Pointer>
    bool Set_Entry(char const* name, Pointer value) = delete;
    template <detail::StrayPointer<char16_t> Pointer>
    bool Set_Entry(char16_t const* name, Pointer value) = delete;

    /// `size` bytes as REG_SZ: for text in any form, not only terminated.
    bool Set_Entry(char const* name, void const* data, unsigned long size);
    bool Set_Entry(char16_t const* name, void const* data, unsigned long size);
    bool Set_Entry(char const* name, std::nullptr_t, unsigned long size) {
        return Set_Entry(name, static_cast<void const*>(nullptr), size);
    }

    /// `size` bytes as REG_BINARY.
    bool Set_Entry(char const* name, long const* data, unsigned long size);
    bool Set_Entry(char16_t const* name, long const* data, unsigned long size);

    /// `size` bytes as that type.
    bool Set_Entry(int type, char const* name, void const* data, unsigned long size);
    bool Set_Entry(int type, char16_t const* name, void const* data, unsigned long size);

    /// The value with the empty name.
    template <class... Rest>
    bool Set_Entry(std::nullptr_t, Rest... rest) {
        return Set_Entry(static_cast<char const*>(nullptr), rest...);
    }

    // Enumeration, by index from 0. `out` has room for 255 characters.

    /// Name of the subkey, or of the value, at `index`; false behind the last.
    bool Get_Subkey(unsigned long index, char* out);
    bool Get_Subkey(unsigned long index, char16_t* out);
    bool Get_Indexed_Value(unsigned long index, char* out);
    bool Get_Indexed_Value(unsigned long index, char16_t* out);

    /// Type and data of the value at `index`; *size is its room in bytes and becomes its length.
    /// Text comes in the width that the object was opened with.
    bool Get_Indexed_Value_Data(unsigned long index, unsigned long* type, void* data,
                                unsigned long* size);

    // Counts. An error number, or 0; without an open key 0, and nothing is stored. Lengths of names
    // are characters without terminator; the length of data is bytes, enough for either width.

    /// How many there are, and how long the longest name or data is.
    long Get_Num_Subkeys(unsigned long* count);
    long Get_Num_Values(unsigned long* count);
    long Get_Iteration_Subkey_Buffer_Length(unsigned long* longest_data);
    long Get_Iteration_Value_Buffer_Length(unsigned long* longest_name);
    unsigned long GetMaxSubkeyLen();  ///< 0 without a key
    /// Both at once. Each pointer may be null.
    long Get_Subkey_Info(unsigned long* count, unsigned long* longest_name);
    long GetValueInfo(unsigned long* count, unsigned long* longest_name,
                      unsigned long* longest_data);

    // Structure.

    /// Copies values and subkeys. A value of over 1,000 bytes (as narrow text, if it is text) and
    /// whatever fails to be written is left out without a word; false for a null key, or if the
    /// enumeration fails. A target that lies inside the source is not copied into itself.
    bool Copy_Key(HKEY source, HKEY target);

    /// Copies the subkey to its new name and deletes the old one, but a subkey that has subkeys of
    /// its own is not deleted: it then stands under both names, with true all the same. A new name
    /// that leads to the same key changes nothing.
    bool Rename_Subkey(char const* old_name, char const* new_name);
    bool Rename_Subkey(char16_t const* old_name, char16_t const* new_name);

    /// Deletes the subkey with all below it. False for a null or empty name.
    bool Delete_Subkey(char const* name);
    bool Delete_Subkey(char16_t const* name);

    /// Deletes the subkeys, then the values. A subkey that has subkeys of its own stops the work,
    /// with false.
    bool Clear_All_Values();

    /// Keys have no access lists of their own here, and no protection is claimed that is not
    /// there: E_FAIL.
    long Set_Key_Permissions(CCollection* entries, bool recursive);

private:
    template <class Char>
    bool open(HKEY from, Char const* name, std::uint32_t access, bool create);
    template <class Char>
    bool step_down(Char const* name, std::uint32_t access, bool create);
    template <class Char>
    bool set_number(Char const* name, std::uint32_t value);
    template <class Char>
    bool rename(Char const* old_name, Char const* new_name);
    template <class Char>
    bool delete_subkey(Char const* name);
    void close();
    bool push_path(char const* path);

    template <std::integral Size>
    static unsigned long as_room(Size size) {
        if constexpr (std::is_signed_v<Size>)
            if (size < 0) return 0;
        return static_cast<unsigned long>(size);
    }

    HKEY key = nullptr;
    HKEY root = nullptr;
    CCollection path_stack;  // full paths as UTF-8, the deepest at the head
    bool clean_results = false;
    bool wide = false;  // the last open went through a wide call
};

}  // namespace tarnwillow
