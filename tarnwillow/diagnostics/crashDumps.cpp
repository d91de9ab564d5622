#include "tarnwillow/diagnostics/crashDumps.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/files/applicationFolders.h"
#include "tarnwillow/platform/clock.h"
#include "tarnwillow/platform/filePath.h"
#include "tarnwillow/platform/format.h"
#include "tarnwillow/platform/localTime.h"
#include "tarnwillow/platform/minidump.h"
#include "tarnwillow/platform/modules.h"
#include "tarnwillow/platform/systemLibraries.h"
#include "tarnwillow/platform/threadId.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

constexpr char16_t kDebugHelp[] = u"DBGHELP.DLL";
constexpr int kAttempts = 10;
constexpr std::uint32_t kPauseMilliseconds = 100;
constexpr int kNameAttempts = 100;
constexpr mode_t kOwnerOnly = 0600;

/// A path that fits its room, or none.
class Path {
public:
    void append(char16_t const* part) {
        const std::size_t before = length_;
        length_ = wide::append(text_, kCrashDumpPathRoom, part);
        if (length_ - before < wide::bounded_length(part, kCrashDumpPathRoom)) fits_ = false;
    }
    /// What stands behind the last separator goes.
    void keep_folder() {
        while (length_ > 0 && text_[length_ - 1] != u'/' && text_[length_ - 1] != u'\\')
            text_[--length_] = 0;
    }
    void append_program_folder() {
        Get_Module_Full_Path(nullptr, text_, kCrashDumpPathRoom);
        length_ = wide::length(text_);
        if (length_ + 1 == kCrashDumpPathRoom) fits_ = false;  // it may be cut
        keep_folder();
    }
    void append_separator() {
        const bool other =
            wide::find(text_, u'\\') != nullptr && wide::find(text_, u'/') == nullptr;
        append(other ? u"\\" : u"/");
    }
    bool fits() const { return fits_ && length_ > 0; }
    char16_t const* text() const { return text_; }

private:
    char16_t text_[kCrashDumpPathRoom] = {};
    std::size_t length_ = 0;
    bool fits_ = true;
};

void append_dated_name(Path& path) {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    char16_t name[kCrashDumpPathRoom];
    platform::format_text(name, kCrashDumpPathRoom, u"CrashLog-%02d-%02d-%04d-%02d-%02d-%02d.dmp",
                          now.wMonth, now.wDay, now.wYear, now.wHour, now.wMinute, now.wSecond);
    path.append(name);
}

Path dump_path(char16_t const* folder, char16_t const* file_name) {
    Path path;
    if (folder != nullptr)
        path.append(folder);
    else
        path.append_program_folder();
    if (file_name == nullptr) {
        append_dated_name(path);
    } else {
        path.append_separator();
        path.append(file_name);
    }
    return path;
}

/// What writes dumps, and the library that it may come from.
struct Writer {
    HINSTANCE library = nullptr;
    decltype(&MiniDumpWriteDump) write = nullptr;

    void load() {
        library = load_beside_program();
        void* const procedure =
            library != nullptr
                ? GetProcAddress(library, "MiniDumpWriteDump")
                // Straight from the table: a handle would come from the heap.
                : platform::find_system_procedure("DBGHELP.DLL", "MiniDumpWriteDump");
        write = reinterpret_cast<decltype(write)>(procedure);
    }

    void free() {
        if (library != nullptr) FreeLibrary(library);
        library = nullptr;
    }

private:
    // Loading is asked for only where there is something to load, since it needs the heap.
    static HINSTANCE load_beside_program() {
        Path path;
        path.append_program_folder();
        path.append(kDebugHelp);
        if (!path.fits()) return nullptr;
        if (access(platform::SystemPath(path.text()).c_str(), F_OK) != 0) return nullptr;
        return LoadLibraryW(path.text());
    }
};

/// The file, under a name of its own until the dump is whole.
struct DumpFile {
    int descriptor = -1;
    char temporary[PATH_MAX] = {};

    void create(char16_t const* path) {
        for (int n = 0; n < kNameAttempts && descriptor < 0; ++n) {
            platform::format_text(temporary, sizeof temporary, "%S.%x-%d.tmp", path,
                                  platform::current_thread_id(), n);
            const platform::SystemPath name(temporary);
            platform::format_text(temporary, sizeof temporary, "%s", name.c_str());
            descriptor =
                open(temporary, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kOwnerOnly);
            if (descriptor < 0 && errno != EEXIST) return;
        }
    }

    bool finish(bool written, char16_t const* path) {
        if (descriptor < 0) return false;
        close(descriptor);
        descriptor = -1;
        if (written && std::rename(temporary, platform::SystemPath(path).c_str()) == 0) return true;
        unlink(temporary);
        return false;
    }
};

/// What is to be given up whatever happens: plain data, since a fault jumps over destructors.
struct Undertaking {
    Writer writer;
    DumpFile file;
    bool written = false;
};

bool attempt(const Undertaking& work, EXCEPTION_POINTERS* pointers, bool full_memory) {
    MINIDUMP_EXCEPTION_INFORMATION information{platform::current_thread_id(), pointers, 1};
    const MINIDUMP_TYPE type = full_memory ? MiniDumpWithFullMemory : MiniDumpNormal;
    return work.writer.write(nullptr, static_cast<std::uint32_t>(getpid()), work.file.descriptor,
                             type, &information, nullptr, nullptr);
}

void write(Undertaking& work, char16_t const* path, EXCEPTION_POINTERS* pointers,
           bool full_memory) {
    work.writer.load();
    if (work.writer.write == nullptr) return;
    work.file.create(path);
    for (int i = 0; i < kAttempts && work.file.descriptor >= 0 && !work.written; ++i) {
        work.written = attempt(work, pointers, full_memory);
        if (!work.written) Sleep(kPauseMilliseconds);
    }
}

bool write_to(char16_t const* path, EXCEPTION_POINTERS* pointers, bool full_memory) {
    Undertaking work;
    probe_guard([&] { write(work, path, pointers, full_memory); }, no_recovery);
    const bool stands = work.file.finish(work.written, path);
    work.writer.free();
    return stands;
}

}  // namespace

bool WriteCrashDump(EXCEPTION_POINTERS* pointers, char16_t* path_out, bool full_memory,
                    char16_t const* folder, char16_t const* file_name) {
    return probe_guard(
        [&] {
            const Path path = dump_path(folder, file_name);
            if (!path.fits()) return false;
            if (file_name == nullptr && path_out != nullptr)
                wide::copy(path_out, kCrashDumpPathRoom, path.text());
            return write_to(path.text(), pointers, full_memory);
        },
        [] { return false; });
}

int WriteCrashDumpFromException(EXCEPTION_POINTERS* pointers, char16_t* path_out, bool full_memory,
                                char16_t const* folder, char16_t const* file_name) {
    WriteCrashDump(pointers, path_out, full_memory, folder, file_name);
    return 1;
}

}  // namespace tarnwillow
