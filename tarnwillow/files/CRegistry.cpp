#include "tarnwillow/files/CRegistry.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <new>
#include <string>

#include "tarnwillow/core/diagnosticEntry.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/files/registryCalls.h"
#include "tarnwillow/platform/format.h"
#include "tarnwillow/platform/settingsName.h"

namespace tarnwillow {

namespace {

using detail::create_key;
using detail::open_key;
using platform::stored_text;

constexpr int kRegistryClass = 15;

std::uint32_t mask_of(unsigned long access) {
    return access != 0 ? static_cast<std::uint32_t>(access) : MAXIMUM_ALLOWED;
}

std::string joined(char const* path, char const* name) {
    std::string whole = path;
    if (!whole.empty()) whole += '\\';
    return whole += name;
}

}  // namespace

CRegistry::CRegistry(const CRegistry& other) : CAutoDeleteableObject(other) { *this = other; }

CRegistry& CRegistry::operator=(const CRegistry& other) {
    if (this == &other) return *this;
    close();
    root = other.root;
    clean_results = other.clean_results;
    wide = other.wide;
    if (other.key == nullptr) return *this;
    if (open_key(other.key, "", MAXIMUM_ALLOWED, &key) != S_OK) return *this;
    auto& levels = const_cast<CCollection&>(other.path_stack);
    for (long level = levels.Entries() - 1; level >= 0 && key != nullptr; --level)
        if (!push_path(static_cast<char const*>(levels.Get_Indexed_Entry(level)))) close();
    return *this;
}

CRegistry::~CRegistry() { close(); }

void CRegistry::close() {
    path_stack.Clear();
    if (key != nullptr) RegCloseKey(key);
    key = nullptr;
}

bool CRegistry::push_path(char const* path) {
    try {
        return path_stack.Push_String(path);
    } catch (long) {
        return false;
    }
}

// Opening.

template <class Char>
bool CRegistry::open(HKEY from, Char const* name, std::uint32_t access, bool create) try {
    close();
    const long error =
        create ? create_key(from, name, access, &key) : open_key(from, name, access, &key);
    if (error != S_OK) return false;
    root = from;
    if (name == nullptr || push_path(stored_text(name).c_str())) return true;
    close();
    return false;
} catch (const std::bad_alloc&) {
    close();
    return false;
}

bool CRegistry::Open_Key(HKEY from, char const* name) {
    if (!open(from, name, MAXIMUM_ALLOWED, false)) return false;
    wide = false;
    return true;
}

bool CRegistry::Open_Key(HKEY from, char16_t const* name) {
    if (!open(from, name, MAXIMUM_ALLOWED, false)) return false;
    wide = true;
    return true;
}

bool CRegistry::Open_Key_Ex(HKEY from, char const* name, unsigned long access) {
    return open(from, name, mask_of(access), false);
}

bool CRegistry::Create_Key(HKEY from, char const* name) {
    if (!open(from, name, MAXIMUM_ALLOWED, true)) return false;
    wide = false;
    return true;
}

bool CRegistry::Create_Key(HKEY from, char16_t const* name) {
    if (open(from, name, MAXIMUM_ALLOWED, true)) {
        wide = true;
        return true;
    }
    _LOG(kRegistryClass, u"Create Key Failed. Path %s", name);
    return false;
}

// The application key.

bool CRegistry::Open_Application_Key(char const* subkey, HKEY from) try {
    if (subkey == nullptr || *subkey == 0) return Create_Key(from, kApplicationKey);
    return Create_Key(from, joined(kApplicationKey, subkey).c_str());
} catch (const std::bad_alloc&) {
    close();
    return false;
}

bool CRegistry::Open_Application_KeyW(char16_t const* subkey, HKEY from) try {
    std::u16string path(std::begin(kApplicationKey), std::end(kApplicationKey) - 1);
    if (subkey != nullptr && *subkey != 0) (path += u'\\') += subkey;
    return Create_Key(from, path.c_str());
} catch (const std::bad_alloc&) {
    close();
    return false;
}

bool CRegistry::Create_Application_Key(char const* subkey, HKEY from) {
    return Open_Application_Key(subkey, from);
}

bool CRegistry::Create_Application_KeyW(char16_t const* subkey, HKEY from) {
    return Open_Application_KeyW(subkey, from);
}

bool CRegistry::Open_Application_Key_Ex(unsigned long access, char const* subkey, HKEY from) try {
    if (subkey == nullptr || *subkey == 0) return Open_Key_Ex(from, kApplicationKey, access);
    return Open_Key_Ex(from, joined(kApplicationKey, subkey).c_str(), access);
} catch (const std::bad_alloc&) {
    close();
    return false;
}

namespace {

constexpr std::size_t kFormattedRoom = 256;

// Everything in here follows pointers of the caller's.
template <class Char>
bool build_key(Char* out, Char const* between, Char const* format, std::va_list arguments) {
    Char text[kFormattedRoom];
    platform::format_text_v(text, kFormattedRoom, not_null(format), arguments);
    platform::format_text(not_null(out), CRegistry::kBuiltKeyRoom, between, kApplicationKey, text);
    return true;
}

bool not_built() { return false; }

}  // namespace

bool CRegistry::Build_Application_Key(char* out, char const* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const bool built = reporting_guard(
        ExceptionLevelHandled, u"CRegistry::Build_Application_Key",
        [&] { return build_key(out, "%s\\%s", format, arguments); }, not_built);
    va_end(arguments);
    return built;
}

bool CRegistry::Build_Application_Key(char16_t* out, char16_t const* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const bool built = reporting_guard(
        ExceptionLevelHandled, u"CRegistry::Build_Application_KeyW",
        [&] { return build_key(out, u"%S\\%s", format, arguments); }, not_built);
    va_end(arguments);
    return built;
}

// Walking.

template <class Char>
bool CRegistry::step_down(Char const* name, std::uint32_t access, bool create) try {
    if (key == nullptr || name == nullptr) return false;
    HKEY below = nullptr;
    const long error =
        create ? create_key(key, name, access, &below) : open_key(key, name, access, &below);
    if (error != S_OK) return false;
    auto const* above = static_cast<char const*>(path_stack.Peek());
    if (!push_path(joined(above != nullptr ? above : "", stored_text(name).c_str()).c_str())) {
        RegCloseKey(below);
        return false;
    }
    RegCloseKey(key);
    key = below;
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

bool CRegistry::Open_Subkey(char const* name) {
    if (!step_down(name, MAXIMUM_ALLOWED, false)) return false;
    wide = false;
    return true;
}

bool CRegistry::Open_Subkey(char16_t const* name) {
    if (!step_down(name, MAXIMUM_ALLOWED, false)) return false;
    wide = true;
    return true;
}

bool CRegistry::Open_Subkey_Ex(char const* name, unsigned long access) {
    return step_down(name, mask_of(access), false);
}

bool CRegistry::Create_Subkey(char const* name) {
    if (!step_down(name, MAXIMUM_ALLOWED, true)) return false;
    wide = false;
    return true;
}

bool CRegistry::Create_Subkey(char16_t const* name) {
    if (!step_down(name, MAXIMUM_ALLOWED, true)) return false;
    wide = true;
    return true;
}

bool CRegistry::Open_Subkey(int index) {
    if (index < 0) return false;
    const auto place = static_cast<unsigned long>(index);
    if (wide) {
        char16_t name[kNameRoom + 1] = {};
        return Get_Subkey(place, name) && Open_Subkey(name);
    }
    char name[kNameRoom + 1] = {};
    return Get_Subkey(place, name) && Open_Subkey(name);
}

bool CRegistry::Open_Subkey_Ex(int index, unsigned long access) {
    char name[kNameRoom + 1] = {};
    return index >= 0 && Get_Subkey(static_cast<unsigned long>(index), name) &&
           Open_Subkey_Ex(name, access);
}

bool CRegistry::Close_Subkey() {
    if (key == nullptr) return false;
    path_stack.Pop();
    RegCloseKey(key);
    key = nullptr;
    auto const* above = static_cast<char const*>(path_stack.Peek());
    return above == nullptr || open_key(root, above, MAXIMUM_ALLOWED, &key) == S_OK;
}

void CRegistry::Get_Current_Path(char* out) const {
    Get_Current_Path(out, std::numeric_limits<unsigned long>::max());
}

void CRegistry::Get_Current_Path(char* out, unsigned long size) const {
    if (out == nullptr || size == 0) return;
    auto const* path = static_cast<char const*>(const_cast<CCollection&>(path_stack).Peek());
    const std::size_t length = path != nullptr ? strnlen(path, size - 1) : 0;
    if (length > 0) std::memcpy(out, path, length);
    out[length] = 0;
}

}  // namespace tarnwillow
