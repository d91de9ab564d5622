#include "tarnwillow/files/systemQueries.h"

#include <fcntl.h>
#include <mntent.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cstdio>
#include <cstring>
#include <ctime>

#include "tarnwillow/platform/filePath.h"
#include "tarnwillow/platform/format.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

namespace {

constexpr std::size_t kDateRoom = 32;
constexpr std::size_t kPathRoom = 256;

char const* folder_of(long id) {
    switch (id) {
        case 20:
            return "/usr/share/fonts/";
        case 24:
        case 30:
            return "/";
        default:
            return nullptr;
    }
}

void write_date(std::time_t time, char16_t* out) {
    std::tm date{};
    out[0] = 0;
    if (localtime_r(&time, &date) == nullptr) return;
    platform::format_text(out, kDateRoom, u"%4d.%.2d.%.2d.%.2d.%.2d.%.2d", date.tm_year + 1900,
                          date.tm_mon + 1, date.tm_mday, date.tm_hour, date.tm_min, date.tm_sec);
}

bool creation_time(char const* path, std::time_t* time) {
    struct statx about {};
    if (statx(AT_FDCWD, path, 0, STATX_BTIME | STATX_MTIME, &about) != 0) return false;
    *time = (about.stx_mask & STATX_BTIME) != 0 ? about.stx_btime.tv_sec : about.stx_mtime.tv_sec;
    return true;
}

bool is_optical(const mntent& mount) {
    return std::strcmp(mount.mnt_type, "iso9660") == 0 || std::strcmp(mount.mnt_type, "udf") == 0;
}

// The mount point with a "/" behind it, if there is room.
bool copy_root(char const* folder, char* out) {
    const std::size_t length = std::strlen(folder);
    if (length + 2 > kPathRoom) return false;
    std::memcpy(out, folder, length + 1);
    if (length == 0 || folder[length - 1] != '/') std::memcpy(out + length, "/", 2);
    return true;
}

}  // namespace

long Get_Path_From_Directory_ID(long id, char* out) {
    if (id == -1 || id == 65535) return S_OK;
    char const* folder = folder_of(id);
    if (folder == nullptr || out == nullptr) return ERROR_DIRECTORY;
    std::strcpy(out, folder);
    return S_OK;
}

bool Check_Free_Disk_Space(unsigned long bytes) {
    struct statvfs disk {};
    if (statvfs("/", &disk) != 0) return false;
    return static_cast<unsigned long long>(disk.f_bfree) * disk.f_frsize >= bytes;
}

void Find_CDROM(char* out) {
    if (out == nullptr) return;
    out[0] = 0;
    std::FILE* mounts = setmntent("/proc/self/mounts", "re");
    if (mounts == nullptr) return;
    char texts[4096];
    mntent mount{};
    while (getmntent_r(mounts, &mount, texts, sizeof texts) != nullptr)
        if (is_optical(mount) && copy_root(mount.mnt_dir, out)) break;
    endmntent(mounts);
}

bool Get_File_Creation_Date_String(char16_t const* path, char16_t* out) {
    std::time_t time = 0;
    std::tm date{};
    if (out == nullptr || !creation_time(platform::SystemPath(path).c_str(), &time)) return false;
    if (gmtime_r(&time, &date) == nullptr) return false;
    platform::format_text(out, kDateRoom, u"%d/%d/%d", date.tm_mon + 1, date.tm_mday,
                          date.tm_year + 1900);
    return true;
}

void FileTimeToDateString(FILETIME* time, char16_t* out) {
    if (time != nullptr && out != nullptr) write_date(platform::seconds_of(*time), out);
}

void CurrentTimeToDateString(char16_t* out) {
    if (out != nullptr) write_date(std::time(nullptr), out);
}

long Set_Auto_Run(char16_t const*, bool) { return ERROR_NOT_FOUND; }

}  // namespace tarnwillow
