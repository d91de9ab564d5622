#include "tarnwillow/files/folderPath.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "tarnwillow/platform/filePath.h"

namespace tarnwillow::detail {

namespace {

// Adds the names of a path that does not exist yet to one that does.
void add_names(std::string& path, char const* names) {
    while (*names != 0) {
        const std::string name(names, std::strcspn(names, "/"));
        names += name.size();
        names += std::strspn(names, "/");
        if (name.empty() || name == ".") continue;
        if (name == "..")
            path.erase(std::max<std::size_t>(path.rfind('/'), 1));
        else
            path = joined(path, name);
    }
}

}  // namespace

FolderPath::FolderPath(char const* path) { take(platform::SystemPath(path).c_str()); }
FolderPath::FolderPath(char16_t const* path) { take(platform::SystemPath(path).c_str()); }

void FolderPath::take(char const* path) {
    std::size_t length = std::strlen(path);
    while (length > 1 && path[length - 1] == '/')
        --length;
    std::memcpy(text_, path, length);
    text_[length] = 0;
}

void FolderPath::cut_last_name() {
    char* last = std::strrchr(text_, '/');
    if (last == nullptr || text_[1] == 0) {
        text_[0] = 0;
        return;
    }
    while (last > text_ && last[-1] == '/')
        --last;
    last[last == text_ ? 1 : 0] = 0;
}

bool can_enter(char const* path) {
    struct stat about {};
    return stat(path, &about) == 0 && S_ISDIR(about.st_mode) &&
           faccessat(AT_FDCWD, path, X_OK, AT_EACCESS) == 0;
}

std::string real_path(const FolderPath& path) {
    FolderPath existing = path;
    char real[PATH_MAX];
    while (realpath(existing.empty() ? "." : existing.text(), real) == nullptr) {
        if (existing.empty()) return {};
        existing.cut_last_name();
    }
    std::string result = real;
    add_names(result, path.text() + std::strlen(existing.text()));
    return result;
}

std::string joined(const std::string& folder, const std::string& name) {
    std::string path = folder;
    if (path.empty() || path.back() != '/') path += '/';
    return path += name;
}

}  // namespace tarnwillow::detail
