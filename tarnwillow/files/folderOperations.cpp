#include "tarnwillow/files/folderOperations.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "tarnwillow/files/folderPath.h"
#include "tarnwillow/platform/absolutePath.h"
#include "tarnwillow/platform/descriptor.h"
#include "tarnwillow/platform/fileCopy.h"
#include "tarnwillow/platform/filePath.h"
#include "tarnwillow/platform/folderTree.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/systemError.h"

namespace tarnwillow {

namespace {

using detail::FolderPath;
using platform::Descriptor;
using platform::EntryKind;
using platform::SystemPath;
using platform::TreeVisitor;

constexpr int kNotEntered = static_cast<int>(ERROR_NOT_FOUND);
constexpr int kNotRemoved = -1;
constexpr mode_t kEveryAccess = 0777;

// Without memory a walk ends where it stands.
template <class Walk>
int bounded_by_memory(Walk walk) {
    try {
        return static_cast<int>(walk());
    } catch (const std::bad_alloc&) {
        return static_cast<int>(E_OUTOFMEMORY);
    }
}

// Making.

void make_parents(char* path) {
    for (char* at = std::strchr(path + 1, '/'); at != nullptr; at = std::strchr(at + 1, '/')) {
        *at = 0;
        mkdir(path, kEveryAccess);
        *at = '/';
    }
}

void make_folder(FolderPath path) {
    if (path.empty()) return;
    make_parents(path.text());
    mkdir(path.text(), kEveryAccess);
}

// Emptying and removing.

enum class Names { all, undotted };

class Remover : public TreeVisitor {
public:
    explicit Remover(Names names) : names_(names) {}

    long file(int folder, char const* name, EntryKind) override {
        return stays(name) ? 0 : result_of(unlinkat(folder, name, 0));
    }
    long enter(int, char const* name, bool* descend) override {
        *descend = !stays(name);
        return 0;
    }
    long leave(int folder, char const* name) override {
        return result_of(unlinkat(folder, name, AT_REMOVEDIR));
    }
    long unreadable() override { return kNotEntered; }

private:
    bool stays(char const* name) const { return names_ == Names::undotted && name[0] == '.'; }
    static long result_of(int removed) { return removed == 0 ? 0 : kNotRemoved; }

    Names names_;
};

int clear_folder(int folder, Names names) {
    Remover remover(names);
    return bounded_by_memory([&] { return platform::walk_tree(folder, remover); });
}

int clear_folder(const FolderPath& path, Names names) {
    const Descriptor folder(platform::open_folder(path.text(), false));
    return folder ? clear_folder(folder.get(), names) : kNotEntered;
}

// Copying.

bool fits(const std::string& path) { return path.size() < PATH_MAX; }

bool fits(const std::string& folder, char const* name) {
    return folder.size() + 1 + std::strlen(name) < PATH_MAX;
}

bool lies_in(const std::string& path, const std::string& folder) {
    return path.compare(0, folder.size(), folder) == 0 &&
           (path.size() == folder.size() || folder == "/" || path[folder.size()] == '/');
}

/// Fills the folder at a path, which stands. A walk meets the files of a folder before it enters
/// the next one: so one descriptor of the target is enough.
class Copier : public TreeVisitor {
public:
    Copier(std::string source, std::string target)
        : top_(source),
          source_(std::move(source)),
          target_(std::move(target)),
          last_entered_(source_),
          into_(platform::open_folder(target_.c_str(), true)) {}

    const std::string& last_entered() const { return last_entered_; }

    long file(int folder, char const* name, EntryKind kind) override {
        if (kind == EntryKind::link) return copy_link(folder, name);
        if (kind != EntryKind::file) return ERROR_NOT_SUPPORTED;
        if (!fits(source_, name) || !fits(target_, name)) return ERROR_FILENAME_EXCED_RANGE;
        return platform::copy_file({folder, name}, {into_.get(), name});
    }
    long enter(int, char const* name, bool*) override {
        source_ = detail::joined(source_, name);
        target_ = detail::joined(target_, name);
        if (!fits(source_) || !fits(target_)) return ERROR_FILENAME_EXCED_RANGE;
        last_entered_ = source_;
        const bool stood = mkdir(target_.c_str(), kEveryAccess) != 0;
        if (stood && leads_back()) return ERROR_DIRECTORY;
        into_.reset(platform::open_folder(target_.c_str(), true));
        return 0;
    }
    long leave(int, char const* name) override {
        const std::size_t added = std::strlen(name) + 1;
        source_.erase(source_.size() - added);
        target_.erase(target_.size() - added);
        return 0;
    }
    long unreadable() override { return ERROR_NOT_FOUND; }

private:
    // A link that stood in the target may lead into what is being copied, which would never end.
    bool leads_back() const { return lies_in(platform::absolute_path(target_.c_str()), top_); }

    long copy_link(int folder, char const* name) const {
        char leads_to[PATH_MAX];
        const auto length = readlinkat(folder, name, leads_to, sizeof leads_to - 1);
        if (length < 0) return ERROR_FILE_NOT_FOUND;
        leads_to[length] = 0;
        unlinkat(into_.get(), name, 0);
        return symlinkat(leads_to, into_.get(), name) == 0 ? 0 : ERROR_FILE_NOT_FOUND;
    }

    std::string top_;
    std::string source_;
    std::string target_;
    std::string last_entered_;
    Descriptor into_;
};

// Cuts the path's last names until a folder is left that can be entered.
bool cut_to_folder(FolderPath& path) {
    while (!path.empty() && !detail::can_enter(path.text()))
        path.cut_last_name();
    return !path.empty();
}

long copy_tree(const std::string& source, const std::string& target) {
    make_folder(FolderPath(target.c_str()));
    const Descriptor folder(platform::open_folder(source.c_str(), false));
    if (!folder) return ERROR_NOT_FOUND;
    Copier copier(source, target);
    const long result = platform::walk_tree(folder.get(), copier);
    static_cast<void>(chdir(copier.last_entered().c_str()));
    return result;
}

// The name that the copy gets: of "." and ".." the one of the folder itself.
std::string name_of_copy(const FolderPath& from, const std::string& source) {
    char const* slash = std::strrchr(from.text(), '/');
    const std::string name = slash != nullptr ? slash + 1 : from.text();
    return name == "." || name == ".." ? source.substr(source.rfind('/') + 1) : name;
}

long copy_folder(FolderPath from, const FolderPath& into) {
    if (!cut_to_folder(from) || into.empty()) return ERROR_NOT_FOUND;
    const std::string source = platform::absolute_path(from.text());
    const std::string copy = detail::joined(into.text(), name_of_copy(from, source));
    if (!fits(copy)) return ERROR_FILENAME_EXCED_RANGE;
    const std::string target = platform::absolute_path(copy.c_str());
    if (lies_in(target, source)) return ERROR_DIRECTORY;
    return fits(target) ? copy_tree(source, target) : ERROR_FILENAME_EXCED_RANGE;
}

long move(char const* source, char const* target) {
    if (platform::move_without_replacing(source, target)) return S_OK;
    return platform::error_from_errno(errno);
}

}  // namespace

void DirCreate(char const* path) { make_folder(FolderPath(path)); }
void DirCreate(char16_t const* path) { make_folder(FolderPath(path)); }

int ClearDir(char const* path) { return clear_folder(FolderPath(path), Names::all); }
int ClearDir(char16_t const* path) { return clear_folder(FolderPath(path), Names::undotted); }

int DirDestroyAll(char const* path) {
    const FolderPath named(path);
    const Descriptor folder(platform::open_folder(named.text(), false));
    if (!folder) return kNotRemoved;
    const int cleared = clear_folder(folder.get(), Names::all);
    return cleared != 0 ? cleared : rmdir(named.text());
}

int DirDestroyAll(char16_t const* path) {
    const FolderPath folder(path);
    const int cleared = clear_folder(folder, Names::undotted);
    if (cleared != 0) return cleared;
    return rmdir(folder.text()) == 0 ? 0 : errno;
}

void MakeRealFilePath(char* path) {
    if (path == nullptr) return;
    char* to = path;
    for (char const* from = path; *from != 0; ++from) {
        *to++ = *from;
        if (from[0] == '\\' && from[1] == '\\') ++from;
    }
    *to = 0;
}

int CopyFileW(char const* source, char const* target) {
    const SystemPath from(source);
    const SystemPath to(target);
    return static_cast<int>(platform::copy_file({AT_FDCWD, from.c_str()}, {AT_FDCWD, to.c_str()}));
}

int CopyFolder(char const* source, char const* target) {
    return bounded_by_memory([&] { return copy_folder(FolderPath(source), FolderPath(target)); });
}

long MoveFolder(char const* source, char const* target) {
    return move(FolderPath(source).text(), FolderPath(target).text());
}

long MoveFolder(char16_t const* source, char16_t const* target) {
    return move(FolderPath(source).text(), FolderPath(target).text());
}

}  // namespace tarnwillow
