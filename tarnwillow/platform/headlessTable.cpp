#include "tarnwillow/platform/headlessTable.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>

#include <cerrno>
#include <memory>
#include <mutex>
#include <new>

#include "tarnwillow/platform/forkLocks.h"
#include "tarnwillow/platform/processIdentity.h"

namespace tarnwillow::platform::headless {

namespace {

// The system drops the lock with the process that holds it. It belongs to the open file: a mutex
// keeps the threads of the process apart.
constexpr off_t kTableLock = (off_t{1} << 60) + 16;

void lock_file(int file, short kind) {
    struct flock lock {};
    lock.l_type = kind;
    lock.l_whence = SEEK_SET;
    lock.l_start = kTableLock;
    lock.l_len = 1;
    while (fcntl(file, F_OFD_SETLKW, &lock) != 0 && errno == EINTR) {
    }
}

/// A new table goes on elsewhere than the one before it, whose handles may still be remembered.
std::uint32_t begin_somewhere(void* content) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const auto moment = static_cast<std::uint64_t>(now.tv_sec) * 1000000 +
                        static_cast<std::uint64_t>(now.tv_nsec) / 1000;
    static_cast<Table*>(content)->uses = static_cast<std::uint32_t>(moment % kMostUses);
    return 0;
}

bool is_whole(int file) {
    struct stat state {};
    return fstat(file, &state) == 0 && state.st_size >= static_cast<off_t>(sizeof(Table));
}

struct Attachment {
    std::mutex lock;
    std::unique_ptr<NamedObject> object;

    bool attach() {
        if (object != nullptr) return true;
        try {
            auto opened = std::make_unique<NamedObject>();
            if (opened->open({"windows", u"headless", sizeof(Table), true, begin_somewhere}) != 0)
                return false;
            object = std::move(opened);
            return true;
        } catch (const std::bad_alloc&) {
            return false;
        }
    }
};

Attachment& attachment() {
    static Attachment the_attachment;
    static const bool noted = note_fork_lock(the_attachment.lock, nullptr);
    static_cast<void>(noted);
    return the_attachment;
}

// Whether this thread holds the table.
[[gnu::tls_model("initial-exec")]] constinit thread_local bool holding = false;

}  // namespace

Hold::Hold() {
    attachment().lock.lock();
    if (attachment().attach()) object_ = attachment().object.get();
    if (object_ != nullptr) lock_file(object_->descriptor(), F_WRLCK);
    holding = true;
}

Hold::~Hold() {
    holding = false;
    if (object_ != nullptr) lock_file(object_->descriptor(), F_UNLCK);
    attachment().lock.unlock();
}

void Hold::abandon() {
    if (!holding) return;
    holding = false;
    auto& object = attachment().object;
    if (object != nullptr) lock_file(object->descriptor(), F_UNLCK);
    if (object != nullptr && !is_whole(object->descriptor())) object.reset();
    attachment().lock.unlock();
}

Window* Hold::find(std::uint32_t handle) const {
    if (object_ == nullptr || handle == 0) return nullptr;
    Window& found = table().windows[handle % kWindows];
    return found.handle == handle && is_running({found.process, found.started}) ? &found : nullptr;
}

void leave_table() { attachment().object.reset(); }

}  // namespace tarnwillow::platform::headless
