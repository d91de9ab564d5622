#include "tarnwillow/files/filePermissions.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <new>

#include "tarnwillow/containers/CIterator.h"
#include "tarnwillow/files/folderPath.h"
#include "tarnwillow/platform/descriptor.h"
#include "tarnwillow/platform/folderTree.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

namespace {

using platform::Descriptor;
using platform::EntryKind;

constexpr std::uint32_t kAdministrators = 544;
constexpr std::uint32_t kUsers = 545;
constexpr std::uint8_t kInheritOnly = 8;

// Bits of an access mask that ask for each right: of the file itself, and the general ones.
constexpr std::uint32_t kFullAccess = 0x10000000;
constexpr std::uint32_t kReadBits = 0x1 | 0x80000000 | kFullAccess;
constexpr std::uint32_t kWriteBits = 0x2 | 0x4 | 0x40000000 | kFullAccess;
constexpr std::uint32_t kExecuteBits = 0x20 | 0x20000000 | kFullAccess;

mode_t modes_of(std::uint32_t mask) {
    mode_t modes = 0;
    if ((mask & kReadBits) != 0) modes |= S_IROTH;
    if ((mask & kWriteBits) != 0) modes |= S_IWOTH;
    if ((mask & kExecuteBits) != 0) modes |= S_IXOTH;
    return modes;
}

/// What a list of entries asks for.
struct Access {
    mode_t owner = 0;   // added to what the owner has
    mode_t others = 0;  // in place of what they have

    bool add(const AccessEntry* entry) {
        if (entry == nullptr || (entry->flags & kInheritOnly) != 0) return false;
        const mode_t modes = modes_of(entry->access_mask);
        if (entry->relative_id == kAdministrators)
            owner |= modes;
        else if (entry->relative_id == kUsers)
            others |= modes;
        else
            return false;
        return true;
    }

    mode_t applied_to(mode_t mode) const {
        return (mode & (S_ISVTX | S_ISUID | S_ISGID | S_IRWXU)) | owner << 6 | others << 3 | others;
    }
};

bool read_entries(CCollection& entries, Access& access) {
    CIterator walk;
    for (void* entry = walk.Iterate(&entries); walk.More(); entry = walk.Next())
        if (!access.add(static_cast<const AccessEntry*>(entry))) return false;
    return true;
}

// By a descriptor that only names the file: it is looked at and changed as one, and needs no right
// to be read.
bool apply(const Access& access, int folder, char const* name, bool* is_folder) {
    const Descriptor file(openat(folder, name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat about {};
    if (!file || fstat(file.get(), &about) != 0 || S_ISLNK(about.st_mode)) return false;
    *is_folder = S_ISDIR(about.st_mode);
    char by_descriptor[32];
    std::snprintf(by_descriptor, sizeof by_descriptor, "/proc/self/fd/%d", file.get());
    return chmod(by_descriptor, access.applied_to(about.st_mode) & 07777) == 0;
}

class Permitter : public platform::TreeVisitor {
public:
    Permitter(const Access& access, bool files_too) : access_(access), files_too_(files_too) {}

    long file(int folder, char const* name, EntryKind kind) override {
        const bool passed_over = !files_too_ || name[0] == '.' || kind == EntryKind::link;
        return passed_over ? S_OK : status_of(folder, name);
    }
    long enter(int folder, char const* name, bool* descend) override {
        *descend = name[0] != '.' && (files_too_ || std::strchr(name, '.') == nullptr);
        return *descend ? status_of(folder, name) : S_OK;
    }
    long leave(int, char const*) override { return S_OK; }
    long unreadable() override { return E_FAIL; }

private:
    long status_of(int folder, char const* name) const {
        bool is_folder = false;
        return apply(access_, folder, name, &is_folder) ? S_OK : E_FAIL;
    }

    const Access& access_;
    bool files_too_;
};

long permit(char const* path, const Access& access, bool recursive, bool files_too) {
    bool is_folder = false;
    if (!apply(access, AT_FDCWD, path, &is_folder)) return E_FAIL;
    if (!recursive || !is_folder) return S_OK;
    const Descriptor folder(platform::open_folder(path, false));
    if (!folder) return E_FAIL;
    Permitter permitter(access, files_too);
    return platform::walk_tree(folder.get(), permitter);
}

}  // namespace

int Set_File_Permissions(char const* path, CCollection* entries, bool recursive, bool files_too) {
    Access access;
    if (entries == nullptr || !read_entries(*entries, access)) return static_cast<int>(E_FAIL);
    try {
        return static_cast<int>(
            permit(detail::FolderPath(path).text(), access, recursive, files_too));
    } catch (const std::bad_alloc&) {
        return static_cast<int>(E_OUTOFMEMORY);
    }
}

}  // namespace tarnwillow
