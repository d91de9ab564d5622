// The files of a hive: BASE.db with its -wal and -shm, BASE.sequence, and BASE.lock, which is held
// for the moment of opening.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

#include "tarnwillow/platform/clock.h"
#include "tarnwillow/platform/codepage.h"
#include "tarnwillow/platform/debugOutput.h"
#include "tarnwillow/platform/filePath.h"
#include "tarnwillow/platform/settingsHive.h"
#include "tarnwillow/platform/settingsStore.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::platform {

namespace {

constexpr char kDatabase[] = ".db";
constexpr char const* kSideFiles[] = {".db-shm", ".db-wal"};

bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

/// Keeps the other accounts' processes that may write from opening or replacing the files. An
/// account that may only read cannot take it, and so cannot keep it either.
class OpeningLock {
public:
    explicit OpeningLock(const std::string& path)
        : file_(open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600)) {
        constexpr int kPatience = 5000;
        for (int i = 0; file_ >= 0 && i < kPatience && !held_; ++i) {
            held_ = flock(file_, LOCK_EX | LOCK_NB) == 0;
            if (!held_) Sleep(1);
        }
    }
    ~OpeningLock() {
        if (file_ >= 0) close(file_);
    }
    OpeningLock(const OpeningLock&) = delete;
    OpeningLock& operator=(const OpeningLock&) = delete;
    bool held() const { return held_; }

private:
    const int file_;
    bool held_ = false;
};

void report(const std::string& from, const std::string& to) {
    const std::string text =
        "The settings in " + from + " could not be read. The file was set aside as " + to;
    char16_t wide[512];
    const Conversion whole = narrow_to_wide(text.data(), text.size(), wide, 511);
    wide[whole.written] = 0;
    OutputDebugStringW(wide);
}

std::string time_suffix(int attempt) {
    const std::time_t now = std::time(nullptr);
    struct tm parts {};
    localtime_r(&now, &parts);
    char text[64];
    std::snprintf(text, sizeof text, ".unreadable-%04d%02d%02d-%02d%02d%02d-%d",
                  parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour,
                  parts.tm_min, parts.tm_sec, attempt);
    return text;
}

}  // namespace

SettingsHive::SettingsHive(std::string base, unsigned access)
    : base_(std::move(base)), access_(access) {
    detail::enter_hive(this);
}

SettingsHive::~SettingsHive() { detail::leave_hive(this); }

bool SettingsHive::make_folder() const {
    return make_folders(base_.substr(0, base_.find_last_of('/')));
}

long SettingsHive::open_files(bool create) {
    sequence_.map(base_ + ".sequence", true, access_);
    generation_ = sequence_.generation();
    return database_.open(base_ + kDatabase, create, access_);
}

long SettingsHive::open(bool create) {
    if (database_.is_open()) return !create || database_.is_writable() ? S_OK : ERROR_ACCESS_DENIED;
    if (!exists(base_ + kDatabase)) {
        if (!create) return ERROR_FILE_NOT_FOUND;
        if (!make_folder()) return ERROR_ACCESS_DENIED;
    }
    long error = S_OK;
    {
        const OpeningLock lock(base_ + ".lock");
        error = open_files(create);
    }
    if (error == ERROR_REGISTRY_CORRUPT && set_aside()) {
        const OpeningLock lock(base_ + ".lock");
        error = open_files(create);
    }
    if (error == S_OK && create && !database_.is_writable()) return ERROR_ACCESS_DENIED;
    return error;
}

// Setting aside.

// The database goes last: while it stands nobody makes a new one, which must not find the side
// files of the old.
bool SettingsHive::move_files_away() const {
    std::string suffix = time_suffix(0);
    for (int i = 1; i < 1000 && exists(base_ + kDatabase + suffix); ++i)
        suffix = time_suffix(i);
    for (char const* side : kSideFiles) {
        const std::string from = base_ + side;
        if (exists(from) && !move_without_replacing(from.c_str(), (from + suffix).c_str()))
            return false;
    }
    const std::string from = base_ + kDatabase;
    if (!move_without_replacing(from.c_str(), (from + suffix).c_str())) return false;
    report(from, from + suffix);
    return true;
}

// False if the account may not. True also if another process has done it meanwhile.
bool SettingsHive::set_aside() {
    database_.close();
    const OpeningLock lock(base_ + ".lock");
    if (!lock.held()) return false;
    if (sequence_.generation() != generation_) return true;
    if (!exists(base_ + kDatabase)) return true;
    if (!move_files_away()) return false;
    sequence_.new_generation();
    forget();
    return true;
}

bool SettingsHive::is_writable() {
    const std::lock_guard hold(lock_);
    return open(true) == S_OK;
}

std::uint64_t SettingsHive::sequence() {
    const std::lock_guard hold(lock_);
    open(false);
    return sequence_.number();
}

std::uint64_t SettingsHive::wait_for_change(std::uint64_t seen, std::uint32_t milliseconds) {
    if (sequence() == seen) sequence_.wait(seen, milliseconds);
    return sequence();
}

void SettingsHive::prepare_fork() {
    lock_.lock();
    database_.close();
}

}  // namespace tarnwillow::platform
