#include "tarnwillow/files/folderPath.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "tarnwillow/platform/filePath.h"

namespace tarnwillow::detail {

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

std::string joined(const std::string& folder, const std::string& name) {
    std::string path = folder;
    if (path.empty() || path.back() != '/') path += '/';
    return path += name;
}

}  // namespace tarnwillow::detail
