#include "tarnwillow/files/CDiskFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <new>

#include "tarnwillow/platform/clock.h"
#include "tarnwillow/platform/fileCopy.h"
#include "tarnwillow/platform/filePath.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

/// What an object and its copies share. The C standard wants a seek between a read and a write.
struct CDiskFile::Stream {
    enum class Last { Neither, Read, Write };

    Stream() = default;
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    ~Stream() { close(); }

    bool close() {
        std::FILE* closing = file;
        file = nullptr;
        return closing == nullptr || std::fclose(closing) == 0;
    }

    void prepare(Last next) {
        if (last != Last::Neither && last != next) fseeko(file, 0, SEEK_CUR);
        last = next;
    }

    std::FILE* file = nullptr;
    Last last = Last::Neither;
};

namespace {

constexpr int kNotOpened = static_cast<int>(ERROR_FILE_NOT_FOUND);
constexpr int kNotOpen = static_cast<int>(ERROR_FILE_INVALID);
constexpr int kCutShort = static_cast<int>(ERROR_FILE_CORRUPT);
constexpr int kBadArgument = static_cast<int>(E_INVALIDARG);

constexpr mode_t kEveryAccess = 0666;
constexpr mode_t kOwnerOnly = 0600;
constexpr int kNameAttempts = 10000;
constexpr long kCopyBlock = 1L << 20;

// Nobody is waited for at the other end of a pipe; only who has a lease on a file is.
int open_descriptor(char const* path, int flags, mode_t access = kEveryAccess) {
    const int plain = flags | O_CLOEXEC | O_NOCTTY;
    const int descriptor = open(path, plain | O_NONBLOCK, access);
    if (descriptor < 0) return errno == EWOULDBLOCK ? open(path, plain, access) : descriptor;
    fcntl(descriptor, F_SETFL, flags);
    return descriptor;
}

bool is_folder(int descriptor) {
    struct stat about {};
    return fstat(descriptor, &about) == 0 && S_ISDIR(about.st_mode);
}

bool same_file(int a, int b) {
    struct stat left {
    }, right{};
    return fstat(a, &left) == 0 && fstat(b, &right) == 0 && left.st_dev == right.st_dev &&
           left.st_ino == right.st_ino;
}

template <class... Values>
bool format_path(char (&dest)[CDiskFile::kPathRoom], char const* format, Values... values) {
    const int length = std::snprintf(dest, sizeof dest, format, values...);
    return length >= 0 && static_cast<std::size_t>(length) < sizeof dest;
}

}  // namespace

CDiskFile::~CDiskFile() { Close(); }

CDiskFile& CDiskFile::operator=(const CDiskFile& other) {
    if (this == &other) return *this;
    if (stream != other.stream) Close();
    stream = other.stream;
    std::copy_n(other.work_path, kPathRoom, work_path);
    std::copy_n(other.final_path, kPathRoom, final_path);
    rollback = other.rollback;
    temporary = other.temporary;
    writable = other.writable;
    return *this;
}

bool CDiskFile::is_open() const { return stream != nullptr && stream->file != nullptr; }

// Opening.

// The open file is finished under its own paths before new ones are stored.
void CDiskFile::begin_open() {
    Close();
    stream.reset();
    work_path[0] = final_path[0] = 0;
    rollback = temporary = writable = false;
}

// Takes over the descriptor, which is closed on failure.
int CDiskFile::adopt(int descriptor, char const* mode) {
    if (descriptor < 0) return kNotOpened;
    std::FILE* file = is_folder(descriptor) ? nullptr : fdopen(descriptor, mode);
    if (file == nullptr) {
        close(descriptor);
        return kNotOpened;
    }
    try {
        stream = std::make_shared<Stream>();
    } catch (const std::bad_alloc&) {
        std::fclose(file);
        return kNotOpened;
    }
    stream->file = file;
    return 0;
}

int CDiskFile::open_path(char const* path, bool write, bool truncate) {
    begin_open();
    if (truncate && !write) {
        const int emptied = open_descriptor(path, O_WRONLY | O_CREAT | O_TRUNC);
        if (emptied < 0) return kNotOpened;
        close(emptied);
    }
    int flags = write ? O_RDWR : O_RDONLY;
    if (write && truncate) flags |= O_CREAT | O_TRUNC;
    const int result = adopt(open_descriptor(path, flags), write ? "r+b" : "rb");
    writable = write && result == 0;
    return result;
}

int CDiskFile::Open(char const* path, bool write, bool truncate) {
    return open_path(platform::SystemPath(path).c_str(), write, truncate);
}

int CDiskFile::Open(char16_t const* path, bool write, bool truncate) {
    return open_path(platform::SystemPath(path).c_str(), write, truncate);
}

// Creates the file of the work path, which nobody else may have made or may read.
int CDiskFile::create_work_file() {
    const int flags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW;
    const int descriptor = open_descriptor(work_path, flags, kOwnerOnly);
    if (descriptor < 0) return kNotOpened;
    const int result = adopt(descriptor, "r+b");
    writable = result == 0;
    if (result != 0) unlink(work_path);
    return result;
}

int CDiskFile::Open_Temp_File() {
    begin_open();
    const platform::SystemPath folder(platform::temporary_folder());
    const std::uint32_t tick = GetTickCount() + 1;
    int result = kNotOpened;
    for (std::uint32_t n = 0; n < kNameAttempts && !is_open(); ++n) {
        if (!format_path(work_path, "%s/%x.tmp", folder.c_str(), tick + n)) break;
        result = create_work_file();
        if (result != 0 && errno != EEXIST) break;
    }
    temporary = result == 0;
    if (result != 0) work_path[0] = 0;
    return result;
}

int CDiskFile::Open_With_Rollback(char const* path) {
    const platform::SystemPath target(path);
    begin_open();
    if (target.empty() || !format_path(final_path, "%s", target.c_str())) return kNotOpened;
    const auto now = static_cast<std::uint32_t>(std::time(nullptr));
    int result = kNotOpened;
    for (std::uint32_t n = 0; n < kNameAttempts && !is_open(); ++n) {
        const auto number = static_cast<std::int32_t>(now + n);
        if (!format_path(work_path, "%s-%d", final_path, number)) break;
        result = create_work_file();
        if (result != 0 && errno != EEXIST) break;
    }
    rollback = result == 0;
    if (result != 0) work_path[0] = 0;
    return result;
}

int CDiskFile::Open_Append(char const* path) {
    if (is_open()) return kNotOpen;
    begin_open();
    const platform::SystemPath target(path);
    const int result = adopt(open_descriptor(target.c_str(), O_RDWR | O_CREAT | O_APPEND), "a+b");
    writable = result == 0;
    return result;
}

// Duplicating.

int CDiskFile::Duplicate(char const* path) {
    return duplicate_to(platform::SystemPath(path).c_str());
}

int CDiskFile::Duplicate(char16_t const* path) {
    return duplicate_to(platform::SystemPath(path).c_str());
}

int CDiskFile::duplicate_to(char const* path) {
    CDiskFile copy;
    int result = copy.open_copy_of(*this, path);
    if (result == 0) result = copy_content_to(copy);
    const int closed = copy.Close();
    return result != 0 ? result : closed;
}

// Only once it is known to be another file may it be emptied.
int CDiskFile::open_copy_of(const CDiskFile& source, char const* path) {
    const int descriptor = open_descriptor(path, O_RDWR | O_CREAT);
    const int result = adopt(descriptor, "r+b");
    if (result != 0) return result;
    if (source.is_open() && same_file(fileno(source.stream->file), descriptor)) return kBadArgument;
    writable = true;
    return platform::make_empty(descriptor) ? 0 : kNotOpened;
}

// What was written belongs to the content even if it cannot reach the file.
int CDiskFile::copy_content_to(CDiskFile& copy) {
    if (writable && is_open() && (std::fflush(stream->file) != 0 || std::ferror(stream->file) != 0))
        return kCutShort;
    long left = GetLength();
    if (left == 0) return 0;
    const long size = std::min(left, kCopyBlock);
    const std::unique_ptr<char[]> block(new (std::nothrow) char[static_cast<std::size_t>(size)]);
    if (block == nullptr) return static_cast<int>(E_OUTOFMEMORY);
    const auto position = ftello(stream->file);
    int result = MoveTo(0, SEEK_SET);
    for (; left > 0 && result == 0; left -= std::min(left, size)) {
        result = Read(block.get(), std::min(left, size));
        if (result == 0) result = copy.Write(block.get(), std::min(left, size));
    }
    if (result == 0) result = MoveTo(position, SEEK_SET);
    return result;
}

// Closing.

// Whether everything that was written is with the system.
bool CDiskFile::close_stream() {
    const bool failed_before = writable && std::ferror(stream->file) != 0;
    const bool closed = stream->close();
    stream.reset();
    writable = false;
    return closed && !failed_before;
}

void CDiskFile::remove_work_file() {
    unlink(work_path);
    work_path[0] = 0;
}

int CDiskFile::finish_rollback(bool whole) {
    rollback = false;
    const bool moved = whole && platform::move_without_replacing(work_path, final_path);
    if (!moved) remove_work_file();
    work_path[0] = 0;
    if (!whole) return kCutShort;
    return moved ? 0 : static_cast<int>(ERROR_DUP_NAME);
}

int CDiskFile::Close() {
    if (!is_open()) return kNotOpen;
    if (rollback) platform::give_default_access(fileno(stream->file));
    const bool whole = close_stream();
    if (rollback) return finish_rollback(whole);
    if (temporary) remove_work_file();
    temporary = false;
    return whole ? 0 : kCutShort;
}

int CDiskFile::Rollback() {
    if (!is_open()) return kNotOpen;
    close_stream();
    if (rollback) remove_work_file();
    rollback = temporary = false;
    work_path[0] = 0;
    return 0;
}

// Reading and writing.

int CDiskFile::Read(void* buffer, long size) {
    if (!is_open()) return kNotOpen;
    if (size < 1) return kCutShort;
    if (buffer == nullptr) return kBadArgument;
    stream->prepare(Stream::Last::Read);
    if (std::fread(buffer, static_cast<std::size_t>(size), 1, stream->file) == 1) return 0;
    const int error = std::ferror(stream->file);
    return error != 0 ? error : kCutShort;
}

int CDiskFile::Write(void const* buffer, long size, bool) {
    if (!is_open() || !writable) return kNotOpen;
    if (size < 1) return kCutShort;
    if (buffer == nullptr) return kBadArgument;
    stream->prepare(Stream::Last::Write);
    const auto bytes = static_cast<std::size_t>(size);
    return std::fwrite(buffer, bytes, 1, stream->file) == 1 ? 0 : kCutShort;
}

int CDiskFile::Write_Str(char const* text, bool unused) {
    if (text == nullptr) return kBadArgument;
    return Write(text, static_cast<long>(std::strlen(text)), unused);
}

int CDiskFile::Write_Str(char16_t const* text, bool unused) {
    if (text == nullptr) return kBadArgument;
    return Write(text, static_cast<long>(wide::length(text) * sizeof(char16_t)), unused);
}

int CDiskFile::Write_Unicode_Header() { return Write("\xFF\xFE", 2); }

long CDiskFile::GetLength() {
    if (!is_open()) return 0;
    const auto position = ftello(stream->file);
    if (position < 0 || MoveTo(0, SEEK_END) != 0) return 0;
    const auto length = ftello(stream->file);
    MoveTo(position, SEEK_SET);
    return std::max<long>(length, 0);
}

int CDiskFile::MoveTo(long long offset, int origin) {
    static_assert(SEEK_SET == 0 && SEEK_CUR == 1 && SEEK_END == 2);
    if (!is_open() || origin < SEEK_SET || origin > SEEK_END) return kNotOpen;
    const int result = fseeko(stream->file, offset, origin);
    if (result == 0) stream->last = Stream::Last::Neither;
    return result;
}

bool CDiskFile::GetFileExtension(char const* name, char* out) {
    if (name == nullptr || out == nullptr) return false;
    const char* dot = std::strrchr(name, '.');
    if (dot == nullptr) return false;
    std::memmove(out, dot + 1, std::strlen(dot + 1) + 1);
    return true;
}

}  // namespace tarnwillow
