// Counts, copies, renames and deletes of CRegistry.
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "tarnwillow/core/CWeakAPICall.h"
#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/files/registryCalls.h"
#include "tarnwillow/platform/settingsName.h"

namespace tarnwillow {

namespace {

using detail::create_key;
using detail::open_key;

void give(unsigned long* out, std::uint32_t number) {
    if (out != nullptr) *out = number;
}

/// A handle of the store for a scope.
class ScopedKey {
public:
    ScopedKey() = default;
    ~ScopedKey() {
        if (key_ != nullptr) RegCloseKey(key_);
    }
    ScopedKey(const ScopedKey&) = delete;
    ScopedKey& operator=(const ScopedKey&) = delete;
    HKEY* out() { return &key_; }
    HKEY get() const { return key_; }

private:
    HKEY key_ = nullptr;
};

/// One copy of a key with all below it. The buffers serve every level.
class KeyCopy {
public:
    explicit KeyCopy(HKEY target) : top_(target) {}

    bool copy(HKEY source, HKEY target) {
        copy_values(source, target);
        std::uint32_t count = 0;
        if (RegQueryInfoKeyW(source, &count, nullptr, nullptr, nullptr, nullptr) != S_OK)
            return false;
        for (std::uint32_t i = 0; i < count; ++i)
            if (!copy_subkey(source, target, i)) return false;
        return true;
    }

private:
    static constexpr std::uint32_t kDataRoom = 1000;

    void copy_values(HKEY source, HKEY target) {
        std::uint32_t count = 0;
        RegQueryInfoKeyW(source, nullptr, nullptr, &count, nullptr, nullptr);
        for (std::uint32_t i = 0; i < count; ++i) {
            std::uint32_t name_size = CRegistry::kNameRoom, size = kDataRoom, type = REG_NONE;
            if (RegEnumValueA(source, i, name_, &name_size, &type, data_, &size) == S_OK)
                RegSetValueExA(target, name_, type, data_, size);
        }
    }

    // The target itself is left out where it is met below the source: it would have no end.
    bool copy_subkey(HKEY source, HKEY target, std::uint32_t index) {
        std::uint32_t size = CRegistry::kNameRoom;
        if (RegEnumKeyExA(source, index, name_, &size) != S_OK) return false;
        ScopedKey from, to;
        if (RegOpenKeyExA(source, name_, MAXIMUM_ALLOWED, from.out()) != S_OK) return true;
        if (platform::is_same_key(from.get(), top_)) return true;
        if (RegCreateKeyExA(target, name_, MAXIMUM_ALLOWED, to.out()) == S_OK)
            copy(from.get(), to.get());
        return true;
    }

    const HKEY top_;
    char name_[CRegistry::kNameRoom];
    char data_[kDataRoom];
};

}  // namespace

// Counts.

long CRegistry::Get_Num_Subkeys(unsigned long* count) { return Get_Subkey_Info(count, nullptr); }

long CRegistry::Get_Num_Values(unsigned long* count) {
    return GetValueInfo(count, nullptr, nullptr);
}

long CRegistry::Get_Iteration_Subkey_Buffer_Length(unsigned long* longest_data) {
    return GetValueInfo(nullptr, nullptr, longest_data);
}

long CRegistry::Get_Iteration_Value_Buffer_Length(unsigned long* longest_name) {
    return GetValueInfo(nullptr, longest_name, nullptr);
}

unsigned long CRegistry::GetMaxSubkeyLen() {
    unsigned long longest = 0;
    Get_Subkey_Info(nullptr, &longest);
    return longest;
}

long CRegistry::Get_Subkey_Info(unsigned long* count, unsigned long* longest_name) {
    if (key == nullptr) return S_OK;
    std::uint32_t subkeys = 0, longest = 0;
    const long error = RegQueryInfoKeyW(key, &subkeys, &longest, nullptr, nullptr, nullptr);
    if (error != S_OK) return error;
    give(count, subkeys);
    give(longest_name, longest);
    return S_OK;
}

long CRegistry::GetValueInfo(unsigned long* count, unsigned long* longest_name,
                             unsigned long* longest_data) {
    if (key == nullptr) return S_OK;
    std::uint32_t values = 0, name = 0, data = 0;
    const long error = RegQueryInfoKeyW(key, nullptr, nullptr, &values, &name, &data);
    if (error != S_OK) return error;
    give(count, values);
    give(longest_name, name);
    give(longest_data, data);
    return S_OK;
}

// Structure.

bool CRegistry::Copy_Key(HKEY source, HKEY target) {
    if (source == nullptr || target == nullptr) return false;
    const std::unique_ptr<KeyCopy> copy(new (std::nothrow) KeyCopy(target));
    return copy != nullptr && copy->copy(source, target);
}

template <class Char>
bool CRegistry::rename(Char const* old_name, Char const* new_name) {
    if (key == nullptr || old_name == nullptr || new_name == nullptr || *old_name == 0 ||
        *new_name == 0)
        return false;
    {
        ScopedKey from, to;
        if (open_key(key, old_name, MAXIMUM_ALLOWED, from.out()) != S_OK) return false;
        if (create_key(key, new_name, MAXIMUM_ALLOWED, to.out()) != S_OK) return false;
        if (platform::is_same_key(from.get(), to.get())) return true;
        Copy_Key(from.get(), to.get());
    }
    detail::delete_key(key, old_name);
    return true;
}

bool CRegistry::Rename_Subkey(char const* old_name, char const* new_name) {
    return rename(old_name, new_name);
}

bool CRegistry::Rename_Subkey(char16_t const* old_name, char16_t const* new_name) {
    return rename(old_name, new_name);
}

namespace {

// Found by name, because a system may lack it.
long delete_tree(HKEY root, char const* path) {
    CWeakAPICall library;
    auto* const call = library.Load_Call("Shlwapi.dll", "SHDeleteKeyA");
    return call != nullptr ? reinterpret_cast<decltype(SHDeleteKeyA)*>(call)(root, path)
                           : ERROR_PROC_NOT_FOUND;
}

}  // namespace

template <class Char>
bool CRegistry::delete_subkey(Char const* name) try {
    if (key == nullptr || name == nullptr || *name == 0) return false;
    if (detail::delete_key(key, name) == S_OK) return true;
    auto const* above = static_cast<char const*>(path_stack.Peek());
    const std::string path = above != nullptr ? above : "";
    return delete_tree(root, (path + '\\' + platform::stored_text(name)).c_str()) == S_OK;
} catch (const std::bad_alloc&) {
    return false;
}

bool CRegistry::Delete_Subkey(char const* name) { return delete_subkey(name); }
bool CRegistry::Delete_Subkey(char16_t const* name) { return delete_subkey(name); }

bool CRegistry::Clear_All_Values() {
    unsigned long count = 0;
    if (key == nullptr || Get_Num_Subkeys(&count) != S_OK) return false;
    char name[kNameRoom];
    while (count > 0)
        if (!Get_Subkey(--count, name) || RegDeleteKeyA(key, name) != S_OK) return false;
    if (Get_Num_Values(&count) != S_OK) return false;
    while (count > 0)
        if (!Get_Indexed_Value(--count, name) || RegDeleteValueA(key, name) != S_OK) return false;
    return true;
}

// What the entries say cannot be met: the store asks the system who may write, for a hive at a
// time.
long CRegistry::Set_Key_Permissions(CCollection* entries, bool) {
    if (key == nullptr || entries == nullptr) return E_FAIL;
    return RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, entries) == S_OK ? S_OK : E_FAIL;
}

}  // namespace tarnwillow
