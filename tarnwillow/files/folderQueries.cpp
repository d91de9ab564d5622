#include "tarnwillow/files/folderQueries.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <new>
#include <string>

#include "tarnwillow/files/folderPath.h"
#include "tarnwillow/platform/descriptor.h"
#include "tarnwillow/platform/filePath.h"
#include "tarnwillow/platform/folderTree.h"
#include "tarnwillow/platform/ownText.h"
#include "tarnwillow/platform/wideText.h"
#include "tarnwillow/text/stringUtilities.h"

namespace tarnwillow {

namespace {

using detail::FolderPath;
using platform::Descriptor;
using platform::EntryKind;
using platform::SystemPath;
using platform::TreeVisitor;

constexpr char16_t kScheme[] = u"://";
constexpr char16_t kFileScheme[] = u"file://";
constexpr std::size_t kFileSchemeLength = 7;
constexpr long kEnded = 1;

// Opened without waiting: a pipe has no writer yet, perhaps never.
bool can_read(char const* path) {
    const Descriptor file(open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat about {};
    return file && fstat(file.get(), &about) == 0 && !S_ISDIR(about.st_mode);
}

bool is_free(char const* path) { return !can_read(path) && !detail::can_enter(path); }

bool is_dotted(char const* name) { return name[0] == '.'; }

void add_one(unsigned long* count) {
    if (count != nullptr) ++*count;
}

class Counter : public TreeVisitor {
public:
    Counter(unsigned long* files, unsigned long* folders, bool recursive)
        : files_(files), folders_(folders), recursive_(recursive) {}

    long file(int, char const* name, EntryKind) override {
        if (!is_dotted(name)) add_one(files_);
        return 0;
    }
    long enter(int, char const* name, bool* descend) override {
        if (!is_dotted(name)) add_one(folders_);
        *descend = recursive_ && !is_dotted(name);
        return 0;
    }
    long leave(int, char const*) override { return 0; }
    long unreadable() override { return 0; }

private:
    unsigned long* files_;
    unsigned long* folders_;
    bool recursive_;
};

bool is_separator(char16_t unit) { return unit == u'/' || unit == u'\\'; }

// The text with each run of one separator closed up.
std::u16string without_doubles(char16_t const* path) {
    std::u16string result;
    for (; *path != 0; ++path)
        if (!is_separator(*path) || result.empty() || result.back() != *path) result += *path;
    return result;
}

// Where the library joins, it takes the separator that the caller's text shows.
char16_t separator_of(const std::u16string& path) {
    const bool backslash = path.find(u'\\') != std::u16string::npos;
    return backslash && path.find(u'/') == std::u16string::npos ? u'\\' : u'/';
}

class SubFolders : public TreeVisitor {
public:
    SubFolders(char16_t const* path, SubFolderProc callback, void* context, unsigned int maximum)
        : path_(without_doubles(path)),
          separator_(separator_of(path_)),
          callback_(callback),
          context_(context),
          maximum_(maximum) {}

    long file(int, char const*, EntryKind) override { return 0; }

    long enter(int, char const* name, bool* descend) override {
        *descend = !is_dotted(name) && lengths_.size() < maximum_;
        if (is_dotted(name)) return 0;
        const std::size_t length = path_.size();
        add(name);
        const int depth = static_cast<int>(lengths_.size());
        const bool goes_on = callback_(path_.c_str(), depth, context_);
        if (*descend)
            lengths_.push_back(length);
        else
            path_.resize(length);
        return goes_on ? 0 : kEnded;
    }

    long leave(int, char const*) override {
        path_.resize(lengths_.back());
        lengths_.pop_back();
        return 0;
    }
    long unreadable() override { return 0; }

private:
    void add(char const* name) {
        if (path_.empty() || !is_separator(path_.back())) path_ += separator_;
        path_ += platform::widened(name);
    }

    std::u16string path_;
    char16_t separator_;
    SubFolderProc callback_;
    void* context_;
    unsigned int maximum_;
    std::vector<std::size_t> lengths_;  // of the paths of the folders around the present one
};

void walk(const Descriptor& folder, TreeVisitor& visitor) {
    if (folder) platform::walk_tree(folder.get(), visitor);
}

std::u16string without_query(char16_t const* path) {
    const std::u16string text = path;
    return text.substr(0, text.find(u'?'));
}

bool local_file_exists(char16_t const* path) {
    const bool is_file_url = wcsstr_ncs(path, kFileScheme) != nullptr;
    if (!is_file_url && wcsstr_ncs(path, kScheme) != nullptr) return true;
    if (!is_file_url && wide::length(path) <= kFileSchemeLength) return true;
    return File_Exists(without_query(is_file_url ? path + kFileSchemeLength : path).c_str());
}

}  // namespace

bool File_Exists(char const* path) { return can_read(SystemPath(path).c_str()); }
bool File_Exists(char16_t const* path) { return can_read(SystemPath(path).c_str()); }

bool LocalFileExists(char16_t const* path) {
    try {
        return path != nullptr && local_file_exists(path);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool Is_Valid_New_File_Path(char const* path) { return is_free(SystemPath(path).c_str()); }
bool Is_Valid_New_File_Path(char16_t const* path) { return is_free(SystemPath(path).c_str()); }

bool Folder_Has_Files(char16_t const* path) {
    const Descriptor folder(platform::open_folder(FolderPath(path).text(), true));
    bool found = false;
    if (folder)
        platform::each_entry(folder.get(), [&](char const*, EntryKind kind) {
            found = kind != EntryKind::folder;
            return !found;
        });
    return found;
}

void Count_Folder_Items(char16_t const* path, unsigned long* files, unsigned long* folders,
                        bool recursive) {
    Counter counter(files, folders, recursive);
    try {
        walk(Descriptor(platform::open_folder(FolderPath(path).text(), false)), counter);
    } catch (const std::bad_alloc&) {
        // What was counted so far stands.
    }
}

void IterateSubFolders(char16_t const* path, SubFolderProc callback, void* context,
                       unsigned int maximum_depth) {
    if (path == nullptr || callback == nullptr) return;
    try {
        SubFolders visitor(path, callback, context, maximum_depth);
        walk(Descriptor(platform::open_folder(FolderPath(path).text(), true)), visitor);
    } catch (const std::bad_alloc&) {
        // The walk ends here.
    }
}

}  // namespace tarnwillow
