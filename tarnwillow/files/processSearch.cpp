#include <strings.h>

#include <cstring>

#include "tarnwillow/core/CWeakAPICall.h"
#include "tarnwillow/files/applicationFolders.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/processList.h"
#include "tarnwillow/platform/processes.h"

namespace tarnwillow {

namespace {

/// The calls that list processes, where the system has them.
class ProcessCalls {
public:
    bool load() {
        return load(&create_, "CreateToolhelp32Snapshot") && load(&first_, "Process32First") &&
               load(&next_, "Process32Next");
    }
    HANDLE snapshot() const { return create_(TH32CS_SNAPPROCESS, 0); }
    bool first(HANDLE snapshot, PROCESSENTRY32* entry) const { return first_(snapshot, entry); }
    bool next(HANDLE snapshot, PROCESSENTRY32* entry) const { return next_(snapshot, entry); }

private:
    template <class Procedure>
    bool load(Procedure** procedure, char const* name) {
        *procedure = reinterpret_cast<Procedure*>(calls_.Load_Call("Kernel32.dll", name));
        return *procedure != nullptr;
    }

    CWeakAPICall calls_;
    decltype(&CreateToolhelp32Snapshot) create_ = nullptr;
    decltype(&Process32First) first_ = nullptr;
    decltype(&Process32Next) next_ = nullptr;
};

char const* without_folder(char const* path) {
    char const* const separator = std::strrchr(path, '\\');
    return separator != nullptr ? separator + 1 : path;
}

bool find_process(const ProcessCalls& calls, HANDLE snapshot, char const* name, int skip,
                  std::uint32_t* id) {
    PROCESSENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (bool more = calls.first(snapshot, &entry); more; more = calls.next(snapshot, &entry)) {
        if (strcasecmp(without_folder(entry.szExeFile), name) != 0 || skip-- != 0) continue;
        *id = entry.th32ProcessID;
        return true;
    }
    return false;
}

}  // namespace

HANDLE GetProcess(char const* name, unsigned long access, unsigned long* pid, int skip) {
    ProcessCalls calls;
    if (name == nullptr || !calls.load()) return nullptr;
    HANDLE snapshot = calls.snapshot();
    if (snapshot == nullptr) return nullptr;
    std::uint32_t id = 0;
    const bool found = find_process(calls, snapshot, name, skip, &id);
    CloseHandle(snapshot);
    if (!found) return nullptr;
    if (pid != nullptr) *pid = id;
    return OpenProcess(static_cast<std::uint32_t>(access), false, id);
}

}  // namespace tarnwillow
