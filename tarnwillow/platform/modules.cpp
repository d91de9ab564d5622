#include "tarnwillow/platform/modules.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <memory>
#include <new>

#include "tarnwillow/platform/filePath.h"
#include "tarnwillow/platform/format.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/systemLibraries.h"

namespace tarnwillow {

namespace {

class Module : public platform::HandleObject {
public:
    Module() : HandleObject(platform::ObjectKind::module) {}
    virtual void* procedure(char const* name) const = 0;

    /// Null if it does not come from a file of its own.
    virtual char const* file() const { return nullptr; }
};

class LoadedModule : public Module {
public:
    explicit LoadedModule(void* library) : library_(library) {}
    ~LoadedModule() override { dlclose(library_); }
    void* procedure(char const* name) const override { return dlsym(library_, name); }
    char const* file() const override {
        link_map* map = nullptr;
        return dlinfo(library_, RTLD_DI_LINKMAP, &map) == 0 ? map->l_name : nullptr;
    }

private:
    void* const library_;
};

class BuiltInModule : public Module {
public:
    explicit BuiltInModule(char const* library) : library_(library) {}
    void* procedure(char const* name) const override {
        return platform::find_system_procedure(library_, name);
    }

private:
    char const* const library_;
};

std::shared_ptr<Module> find_module(HINSTANCE module) {
    return std::static_pointer_cast<Module>(
        platform::find_object(module, platform::ObjectKind::module));
}

HANDLE load_file(char const* path) {
    void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return nullptr;
    return platform::open_handle(std::make_shared<LoadedModule>(library));
}

HANDLE open_module(char const* path) {
    const platform::SystemProcedure* built_in = platform::find_system_library(path);
    if (built_in == nullptr) return load_file(path);
    return platform::open_handle(std::make_shared<BuiltInModule>(built_in->library));
}

HINSTANCE load(const platform::SystemPath& path) {
    HANDLE module = nullptr;
    try {
        if (!path.empty()) module = open_module(path.c_str());
    } catch (const std::bad_alloc&) {
        module = nullptr;
    }
    if (module == nullptr) SetLastError(ERROR_MOD_NOT_FOUND);
    return static_cast<HINSTANCE>(module);
}

/// The path of a module's file, whole and from the root on.
class ModulePath {
public:
    explicit ModulePath(HINSTANCE module) {
        if (module == nullptr)
            take_program();
        else if (const auto library = find_module(module))
            take_library(library->file());
        if (text_[0] == 0)
            SetLastError(module == nullptr ? ERROR_MOD_NOT_FOUND : ERROR_INVALID_HANDLE);
    }
    char const* text() const { return text_; }

private:
    void take_program() {
        const ssize_t length = readlink("/proc/self/exe", text_, sizeof text_ - 1);
        text_[length > 0 ? length : 0] = 0;
        platform::strip_deletion_mark(text_);
    }
    void take_library(char const* file) {
        if (file == nullptr || realpath(file, text_) == nullptr) text_[0] = 0;
    }

    char text_[PATH_MAX] = {};
};

}  // namespace

HINSTANCE LoadLibraryA(char const* path) { return load(platform::SystemPath(path)); }
HINSTANCE LoadLibraryW(char16_t const* path) { return load(platform::SystemPath(path)); }

bool FreeLibrary(HINSTANCE module) {
    if (find_module(module) != nullptr) return CloseHandle(module);
    SetLastError(ERROR_INVALID_HANDLE);
    return false;
}

void* GetProcAddress(HINSTANCE module, char const* name) {
    const auto library = find_module(module);
    if (library == nullptr || name == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    void* procedure = library->procedure(name);
    if (procedure == nullptr) SetLastError(ERROR_PROC_NOT_FOUND);
    return procedure;
}

std::uint32_t GetModuleFileNameA(HINSTANCE module, char* out, std::uint32_t size) {
    if (out == nullptr || size == 0) return 0;
    const ModulePath path(module);
    return static_cast<std::uint32_t>(platform::format_text(out, size, "%s", path.text()));
}

std::uint32_t GetModuleFileNameW(HINSTANCE module, char16_t* out, std::uint32_t size) {
    if (out == nullptr || size == 0) return 0;
    const ModulePath path(module);
    return static_cast<std::uint32_t>(platform::format_text(out, size, u"%S", path.text()));
}

std::string platform::module_path(HINSTANCE module) { return ModulePath(module).text(); }

HINSTANCE platform::share_module(HINSTANCE module) {
    return static_cast<HINSTANCE>(open_handle(find_module(module)));
}

}  // namespace tarnwillow
