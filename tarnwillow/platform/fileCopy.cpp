#include "tarnwillow/platform/fileCopy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "tarnwillow/platform/descriptor.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::platform {

namespace {

constexpr mode_t kEveryAccess = 0666;
constexpr int kUnwaited = O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
constexpr off_t kBlock = off_t{32} * 1024;

struct Source {
    explicit Source(const FilePlace& place)
        : file(openat(place.folder, place.name, O_RDONLY | kUnwaited)) {
        if (file && (fstat(file.get(), &about) != 0 || S_ISDIR(about.st_mode))) file.reset(-1);
    }
    bool can_be_copied() const { return !file || S_ISREG(about.st_mode); }
    bool is(const struct stat& other) const {
        return file && about.st_dev == other.st_dev && about.st_ino == other.st_ino;
    }

    Descriptor file;
    struct stat about {};
};

// Only once it is known to be another file may it be emptied.
long open_standing(const Source& source, const FilePlace& place, Descriptor& target) {
    target.reset(openat(place.folder, place.name, O_WRONLY | O_CREAT | kUnwaited, kEveryAccess));
    struct stat about {};
    if (!target || fstat(target.get(), &about) != 0) return ERROR_FILE_NOT_FOUND;
    if (source.is(about)) return E_INVALIDARG;
    return make_empty(target.get()) ? S_OK : ERROR_FILE_NOT_FOUND;
}

long open_target(const Source& source, const FilePlace& place, Descriptor& target) {
    constexpr int kNew = O_WRONLY | O_CREAT | O_EXCL | kUnwaited;
    target.reset(openat(place.folder, place.name, kNew, kEveryAccess));
    return target ? S_OK : open_standing(source, place, target);
}

bool write_all(int to, char const* bytes, ssize_t count) {
    while (count > 0) {
        const ssize_t written = write(to, bytes, static_cast<std::size_t>(count));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes += written;
        count -= written;
    }
    return true;
}

long copy_by_hand(int from, int to, off_t left) {
    char block[kBlock];
    while (left > 0) {
        const ssize_t count = read(from, block, static_cast<std::size_t>(std::min(left, kBlock)));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return errno;
        if (count == 0 || !write_all(to, block, count)) return ERROR_FILE_CORRUPT;
        left -= count;
    }
    return S_OK;
}

/// Within the system, which may let both share what they hold. Gives what is left to copy, which
/// stands at the files' positions.
off_t copy_inside(int from, int to, off_t left) {
    while (left > 0) {
        const ssize_t count =
            copy_file_range(from, nullptr, to, nullptr, static_cast<std::size_t>(left), 0);
        if (count <= 0) break;
        left -= count;
    }
    return left;
}

// A small file is copied sooner than the system has found out how.
long copy_content(int from, int to, off_t size) {
    return copy_by_hand(from, to, size > kBlock ? copy_inside(from, to, size) : size);
}

}  // namespace

bool make_empty(int file) {
    if (ftruncate(file, 0) == 0) return true;
    struct stat about {};
    return fstat(file, &about) == 0 && (S_ISCHR(about.st_mode) || S_ISBLK(about.st_mode));
}

long copy_file(const FilePlace& source_place, const FilePlace& target_place) {
    const Source source(source_place);
    if (!source.can_be_copied()) return ERROR_NOT_SUPPORTED;
    Descriptor target;
    const long result = open_target(source, target_place, target);
    if (result != S_OK || !source.file) return result;
    const long copied = copy_content(source.file.get(), target.get(), source.about.st_size);
    const bool whole = close(target.release()) == 0;  // a server may find out only now
    return copied == S_OK && !whole ? ERROR_FILE_CORRUPT : copied;
}

}  // namespace tarnwillow::platform
