#include "tarnwillow/platform/settingsSequence.h"

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>
#include <ctime>

#include "tarnwillow/platform/clock.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::platform {

namespace {

constexpr std::uint64_t kUnknown = 1;

int create_page_file(const std::string& path, unsigned access) {
    constexpr int kNew = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    const int file = open(path.c_str(), kNew, access);
    if (file >= 0) static_cast<void>(fchmod(file, access));
    return file;
}

int open_page_file(const std::string& path, unsigned access, bool* writable) {
    constexpr int kFlags = O_NOFOLLOW | O_CLOEXEC;
    *writable = true;
    int file = open(path.c_str(), O_RDWR | kFlags);
    if (file < 0) file = create_page_file(path, access);
    if (file < 0) file = open(path.c_str(), O_RDWR | kFlags);  // another process made it meanwhile
    if (file >= 0) return file;
    *writable = false;
    return open(path.c_str(), O_RDONLY | kFlags);
}

// A mapped file that is too short would fault.
bool has_page(int file, bool writable) {
    struct stat about {};
    if (fstat(file, &about) != 0 || !S_ISREG(about.st_mode)) return false;
    constexpr auto kSize = static_cast<off_t>(sizeof(SequencePage));
    return about.st_size >= kSize || (writable && ftruncate(file, kSize) == 0);
}

// The half of the number that changes with every change; the kernel sleeps on 32 bits.
std::uint32_t* low_half(SequencePage* page) {
    auto* halves = reinterpret_cast<std::uint32_t*>(&page->number);
    return __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? halves : halves + 1;
}

}  // namespace

SettingsSequence::~SettingsSequence() {
    close_file();
    if (is_mapped()) munmap(page(), sizeof(SequencePage));
}

void SettingsSequence::close_file() {
    if (file_ >= 0) ::close(file_);
    file_ = -1;
}

bool SettingsSequence::open(const std::string& path, unsigned access) {
    if (file_ < 0) file_ = open_page_file(path, access, &writable_);
    if (is_mapped() || file_ < 0 || !has_page(file_, writable_)) return is_mapped();
    const int protection = writable_ ? PROT_READ | PROT_WRITE : PROT_READ;
    void* mapped = mmap(nullptr, sizeof(SequencePage), protection, MAP_SHARED, file_, 0);
    if (mapped != MAP_FAILED) page_.store(static_cast<SequencePage*>(mapped));
    return is_mapped();
}

// A lock of the open file, not of the process: closing another descriptor does not end it.
bool SettingsSequence::set_lock(short type) const {
    struct flock whole {};
    whole.l_type = type;
    whole.l_whence = SEEK_SET;
    return fcntl(file_, F_OFD_SETLK, &whole) == 0;
}

long SettingsSequence::lock(bool patient) {
    if (file_ < 0 || !writable_ || !is_mapped()) return ERROR_ACCESS_DENIED;
    // Others hold it for some ten microseconds at a time.
    constexpr int kShortSleeps = 100, kPatience = 5000;
    for (int attempt = 0; !set_lock(F_WRLCK); ++attempt) {
        if (!patient || attempt > kPatience) return ERROR_BUSY;
        usleep(attempt < kShortSleeps ? 20 : 1000);
    }
    return S_OK;
}

void SettingsSequence::unlock() { set_lock(F_UNLCK); }

std::uint64_t SettingsSequence::number() const {
    return is_mapped() ? page()->number.load() : kUnknown;
}

std::uint64_t SettingsSequence::generation() const {
    return is_mapped() ? page()->generation.load() : 0;
}

void SettingsSequence::begin_change() { page()->number.store(page()->number.load() | 1); }

void SettingsSequence::end_change() {
    page()->number.store((page()->number.load() | 1) + 1);
    wake_waiters();
}

void SettingsSequence::new_generation() {
    begin_change();
    page()->generation.fetch_add(1);
    end_change();
}

void SettingsSequence::wake_waiters() const {
    syscall(SYS_futex, low_half(page()), FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

void SettingsSequence::wait(std::uint64_t seen, std::uint32_t milliseconds) const {
    if (!is_mapped()) return Sleep(milliseconds);
    if (number() != seen) return;
    const timespec limit{static_cast<time_t>(milliseconds / 1000),
                         static_cast<long>(milliseconds % 1000) * 1000000};
    syscall(SYS_futex, low_half(page()), FUTEX_WAIT, static_cast<std::uint32_t>(seen), &limit,
            nullptr, 0);
}

}  // namespace tarnwillow::platform
