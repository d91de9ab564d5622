#include "tarnwillow/platform/processList.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "tarnwillow/platform/filePath.h"
#include "tarnwillow/platform/format.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

namespace {

using ProcessIds = std::vector<std::uint32_t>;

class Snapshot : public platform::HandleObject {
public:
    explicit Snapshot(ProcessIds ids)
        : HandleObject(platform::ObjectKind::snapshot), ids_(std::move(ids)) {}

    void restart() { next_ = 0; }
    bool take(std::uint32_t* id) {
        if (next_ == ids_.size()) return false;
        *id = ids_[next_++];
        return true;
    }

private:
    const ProcessIds ids_;
    std::size_t next_ = 0;
};

struct CloseFolder {
    void operator()(DIR* folder) const { closedir(folder); }
};

ProcessIds list_processes() {
    const std::unique_ptr<DIR, CloseFolder> folder(opendir("/proc"));
    ProcessIds ids;
    while (const dirent* entry = folder != nullptr ? readdir(folder.get()) : nullptr) {
        char* end = nullptr;
        const unsigned long id = std::strtoul(entry->d_name, &end, 10);
        if (id > 0 && *end == 0) ids.push_back(static_cast<std::uint32_t>(id));
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

HANDLE open_snapshot() {
    try {
        ProcessIds ids = list_processes();
        if (!ids.empty()) return platform::open_handle(std::make_shared<Snapshot>(std::move(ids)));
    } catch (const std::bad_alloc&) {
    }
    return nullptr;
}

/// "/proc/ID/NAME"
struct ProcPath {
    ProcPath(std::uint32_t id, char const* name) {
        platform::format_text(text, sizeof text, "/proc/%u/%s", id, name);
    }
    char text[64];
};

// "ID (NAME) STATE PARENT ..." where the name may hold anything, parentheses and blanks too.
bool read_state(std::uint32_t id, PROCESSENTRY32* entry) {
    std::FILE* file = std::fopen(ProcPath(id, "stat").text, "re");
    if (file == nullptr) return false;
    char line[512] = {};
    const std::size_t size = std::fread(line, 1, sizeof line - 1, file);
    std::fclose(file);
    line[size] = 0;
    char* const name = std::strchr(line, '(');
    char* const end = std::strrchr(line, ')');
    if (name == nullptr || end == nullptr || end < name) return false;
    *end = 0;
    platform::format_text(entry->szExeFile, sizeof entry->szExeFile, "%s", name + 1);
    unsigned parent = 0, threads = 0;
    const int read = std::sscanf(end + 1,
                                 " %*c %u %*d %*d %*d %*d %*u %*u %*u %*u %*u %*u %*u %*d %*d %*d"
                                 " %*d %u",
                                 &parent, &threads);
    entry->th32ParentProcessID = parent;
    entry->cntThreads = threads;
    return read == 2;
}

void read_program_name(std::uint32_t id, PROCESSENTRY32* entry) {
    char path[PATH_MAX];
    const ssize_t length = readlink(ProcPath(id, "exe").text, path, sizeof path - 1);
    if (length <= 0) return;
    path[length] = 0;
    platform::strip_deletion_mark(path);
    char const* const slash = std::strrchr(path, '/');
    platform::format_text(entry->szExeFile, sizeof entry->szExeFile, "%s",
                          slash != nullptr ? slash + 1 : path);
}

bool fill_in(std::uint32_t id, PROCESSENTRY32* entry) {
    entry->th32ProcessID = id;
    if (!read_state(id, entry)) return false;  // it has ended since
    read_program_name(id, entry);
    return true;
}

bool failed(long error) {
    SetLastError(static_cast<std::uint32_t>(error));
    return false;
}

bool next(HANDLE snapshot, PROCESSENTRY32* entry, bool from_start) {
    const auto object = std::static_pointer_cast<Snapshot>(
        platform::find_object(snapshot, platform::ObjectKind::snapshot));
    if (object == nullptr) return failed(ERROR_INVALID_HANDLE);
    if (entry == nullptr || entry->dwSize != sizeof *entry) return failed(ERROR_INVALID_PARAMETER);
    if (from_start) object->restart();
    for (std::uint32_t id = 0; object->take(&id);)
        if (fill_in(id, entry)) return true;
    return failed(ERROR_NO_MORE_ITEMS);
}

}  // namespace

HANDLE CreateToolhelp32Snapshot(std::uint32_t flags, std::uint32_t) {
    if ((flags & TH32CS_SNAPPROCESS) == 0) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    HANDLE snapshot = open_snapshot();
    if (snapshot == nullptr) SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return snapshot;
}

bool Process32First(HANDLE snapshot, PROCESSENTRY32* entry) { return next(snapshot, entry, true); }
bool Process32Next(HANDLE snapshot, PROCESSENTRY32* entry) { return next(snapshot, entry, false); }

}  // namespace tarnwillow
