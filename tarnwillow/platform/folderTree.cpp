#include "tarnwillow/platform/folderTree.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "tarnwillow/platform/descriptor.h"

namespace tarnwillow::platform {

namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

bool is_dots(char const* name) {
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

EntryKind kind_of_mode(mode_t mode) {
    if (S_ISDIR(mode)) return EntryKind::folder;
    if (S_ISREG(mode)) return EntryKind::file;
    return S_ISLNK(mode) ? EntryKind::link : EntryKind::other;
}

// Most file systems tell the kind with the name.
EntryKind kind_of_entry(int folder, const dirent64& entry) {
    switch (entry.d_type) {
        case DT_DIR:
            return EntryKind::folder;
        case DT_REG:
            return EntryKind::file;
        case DT_LNK:
            return EntryKind::link;
        case DT_UNKNOWN:
            return kind_of(folder, entry.d_name);
        default:
            return EntryKind::other;
    }
}

/// A folder of the walk: who it is, and the subfolders that are still to come, the next one last.
struct Level {
    dev_t device = 0;
    ino_t inode = 0;
    std::vector<std::string> folders;
};

bool identify(int folder, Level& level) {
    struct stat about {};
    if (fstat(folder, &about) != 0) return false;
    level.device = about.st_dev;
    level.inode = about.st_ino;
    return true;
}

bool is_level(int folder, const Level& level) {
    Level found;
    return identify(folder, found) && found.device == level.device && found.inode == level.inode;
}

class TreeWalk {
public:
    TreeWalk(int folder, TreeVisitor& visitor)
        : visitor_(visitor), current_(openat(folder, ".", kFolderFlags)) {}

    long run() {
        long result = list();
        while (result == 0 && !levels_.empty())
            result = levels_.back().folders.empty() ? go_up() : go_down();
        return result;
    }

private:
    // Gives the files of the current folder to the visitor, and notes its folders.
    long list() {
        Level& level = levels_.emplace_back();
        long result = 0;
        const bool read = identify(current_.get(), level) &&
                          each_entry(current_.get(), [&](char const* name, EntryKind kind) {
                              if (kind == EntryKind::folder)
                                  level.folders.emplace_back(name);
                              else
                                  result = visitor_.file(current_.get(), name, kind);
                              return result == 0;
                          });
        std::reverse(level.folders.begin(), level.folders.end());
        return result == 0 && !read ? visitor_.unreadable() : result;
    }

    long go_down() {
        const char* name = levels_.back().folders.back().c_str();
        bool descend = true;
        long result = visitor_.enter(current_.get(), name, &descend);
        if (result != 0) return result;
        if (!descend) {
            levels_.back().folders.pop_back();
            return 0;
        }
        const int below = openat(current_.get(), name, kFolderFlags | O_NOFOLLOW);
        if (below >= 0) {
            current_.reset(below);
            return list();
        }
        result = visitor_.unreadable();
        return result != 0 ? result : finish_folder();
    }

    // The way up is by "..", and right only while that is the folder from which the walk came.
    long go_up() {
        levels_.pop_back();
        if (levels_.empty()) return 0;
        current_.reset(openat(current_.get(), "..", kFolderFlags));
        if (current_ && is_level(current_.get(), levels_.back())) return finish_folder();
        levels_.clear();
        return visitor_.unreadable();
    }

    long finish_folder() {
        std::vector<std::string>& folders = levels_.back().folders;
        const std::string name = std::move(folders.back());
        folders.pop_back();
        return visitor_.leave(current_.get(), name.c_str());
    }

    TreeVisitor& visitor_;
    Descriptor current_;
    std::vector<Level> levels_;
};

}  // namespace

int open_folder(char const* path, bool follow) {
    return open(path, follow ? kFolderFlags : kFolderFlags | O_NOFOLLOW);
}

EntryKind kind_of(int folder, char const* name) {
    struct stat about {};
    if (fstatat(folder, name, &about, AT_SYMLINK_NOFOLLOW) != 0) return EntryKind::other;
    return kind_of_mode(about.st_mode);
}

bool each_entry(int folder, bool (*proc)(void* context, char const* name, EntryKind kind),
                void* context) {
    constexpr std::size_t kRoom = std::size_t{32} * 1024;
    alignas(dirent64) char entries[kRoom];
    if (lseek(folder, 0, SEEK_SET) != 0) return false;
    ssize_t size = 0;
    while ((size = getdents64(folder, entries, kRoom)) > 0) {
        for (ssize_t at = 0; at < size;) {
            const auto& entry = *reinterpret_cast<dirent64 const*>(entries + at);
            at += entry.d_reclen;
            if (!is_dots(entry.d_name) &&
                !proc(context, entry.d_name, kind_of_entry(folder, entry)))
                return false;
        }
    }
    return size == 0 || errno == ENOENT;  // it was removed meanwhile
}

long walk_tree(int folder, TreeVisitor& visitor) { return TreeWalk(folder, visitor).run(); }

}  // namespace tarnwillow::platform
