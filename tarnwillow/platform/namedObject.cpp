#include "tarnwillow/platform/namedObject.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "tarnwillow/platform/codepage.h"
#include "tarnwillow/platform/forkLocks.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/systemError.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow::platform {

// All uses in this process, for the child of a fork.
class NamedObjectList {
public:
    void add(NamedObject& object) {
        const std::lock_guard hold(lock_);
        object.next_ = first_;
        if (first_ != nullptr) first_->previous_ = &object;
        first_ = &object;
    }
    void remove(NamedObject& object) {
        const std::lock_guard hold(lock_);
        if (object.previous_ != nullptr) object.previous_->next_ = object.next_;
        if (object.next_ != nullptr) object.next_->previous_ = object.previous_;
        if (first_ == &object) first_ = object.next_;
    }
    void become_users_in_child() {
        for (NamedObject* object = first_; object != nullptr; object = object->next_)
            object->become_user_in_child();
    }
    std::mutex& lock() { return lock_; }

private:
    std::mutex lock_;
    NamedObject* first_ = nullptr;
};

namespace {

constexpr mode_t kEveryAccount = 0666;
constexpr mode_t kSharedFolder = 01777;
constexpr std::size_t kLongestFileName = 255;

// Whoever takes part in making and unmaking one name many times over gives up at some point.
constexpr int kAttempts = 1000;

// Behind any content, so that no layout has to make room for them.
enum LockByte : off_t { kSetUp = off_t{1} << 60, kUsers };

NamedObjectList& list() {
    static NamedObjectList the_list;
    static const bool noted =
        note_fork_lock(the_list.lock(), [] { list().become_users_in_child(); });
    static_cast<void>(noted);
    return the_list;
}

// The locks belong to the open file and not to the process: two uses in one process are two users.
bool set_lock(int file, LockByte byte, short kind, int command) {
    struct flock lock {};
    lock.l_type = kind;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = 1;
    while (fcntl(file, command, &lock) != 0)
        if (errno != EINTR) return false;
    return true;
}

bool try_lock(int file, LockByte byte, short kind) {
    return set_lock(file, byte, kind, F_OFD_SETLK);
}

// Holds the set-up lock for a scope.
class SetUpLock {
public:
    explicit SetUpLock(int file)
        : file_(file), held_(set_lock(file, kSetUp, F_WRLCK, F_OFD_SETLKW)) {}
    ~SetUpLock() {
        if (held_) try_lock(file_, kSetUp, F_UNLCK);
    }
    SetUpLock(const SetUpLock&) = delete;
    SetUpLock& operator=(const SetUpLock&) = delete;
    bool held() const { return held_; }

private:
    int file_;
    bool held_;
};

constexpr int kOpenFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;

// A folder that only the owner of a file may empty refuses O_CREAT on somebody else's file; so that
// comes second.
int open_file(char const* path, bool may_create) {
    int file = open(path, kOpenFlags);
    if (file >= 0 || errno != ENOENT || !may_create) return file;
    file = open(path, kOpenFlags | O_CREAT | O_EXCL, kEveryAccount);
    if (file < 0) return errno == EEXIST ? open(path, kOpenFlags) : -1;
    static_cast<void>(fchmod(file, kEveryAccount));  // whatever the process's mask has taken away
    return file;
}

void make_folder(char const* path) {
    if (mkdir(path, kSharedFolder) == 0) static_cast<void>(chmod(path, kSharedFolder));
}

// Not every file system makes files without a name.
int open_nameless(const std::string& folder) {
    int file = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (file >= 0 || (errno != EOPNOTSUPP && errno != EISDIR)) return file;
    std::string path = folder + "/tarnwillow-XXXXXX";
    file = mkostemp(path.data(), O_CLOEXEC);
    if (file >= 0) unlink(path.c_str());
    return file;
}

bool give_size(int file, std::size_t size) {
    // Room on the disk is asked for now: memory that turns out to be missing later would be a
    // fault.
    return ftruncate(file, 0) == 0 && posix_fallocate(file, 0, static_cast<off_t>(size)) == 0;
}

std::uint64_t hash_of(std::string_view text) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char c : text)
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    return hash;
}

// One text for one name, and no other name's: `/` cannot stand in a file's name.
std::string escaped(char16_t const* name) {
    const std::size_t length = wide::length(name);
    std::string narrow(length * 3, '\0');
    narrow.resize(wide_to_narrow(name, length, narrow.data(), narrow.size()).written);
    std::string text;
    for (const char c : narrow) {
        if (c == '/')
            text += "%2F";
        else if (c == '%')
            text += "%25";
        else
            text += c;
    }
    return text;
}

}  // namespace

std::string runtime_folder() {
    char const* named = secure_getenv("TARNWILLOW_RUNTIME_DIR");
    return named != nullptr && named[0] != 0 ? named : "/dev/shm";
}

std::string named_object_file(char const* kind, char16_t const* name) {
    const std::string text = escaped(name);
    std::string file = std::string("tarnwillow-") + kind + "-" + text;
    if (file.size() <= kLongestFileName) return file;
    // A sign that no uncut name has: there `%` stands only in front of two digits.
    char hash[24];
    const int length = std::snprintf(hash, sizeof hash, "%%_%016llx",
                                     static_cast<unsigned long long>(hash_of(text)));
    file.resize(kLongestFileName - static_cast<std::size_t>(length));
    return file + hash;
}

std::uint32_t NamedObject::open(const NamedObjectRequest& request) {
    const std::string folder = runtime_folder();
    path_ = folder + "/" + named_object_file(request.kind, request.name);
    if (request.may_create) make_folder(folder.c_str());
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        descriptor_ = open_file(path_.c_str(), request.may_create);
        if (descriptor_ < 0 && errno == ENOENT && request.may_create) continue;
        if (descriptor_ < 0) return error_from_errno(errno);
        {
            const SetUpLock set_up(descriptor_);
            if (set_up.held() && still_named()) return join(request);
        }
        close(descriptor_);  // given up by its last user between the two steps
        descriptor_ = -1;
    }
    return ERROR_ACCESS_DENIED;
}

std::uint32_t NamedObject::make_unnamed(const NamedObjectRequest& request) {
    const std::string folder = runtime_folder();
    make_folder(folder.c_str());
    descriptor_ = open_nameless(folder);
    if (descriptor_ < 0) return error_from_errno(errno);
    const std::uint32_t error = fill(request);
    if (error != 0) return error;
    list().add(*this);
    is_listed_ = is_user_ = true;
    return 0;
}

// Under the set-up lock.
std::uint32_t NamedObject::join(const NamedObjectRequest& request) {
    const bool alone = try_lock(descriptor_, kUsers, F_WRLCK);
    std::uint32_t error = 0;
    if (!alone)
        error = try_lock(descriptor_, kUsers, F_RDLCK) ? map(request.size) : ERROR_ACCESS_DENIED;
    else if (request.may_create)
        error = fill(request);
    else
        error = ERROR_FILE_NOT_FOUND;
    if (alone && error != 0) unlink(path_.c_str());
    // The way from a lock of one's own to a shared one has no gap.
    if (error == 0 && alone && !try_lock(descriptor_, kUsers, F_RDLCK)) error = ERROR_ACCESS_DENIED;
    if (error != 0) return error;
    list().add(*this);
    is_listed_ = is_user_ = true;
    return 0;
}

std::uint32_t NamedObject::fill(const NamedObjectRequest& request) {
    if (!give_size(descriptor_, request.size)) return ERROR_NOT_ENOUGH_MEMORY;
    const std::uint32_t error = map(request.size);
    if (error != 0) return error;
    created_ = true;
    return request.set_up != nullptr ? request.set_up(content_) : 0;
}

std::uint32_t NamedObject::map(std::size_t least) {
    struct stat state {};
    if (fstat(descriptor_, &state) != 0) return error_from_errno(errno);
    if (!S_ISREG(state.st_mode) || static_cast<std::size_t>(state.st_size) < least)
        return ERROR_FILE_INVALID;
    size_ = static_cast<std::size_t>(state.st_size);
    device_ = state.st_dev;
    inode_ = state.st_ino;
    void* mapped = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor_, 0);
    if (mapped == MAP_FAILED) return error_from_errno(errno);
    content_ = mapped;
    return 0;
}

// Whether the open file is the one that its name leads to now.
bool NamedObject::still_named() const {
    struct stat open_one {};
    struct stat named_one {};
    return fstat(descriptor_, &open_one) == 0 && lstat(path_.c_str(), &named_one) == 0 &&
           open_one.st_dev == named_one.st_dev && open_one.st_ino == named_one.st_ino;
}

NamedObject::~NamedObject() {
    if (is_listed_) list().remove(*this);
    if (content_ != nullptr) munmap(content_, size_);
    if (descriptor_ < 0) return;
    if (is_user_ && !path_.empty()) give_up();
    close(descriptor_);
}

void NamedObject::give_up() {
    const SetUpLock set_up(descriptor_);
    if (!set_up.held() || !still_named() || !try_lock(descriptor_, kUsers, F_WRLCK)) return;
    // Where another account's file cannot be removed, at least its content goes.
    if (unlink(path_.c_str()) != 0) static_cast<void>(ftruncate(descriptor_, 0));
}

// The inherited descriptor shares the parent's locks. A second way to the same file has its own.
void NamedObject::become_user_in_child() {
    is_user_ = false;
    char path[32];
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", descriptor_);
    const int own = ::open(path, O_RDWR | O_CLOEXEC | O_NONBLOCK);
    if (own < 0) return;
    is_user_ =
        (path_.empty() || try_lock(own, kUsers, F_RDLCK)) && dup3(own, descriptor_, O_CLOEXEC) >= 0;
    close(own);
}

}  // namespace tarnwillow::platform
