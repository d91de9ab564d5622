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

namespace tarnwillow::platform {

namespace {

constexpr std::uint64_t kUnknown = 1;

int create_page_file(const std::string& path, unsigned access) {
    constexpr int kNew = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    const int file = open(path.c_str(), kNew, access);
    if (file >= 0) static_cast<void>(fchmod(file, access));
    return file;
}

int open_page_file(const std::string& path, bool create, unsigned access, bool* writable) {
    constexpr int kFlags = O_NOFOLLOW | O_CLOEXEC;
    *writable = true;
    int file = open(path.c_str(), O_RDWR | kFlags);
    if (file < 0 && create) file = create_page_file(path, access);
    if (file < 0 && create) file = open(path.c_str(), O_RDWR | kFlags);  // another made it
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
    if (is_mapped()) munmap(page(), sizeof(SequencePage));
}

bool SettingsSequence::map(const std::string& path, bool create, unsigned access) {
    if (is_mapped()) return true;
    const int file = open_page_file(path, create, access, &writable_);
    if (file < 0) return false;
    void* mapped = MAP_FAILED;
    const int protection = writable_ ? PROT_READ | PROT_WRITE : PROT_READ;
    if (has_page(file, writable_))
        mapped = mmap(nullptr, sizeof(SequencePage), protection, MAP_SHARED, file, 0);
    close(file);
    if (mapped != MAP_FAILED) page_.store(static_cast<SequencePage*>(mapped));
    return is_mapped();
}

std::uint64_t SettingsSequence::number() const {
    return is_mapped() ? page()->number.load() : kUnknown;
}

std::uint64_t SettingsSequence::generation() const {
    return is_mapped() ? page()->generation.load() : 0;
}

void SettingsSequence::begin_change() {
    if (is_mapped() && writable_) page()->number.store(page()->number.load() | 1);
}

void SettingsSequence::end_change() {
    if (!is_mapped() || !writable_) return;
    page()->number.store((page()->number.load() | 1) + 1);
    wake_waiters();
}

void SettingsSequence::new_generation() {
    if (!is_mapped() || !writable_) return;
    page()->generation.fetch_add(1);
    page()->number.fetch_add(2);
    wake_waiters();
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
