#include "tarnwillow/diagnostics/messageCoreLoad.h"

#include <atomic>
#include <climits>
#include <cstdlib>
#include <new>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/platform/clock.h"
#include "tarnwillow/platform/filePath.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/modules.h"

namespace tarnwillow::detail {

using InitializeProc = std::int32_t (*)();
using QueueEntryProc = void (*)(void const* data, std::int64_t size, std::int64_t code,
                                std::int64_t kind);

struct LoadedCore {
    HINSTANCE module;
    InitializeProc initialize;
    QueueEntryProc queue_entry;
};

namespace {

constexpr unsigned long kPathRoom = 256;  // characters of the setting
constexpr int kUnloadPatience = 100;      // milliseconds

constinit std::atomic<LoadedCore const*> current_core{nullptr};
constinit std::atomic<std::uint32_t> core_users{0};
constinit std::atomic<bool> core_closed{false};

// What the load itself logs, through the settings or by the core's own start, is dropped: it would
// load the core again, and never come back.
constinit thread_local bool loading = false;

class LoadMark {
public:
    LoadMark() { loading = true; }
    ~LoadMark() { loading = false; }
    LoadMark(const LoadMark&) = delete;
    LoadMark& operator=(const LoadMark&) = delete;
};

LoadedCore const* enter_core() {
    if (core_closed) return nullptr;
    ++core_users;
    LoadedCore const* core = current_core;
    if (core == nullptr) --core_users;
    return core;
}

/// The setting as the path that it means for this process now: absolute, so that no search path and
/// no later change of the directory matters.
bool read_core_path(char (&path)[PATH_MAX]) {
    CRegistry settings;
    char16_t setting[kPathRoom + 1] = {};
    if (!settings.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE)) return false;
    if (!settings.Get_Entry(u"Log", setting, kPathRoom)) return false;
    return realpath(platform::SystemPath(setting).c_str(), path) != nullptr;
}

LoadedCore const* open_core() {
    char path[PATH_MAX];
    if (!read_core_path(path)) return nullptr;
    const HINSTANCE module = LoadLibraryA(path);
    if (module == nullptr) return nullptr;
    const auto initialize = reinterpret_cast<InitializeProc>(GetProcAddress(module, "Initialize"));
    const auto queue = reinterpret_cast<QueueEntryProc>(GetProcAddress(module, "Queue_Entry"));
    LoadedCore const* core = nullptr;
    if (initialize != nullptr && queue != nullptr)
        core = new (std::nothrow) LoadedCore{module, initialize, queue};
    if (core == nullptr) FreeLibrary(module);
    return core;
}

void free_core(LoadedCore const* core) {
    FreeLibrary(core->module);
    delete core;
}

/// Takes the core away and frees it when its last user is out. A thread that stays in the core
/// keeps it: then it is left where it is, since unloading it would take the code from under that
/// thread.
void unload_core() {
    LoadedCore const* core = current_core.exchange(nullptr);
    if (core == nullptr) return;
    for (int waited = 0; core_users != 0; ++waited) {
        if (waited == kUnloadPatience) return;
        Sleep(1);
    }
    free_core(core);
}

/// The core may be slow to start: other threads' lines go to it as soon as it is there.
void start_core(LoadedCore const* core) {
    auto start = [&] { return core->initialize(); };
    const auto failed = [] { return std::int32_t{-1}; };
    if (reporting_guard(ExceptionLevelHandled, u"Load_Message_Core", start, failed) != 0)
        unload_core();
}

void Load_Message_Core() {
    if (loading || current_core != nullptr) return;
    const LoadMark mark;
    LoadedCore const* core = open_core();
    if (core == nullptr) return;
    LoadedCore const* none = nullptr;
    if (current_core.compare_exchange_strong(none, core))
        start_core(core);
    else
        free_core(core);  // another thread was faster
}

bool Message_Core_Ready() {
    if (core_closed || loading) return false;
    if (current_core == nullptr) Load_Message_Core();
    return current_core != nullptr;
}

class CoreCloser {
public:
    // The handles must outlive this object, whose end gives one back: so they are made before it.
    CoreCloser() { platform::find_object(nullptr, platform::ObjectKind::module); }
    ~CoreCloser() {
        core_closed = true;
        unload_core();
    }
    CoreCloser(const CoreCloser&) = delete;
    CoreCloser& operator=(const CoreCloser&) = delete;
};

}  // namespace

CoreUse::CoreUse(Load load)
    : core_(load == Load::never || Message_Core_Ready() ? enter_core() : nullptr) {}

CoreUse::~CoreUse() {
    if (core_ != nullptr) --core_users;
}

void CoreUse::queue(void const* data, long size, long code, long kind) const {
    core_->queue_entry(data, size, code, kind);
}

void* CoreUse::entry(char const* name) const { return GetProcAddress(core_->module, name); }

void make_core_closer() {
    static CoreCloser closer;
    static_cast<void>(&closer);
}

}  // namespace tarnwillow::detail
