// The files of a hive: BASE.db with its -wal and -shm, and BASE.sequence.
#include <unistd.h>

#include <cstdio>
#include <ctime>

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
    constexpr unsigned kReadByEveryone = 004;
    return make_folders(base_.substr(0, base_.find_last_of('/')), (access_ & kReadByEveryone) != 0);
}

// Who may write opens under the lock: nobody then makes the tables or replaces the files meanwhile.
long SettingsHive::open_files(bool create) {
    sequence_.open(base_ + ".sequence", access_);
    const long locked = sequence_.lock();
    if (locked == ERROR_BUSY) return locked;
    generation_ = sequence_.generation();
    const long error = database_.open(base_ + kDatabase, create, access_);
    if (locked == S_OK) sequence_.unlock();
    return error;
}

long SettingsHive::open(bool create) {
    if (!database_.is_open()) {
        const bool there = exists(base_ + kDatabase);
        if (!there && !create) return ERROR_FILE_NOT_FOUND;
        if (!there && !make_folder()) return ERROR_ACCESS_DENIED;
        long error = open_files(create);
        if (error == ERROR_REGISTRY_CORRUPT && set_aside()) error = open_files(create);
        if (error != S_OK) return error;
    }
    return !create || database_.is_writable() ? S_OK : ERROR_ACCESS_DENIED;
}

// Setting aside.

// The report goes out without the lock: its reader may use the store himself.
SettingsHive::Hold::~Hold() {
    const std::string report = std::move(hive_.report_);
    hive_.report_.clear();
    hive_.lock_.unlock();
    if (report.empty()) return;
    char16_t wide[512];
    const Conversion whole = narrow_to_wide(report.data(), report.size(), wide, 511);
    wide[whole.written] = 0;
    OutputDebugStringW(wide);
}

// The database goes last: while it stands nobody makes a new one, which must not find the side
// files of the old.
bool SettingsHive::move_files_away() {
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
    report_ = "The settings in " + from + " could not be read. The file was set aside as " + from +
              suffix;
    return true;
}

// False if the account may not. True also if another process has done it meanwhile.
bool SettingsHive::set_aside() {
    database_.close();
    if (sequence_.lock() != S_OK) return false;
    const bool done_by_another =
        sequence_.generation() != generation_ || !exists(base_ + kDatabase);
    const bool moved = !done_by_another && move_files_away();
    if (moved) sequence_.new_generation();
    sequence_.unlock();
    forget();
    return done_by_another || moved;
}

bool SettingsHive::is_writable() {
    const Hold hold(*this);
    return open(true) == S_OK;
}

std::uint64_t SettingsHive::sequence() {
    const Hold hold(*this);
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
    sequence_.close_file();
}

}  // namespace tarnwillow::platform
