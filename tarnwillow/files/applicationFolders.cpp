#include "tarnwillow/files/applicationFolders.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/platform/modules.h"
#include "tarnwillow/platform/wideText.h"
#include "tarnwillow/text/stringUtilities.h"
#include "tarnwillow/text/tokenisers.h"

namespace tarnwillow {

namespace {

constexpr unsigned long kRoom = 256;
constexpr char kEarlierKey[] = "Software\\Dunmoore Software\\Quilber";
constexpr char16_t kFolderWithoutSettings[] = u"c:\\Tolmeka Folder (you can delete this)\\";
constexpr int kEnoughRoom = -1;

constexpr char16_t const* kValueNames[] = {u"Plugins",  u"Prefs Folders",  u"Templates", u"Content",
                                           u"Scripts",  u"ScriptIncludes", u"Bin",       u"Root",
                                           u"Database", u"Localization"};

bool is_kind(int kind) { return kind >= AppFolderPlugins && kind <= AppFolderLocalization; }

bool open_folder_key(CRegistry& registry, bool legacy) {
    return legacy ? registry.Open_Key(HKEY_LOCAL_MACHINE, kEarlierKey)
                  : registry.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE);
}

// One unit more than is read: a stored text need not end with a terminator.
bool read_folder(int kind, char16_t* out, bool legacy) {
    CRegistry registry;
    if (!open_folder_key(registry, legacy)) return false;
    char16_t value[kRoom + 1] = {};
    if (is_kind(kind) && registry.Get_Entry(kValueNames[kind - 1], value, kRoom))
        wide::copy(out, kRoom, value);
    return true;
}

template <class Char>
struct ContentFolder {
    ContentFolder() {
        try {
            CRegistry registry;
            registry.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE);
            unsigned long size = kRoom - 1;
            if (!read(registry, &size)) std::fill(text, text + kRoom, Char{});
        } catch (long) {
            text[0] = 0;  // no memory: as if the value were missing
        }
    }
    bool read(CRegistry& registry, unsigned long* size) {
        if constexpr (sizeof(Char) == 1)
            return registry.Get_Entry("Content", text, size);
        else
            return registry.Get_Entry(u"Content", text, size);
    }
    Char text[kRoom] = {};
};

/// Replaces the forms of the variable from the path's start to its end.
template <class Char>
class Expansion {
public:
    using View = std::basic_string_view<Char>;

    Expansion(Char* path, int max) : at_(path), room_(max) {}

    void replace_all(std::initializer_list<Char const*> forms) {
        for (;;) {
            Char const* nearest = nullptr;
            std::size_t place = View::npos;
            for (Char const* form : forms) {
                const std::size_t found = View(at_).find(form);
                if (found < place) {
                    place = found;
                    nearest = form;
                }
            }
            if (nearest == nullptr || !replace_at(place, nearest)) return;
        }
    }

private:
    bool replace_at(std::size_t place, Char const* form) {
        skip(place);
        if (!Replace_String(at_, form, content_.text, room_)) return false;
        skip(View(content_.text).size());
        return true;
    }
    void skip(std::size_t count) {
        at_ += count;
        if (room_ != kEnoughRoom) room_ -= static_cast<int>(count);
    }

    const ContentFolder<Char> content_;
    Char* at_;
    int room_;
};

std::uint32_t as_room(int size) { return size > 0 ? static_cast<std::uint32_t>(size) : 0; }

}  // namespace

void Get_App_Folder_Path(int kind, char16_t* out, bool legacy) {
    if (out == nullptr) return;
    out[0] = 0;
    bool opened = false;
    try {
        opened = read_folder(kind, out, legacy);
    } catch (long) {
        opened = false;
    }
    if (!opened) wide::copy(out, kRoom, kFolderWithoutSettings);
}

void Cannonize_Path(char* path, int max) {
    if (path == nullptr) return;
    Prepare_Tokens(path, "%", false);
    Expansion<char>(path, max).replace_all({"%content%"});
}

void Cannonize_Path(char16_t* path, int max) {
    if (path == nullptr) return;
    Prepare_Tokens(path, u"%", false);
    Expansion<char16_t>(path, max).replace_all({u"%content%", u"%25content%25"});
}

void Clean_Path(char* path) {
    if (path != nullptr) std::replace(path, path + std::strlen(path), '/', '\\');
}
void Clean_Path(char16_t* path) {
    if (path != nullptr) std::replace(path, path + wide::length(path), u'/', u'\\');
}

void Get_Module_Full_Path(HINSTANCE module, char* out, int size) {
    GetModuleFileNameA(module, out, as_room(size));
}
void Get_Module_Full_Path(HINSTANCE module, char16_t* out, int size) {
    GetModuleFileNameW(module, out, as_room(size));
}
void Get_Module_Short_Path(HINSTANCE module, char* out, int size) {
    Get_Module_Full_Path(module, out, size);
}
void Get_Module_Short_Path(HINSTANCE module, char16_t* out, int size) {
    Get_Module_Full_Path(module, out, size);
}

}  // namespace tarnwillow
