#include "tarnwillow/platform/filePath.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tarnwillow/platform/codepage.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow::platform {

namespace {

constexpr mode_t kEveryAccess = 0666;
constexpr mode_t kOwnerOnly = 0700;

// The system has no call that only looks at the mask: setting it, even for a moment, would be seen
// by the other threads.
bool read_umask(unsigned* mask) {
    std::FILE* status = std::fopen("/proc/self/status", "re");
    if (status == nullptr) return false;
    char line[256];
    bool found = false;
    while (!found && std::fgets(line, sizeof line, status) != nullptr)
        found = std::sscanf(line, "Umask: %o", mask) == 1;
    std::fclose(status);
    return found;
}

bool is_folder(char const* path) {
    struct stat about {};
    return lstat(path, &about) == 0 && S_ISDIR(about.st_mode);
}

}  // namespace

SystemPath::SystemPath(char const* path) : text_{} {
    const std::size_t length = path != nullptr ? strnlen(path, PATH_MAX) : 0;
    if (length == PATH_MAX) return;
    std::copy_n(path, length, text_);
    unify_separators();
}

SystemPath::SystemPath(char16_t const* path) : text_{} {
    if (path == nullptr) return;
    const std::size_t length = wide::bounded_length(path, PATH_MAX);
    if (wide_to_narrow_length(path, length) >= PATH_MAX) return;
    wide_to_narrow(path, length, text_, PATH_MAX - 1);
    unify_separators();
}

void SystemPath::unify_separators() { std::replace(text_, text_ + std::strlen(text_), '\\', '/'); }

char const* temporary_folder() {
    const char* named = secure_getenv("TMPDIR");
    return named != nullptr && named[0] != 0 ? named : "/tmp";
}

void strip_deletion_mark(char* path) {
    constexpr char kMark[] = " (deleted)";
    constexpr std::size_t kLength = sizeof kMark - 1;
    const std::size_t length = std::strlen(path);
    if (length > kLength && std::strcmp(path + length - kLength, kMark) == 0)
        path[length - kLength] = 0;
}

bool move_without_replacing(char const* from, char const* to) {
    if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return true;
    const bool unsupported = errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
    if (!unsupported) return false;
    return is_folder(from) ? move_folder_by_claiming(from, to) : move_by_linking(from, to);
}

bool move_by_linking(char const* from, char const* to) {
    if (link(from, to) != 0) return false;
    unlink(from);
    return true;
}

// A folder replaces no other one that holds anything.
bool move_folder_by_claiming(char const* from, char const* to) {
    if (mkdir(to, kOwnerOnly) != 0) return false;
    if (rename(from, to) == 0) return true;
    const int reason = errno;
    rmdir(to);
    errno = reason;
    return false;
}

void give_default_access(int descriptor) {
    unsigned mask = 0;
    if (!read_umask(&mask)) return;  // the file stays its owner's alone
    static_cast<void>(fchmod(descriptor, kEveryAccess & ~static_cast<mode_t>(mask)));
}

}  // namespace tarnwillow::platform
