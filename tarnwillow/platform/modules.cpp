#include "tarnwillow/platform/modules.h"

#include <dlfcn.h>

#include <memory>
#include <new>
#include <string>

#include "tarnwillow/platform/codepage.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

class Module : public platform::HandleObject {
public:
    explicit Module(void* library)
        : HandleObject(platform::ObjectKind::module), library_(library) {}
    ~Module() override { dlclose(library_); }
    void* procedure(char const* name) const { return dlsym(library_, name); }

private:
    void* const library_;
};

std::string narrow_path(char16_t const* path) {
    const std::size_t length = wide::length(path);
    std::string narrow(length * 3, '\0');
    narrow.resize(platform::wide_to_narrow(path, length, narrow.data(), narrow.size()).written);
    return narrow;
}

HANDLE open_module(char16_t const* path) {
    void* library = dlopen(narrow_path(path).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return nullptr;
    return platform::open_handle(std::make_shared<Module>(library));
}

bool is_module(HINSTANCE module) {
    if (platform::find_object(module, platform::ObjectKind::module) != nullptr) return true;
    SetLastError(ERROR_INVALID_HANDLE);
    return false;
}

}  // namespace

HINSTANCE LoadLibraryW(char16_t const* path) {
    HANDLE module = nullptr;
    try {
        if (path != nullptr && *path != 0) module = open_module(path);
    } catch (const std::bad_alloc&) {
        module = nullptr;
    }
    if (module == nullptr) SetLastError(ERROR_MOD_NOT_FOUND);
    return static_cast<HINSTANCE>(module);
}

bool FreeLibrary(HINSTANCE module) { return is_module(module) && CloseHandle(module); }

void* GetProcAddress(HINSTANCE module, char const* name) {
    const auto object = platform::find_object(module, platform::ObjectKind::module);
    if (object == nullptr || name == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    void* procedure = static_cast<const Module&>(*object).procedure(name);
    if (procedure == nullptr) SetLastError(ERROR_PROC_NOT_FOUND);
    return procedure;
}

}  // namespace tarnwillow
