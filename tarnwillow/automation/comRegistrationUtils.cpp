#include "tarnwillow/automation/comRegistrationUtils.h"

#include <cstring>
#include <new>
#include <string>

#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/platform/format.h"
#include "tarnwillow/platform/modules.h"

namespace tarnwillow {

namespace {

constexpr char const* kDefaultValue = nullptr;

/// The 38 characters of a class between braces, in upper case.
class ClassText {
public:
    explicit ClassText(GUID const& guid) {
        platform::format_text(
            text_, sizeof text_, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", guid.Data1,
            guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1], guid.Data4[2], guid.Data4[3],
            guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
    }
    char const* text() const { return text_; }
    std::string key() const { return std::string("CLSID\\") + text_; }

private:
    char text_[39];
};

/// An empty name, or one that has nothing between its backslashes, would reach the root itself.
bool is_name(char const* name) { return name != nullptr && name[std::strspn(name, "\\")] != 0; }

void write_class_branch(const std::string& class_key, char const* branch, char const* value) {
    CRegistry key;
    if (!key.Open_Key(HKEY_CLASSES_ROOT, class_key.c_str()) || !key.Create_Subkey(branch)) return;
    key.Set_Entry(kDefaultValue, value);
}

void write_server_branch(const std::string& class_key, const std::string& file) {
    CRegistry key;
    if (!key.Open_Key(HKEY_CLASSES_ROOT, class_key.c_str())) return;
    if (!key.Create_Subkey("InProcServer32")) return;
    key.Set_Entry(kDefaultValue, file.c_str());
    key.Set_Entry("ThreadingModel", "Apartment");
}

void write_name_key(char const* name, char const* friendly_name, const ClassText& server_class,
                    char const* current_version) {
    CRegistry key;
    if (!is_name(name) || !key.Create_Key(HKEY_CLASSES_ROOT, name)) return;
    key.Set_Entry(kDefaultValue, friendly_name);
    key.Set_Entry("CLSID", server_class.text());
    if (current_version != nullptr) key.Set_Entry("CurVer", current_version);
}

void write_class_key(const std::string& class_key, char const* friendly_name) {
    CRegistry key;
    if (key.Create_Key(HKEY_CLASSES_ROOT, class_key.c_str()))
        key.Set_Entry(kDefaultValue, friendly_name);
}

long delete_key(char const* name) {
    if (!is_name(name)) return S_OK;
    const long status = SHDeleteKeyA(HKEY_CLASSES_ROOT, name);
    return status == ERROR_FILE_NOT_FOUND ? S_OK : status;
}

}  // namespace

long RegisterServer(HINSTANCE module, GUID const& server_class, char const* friendly_name,
                    char const* independent_prog_id, char const* prog_id) try {
    const ClassText text(server_class);
    const std::string class_key = text.key();
    write_class_key(class_key, friendly_name);
    write_server_branch(class_key, platform::module_path(module));
    write_class_branch(class_key, "ProgID", prog_id);
    write_class_branch(class_key, "VersionIndependentProgID", independent_prog_id);
    write_name_key(independent_prog_id, friendly_name, text, prog_id);
    write_name_key(prog_id, friendly_name, text, nullptr);
    return S_OK;
} catch (const std::bad_alloc&) {
    return S_OK;
}

long RegisterShellExtension(HINSTANCE module, GUID const& server_class, char const* command_prefix,
                            char const* menu_text) try {
    const ClassText text(server_class);
    const std::string class_key = text.key();
    const std::string prefix = command_prefix != nullptr ? command_prefix : "";
    write_class_branch(class_key, "DefaultIcon", platform::module_path(module).c_str());
    write_class_branch(class_key, "shell\\open", menu_text);
    write_class_branch(class_key, "shell\\open\\command", (prefix + text.text() + ",%1").c_str());
    return S_OK;
} catch (const std::bad_alloc&) {
    return S_OK;
}

long UnregisterServer(GUID const& server_class, char const* independent_prog_id,
                      char const* prog_id) try {
    const std::string class_key = ClassText(server_class).key();
    long result = S_OK;
    for (char const* name : {class_key.c_str(), independent_prog_id, prog_id}) {
        const long status = delete_key(name);
        if (result == S_OK) result = status;
    }
    return result;
} catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
}

}  // namespace tarnwillow
