// A stand-in message core, and a look at what it got.
#pragma once

#include <dlfcn.h>

#include <atomic>
#include <string>

#include "tarnwillow/diagnostics/messageRecord.h"
#include "tarnwillow/files/CRegistry.h"

namespace tarnwillow::test {

/// As the stand-in keeps it.
struct KeptMessage {
    std::int64_t size, code, kind;
    char data[TARNWILLOW_RECORD_SIZE];

    tarnwillow_log_record const& record() const {
        return *reinterpret_cast<tarnwillow_log_record const*>(data);
    }
};

inline std::string standin(std::string_view name) {
    return TARNWILLOW_STANDINS "/" + std::string(name) + ".so";
}

/// Makes it the message core of every process that uses these settings.
inline void set_core(const std::string& path) {
    CRegistry settings;
    settings.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE);
    settings.Set_Entry("Log", path.c_str());
}

/// The stand-in of that name, if the process has it loaded.
class LoadedStandin {
public:
    explicit LoadedStandin(std::string_view name)
        : library_(dlopen(standin(name).c_str(), RTLD_LAZY | RTLD_NOLOAD)) {}
    ~LoadedStandin() {
        if (library_ != nullptr) dlclose(library_);
    }
    LoadedStandin(const LoadedStandin&) = delete;
    LoadedStandin& operator=(const LoadedStandin&) = delete;

    bool is_there() const { return library_ != nullptr; }
    std::atomic<int>& count() const {
        return *static_cast<std::atomic<int>*>(dlsym(library_, "kept_count"));
    }
    KeptMessage const& message(int index) const {
        return static_cast<KeptMessage*>(dlsym(library_, "kept_messages"))[index];
    }

private:
    void* library_;
};

}  // namespace tarnwillow::test
