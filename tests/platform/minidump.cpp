#include "tarnwillow/platform/minidump.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <link.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <thread>

#include "support/childProcess.h"
#include "support/minidumpReader.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/threadId.h"

namespace tarnwillow {
namespace {

using test::DumpThread;
using test::MinidumpReader;

class Minidump : public testing::Test {
protected:
    bool write_to(int file, MINIDUMP_TYPE type = MiniDumpNormal) {
        return MiniDumpWriteDump(nullptr, static_cast<std::uint32_t>(getpid()), file, type, nullptr,
                                 nullptr, nullptr);
    }

    MinidumpReader dump(MINIDUMP_TYPE type = MiniDumpNormal) {
        const int file = open(path().c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
        EXPECT_TRUE(write_to(file, type));
        close(file);
        return MinidumpReader(test::read_file(path()));
    }

    std::string path() const { return folder.file("dump"); }

    test::TemporaryFolder folder;
};

/// A text that stands on the stack of whoever holds one.
struct Marker {
    explicit Marker(std::uint32_t number) {
        std::snprintf(text, sizeof text, "marker of number %u", number);
    }
    char text[32];
};

bool holds_stack_of(const MinidumpReader& dump, const DumpThread& thread, std::uint32_t number) {
    const Marker marker(number);
    const std::string stack = dump.memory(thread.stack_start, thread.stack_size);
    return stack.find(marker.text) != std::string::npos;
}

const DumpThread* find(const std::vector<DumpThread>& threads, std::uint32_t id) {
    for (const DumpThread& thread : threads)
        if (thread.id == id) return &thread;
    return nullptr;
}

/// Threads that wait, each with a marker of its own on its stack.
class WaitingThreads {
public:
    explicit WaitingThreads(std::uint32_t count) : ids_(count) {
        for (std::uint32_t i = 0; i < count; ++i)
            threads_.emplace_back([this, i] { wait(i); });
        std::unique_lock hold(mutex_);
        changed_.wait(hold, [&] { return waiting_ == count; });
    }
    ~WaitingThreads() {
        {
            const std::lock_guard hold(mutex_);
            done_ = true;
        }
        changed_.notify_all();
        for (std::thread& thread : threads_)
            thread.join();
    }
    std::uint32_t id(std::uint32_t index) const { return ids_[index]; }

private:
    void wait(std::uint32_t index) {
        volatile Marker marker(index);
        pthread_setname_np(pthread_self(), ("waits " + std::to_string(index)).c_str());
        std::unique_lock hold(mutex_);
        ids_[index] = platform::current_thread_id();
        ++waiting_;
        changed_.notify_all();
        changed_.wait(hold, [&] { return done_; });
        EXPECT_EQ(marker.text[0], 'm');
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::uint32_t> ids_;
    std::uint32_t waiting_ = 0;
    bool done_ = false;
    std::vector<std::thread> threads_;
};

/// A process that has got hold of a thread of this one, as a debugger does.
class Tracer {
public:
    explicit Tracer(std::uint32_t thread) {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        id_ = fork();
        if (id_ == 0) {
            const bool traced = ptrace(PTRACE_SEIZE, static_cast<pid_t>(thread), 0, 0) == 0;
            while (write(ends[1], traced ? "y" : "n", 1) == 1)
                pause();
        }
        char answer = 0;
        EXPECT_EQ(read(ends[0], &answer, 1), 1);
        EXPECT_EQ(answer, 'y');
        close(ends[0]);
        close(ends[1]);
    }
    ~Tracer() {
        kill(id_, SIGKILL);
        waitpid(id_, nullptr, 0);
    }
    Tracer(const Tracer&) = delete;
    Tracer& operator=(const Tracer&) = delete;

private:
    pid_t id_;
};

/// Memory straight from the system.
class Mapping {
public:
    explicit Mapping(std::size_t size, int access = PROT_READ | PROT_WRITE, int file = -1)
        : size_(size),
          address_(mmap(nullptr, size, access,
                        MAP_PRIVATE | MAP_NORESERVE | (file < 0 ? MAP_ANONYMOUS : 0), file, 0)) {}
    ~Mapping() { munmap(address_, size_); }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;
    char* bytes() const { return static_cast<char*>(address_); }
    std::uint64_t address() const { return reinterpret_cast<std::uintptr_t>(address_); }

private:
    std::size_t size_;
    void* address_;
};

/// Build-id of the running program, as its loader sees it.
int find_build_id(dl_phdr_info* info, std::size_t, void* result) {
    constexpr char kDigits[] = "0123456789abcdef";
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const auto& segment = info->dlpi_phdr[i];
        if (segment.p_type != PT_NOTE || segment.p_align != 4) continue;
        auto const* note =
            reinterpret_cast<unsigned char const*>(info->dlpi_addr + segment.p_vaddr);
        if (note[8] != 3) continue;
        for (unsigned byte = 0; byte < note[4]; ++byte)
            *static_cast<std::string*>(result) +=
                {kDigits[note[16 + byte] >> 4], kDigits[note[16 + byte] & 15]};
    }
    return 1;  // the first is the program
}

}  // namespace

TEST_F(Minidump, SaysWhatSystemAndProcessItIsFrom) {
    const MinidumpReader read = dump();
    EXPECT_EQ(read.architecture(), 9);
    EXPECT_EQ(read.platform(), 0x8201U);
    EXPECT_EQ(read.process_id(), static_cast<std::uint32_t>(getpid()));
    EXPECT_EQ(read.flags(), 0U);
    EXPECT_FALSE(read.exception());
    EXPECT_NE(read.stream(0x47670004).find("\nPid:\t" + std::to_string(getpid())),
              std::string::npos);
    EXPECT_NE(read.stream(0x47670009).find("[stack]"), std::string::npos);
}

TEST_F(Minidump, HoldsTheCallersStack) {
    volatile Marker marker(4711);
    const MinidumpReader read = dump();
    const auto threads = read.threads();
    const DumpThread* self = find(threads, platform::current_thread_id());
    ASSERT_NE(self, nullptr);
    EXPECT_TRUE(holds_stack_of(read, *self, 4711));
    EXPECT_EQ(self->registers.flags & 0x100003U, 0x100003U);
    EXPECT_EQ(read.full_memory(), 0U);
    EXPECT_EQ(marker.text[0], 'm');
}

TEST_F(Minidump, ListsTheProgramFirstWithItsBuildId) {
    const auto modules = dump().modules();
    std::string build_id;
    dl_iterate_phdr(find_build_id, &build_id);
    ASSERT_FALSE(modules.empty());
    EXPECT_EQ(modules[0].name, std::filesystem::read_symlink("/proc/self/exe").string());
    EXPECT_EQ(modules[0].build_id, build_id);
    bool has_library = false;
    for (const auto& module : modules)
        has_library = has_library || module.name.find("/libc.so") != std::string::npos;
    EXPECT_TRUE(has_library);
}

TEST_F(Minidump, HoldsEveryThreadWithItsStack) {
    constexpr std::uint32_t kCount = 150;
    const WaitingThreads waiting(kCount);
    const MinidumpReader read = dump();
    const auto threads = read.threads();
    for (std::uint32_t i = 0; i < kCount; ++i) {
        const DumpThread* thread = find(threads, waiting.id(i));
        ASSERT_NE(thread, nullptr);
        EXPECT_EQ(thread->name, "waits " + std::to_string(i));
        EXPECT_TRUE(holds_stack_of(read, *thread, i)) << i;
    }
}

TEST_F(Minidump, LetsTheThreadsGoOn) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::atomic<bool> done{false};
    std::atomic<long> rounds{0};
    char received = 0;
    ssize_t got = 0;
    std::thread busy([&] {
        while (!done)
            ++rounds;
    });
    std::thread reading([&] { got = read(ends[0], &received, 1); });
    for (int i = 0; i < 5; ++i)
        dump();
    const long before = rounds;
    while (rounds == before)
        std::this_thread::yield();
    done = true;
    EXPECT_EQ(write(ends[1], "x", 1), 1);
    busy.join();
    reading.join();
    EXPECT_EQ(got, 1);
    EXPECT_EQ(received, 'x');
    close(ends[0]);
    close(ends[1]);
}

TEST_F(Minidump, ListsAThreadThatSomebodyElseTraces) {
    const WaitingThreads waiting(2);
    const Tracer tracer(waiting.id(1));
    const MinidumpReader read = dump();
    const auto threads = read.threads();
    EXPECT_TRUE(holds_stack_of(read, *find(threads, waiting.id(0)), 0));
    ASSERT_NE(find(threads, waiting.id(1)), nullptr);
    EXPECT_EQ(find(threads, waiting.id(1))->registers.flags, 0U);
}

/// Writes a dump to a descriptor as a process that nobody may look into.
TARNWILLOW_CHILD(dump_unseen) {
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) return 2;
    prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
    volatile Marker marker(815);
    const auto self = static_cast<std::uint32_t>(getpid());
    return MiniDumpWriteDump(nullptr, self, std::stoi(std::string(argument)), MiniDumpNormal,
                             nullptr, nullptr, nullptr) &&
                   marker.text[0] == 'm'
               ? 0
               : 1;
}

TEST_F(Minidump, HoldsTheCallersStackWhereTracingIsForbidden) {
    const int file = open(path().c_str(), O_RDWR | O_CREAT, 0600);  // inherited
    ASSERT_EQ(test::run_child("dump_unseen", std::to_string(file)).exit_code, 0);
    close(file);
    const MinidumpReader read(test::read_file(path()));
    const auto threads = read.threads();
    ASSERT_FALSE(threads.empty());
    EXPECT_TRUE(holds_stack_of(read, threads[0], 815));
    EXPECT_FALSE(read.modules().empty());
}

TEST_F(Minidump, IsNoChildOfTheHost) {
    dump();
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(Minidump, WithFullMemoryHoldsWhatIsReadable) {
    constexpr std::size_t kSize = 1 << 20;
    const Mapping wanted(kSize), not_for_dumps(kSize), closed(kSize);
    for (const Mapping* mapping : {&wanted, &not_for_dumps, &closed})
        std::strcpy(mapping->bytes() + kSize / 2, "in the middle");
    madvise(not_for_dumps.bytes(), kSize, MADV_DONTDUMP);
    mprotect(closed.bytes(), kSize, PROT_NONE);
    const MinidumpReader read = dump(MiniDumpWithFullMemory);
    EXPECT_EQ(read.flags(), 2U);
    EXPECT_EQ(read.memory(wanted.address() + kSize / 2, 14), std::string("in the middle\0", 14));
    EXPECT_EQ(read.memory(wanted.address() + kSize / 2 + 100, 4), std::string(4, '\0'));
    EXPECT_EQ(read.memory(not_for_dumps.address() + kSize / 2, 14), "<not there>");
    EXPECT_EQ(read.memory(closed.address() + kSize / 2, 14), "<not there>");
}

TEST_F(Minidump, WithFullMemoryPassesOverWhatWasNeverUsed) {
    const Mapping untouched(std::size_t{1} << 37);
    test::write_file(folder.file("short"), "x");
    const int file = open(folder.file("short").c_str(), O_RDONLY);
    const Mapping beyond_the_end(3 * 4096, PROT_READ, file);
    close(file);
    const MinidumpReader read = dump(MiniDumpWithFullMemory);
    EXPECT_LT(read.full_memory(), std::uint64_t{1} << 36);
    EXPECT_EQ(read.memory(beyond_the_end.address(), 2), std::string("x\0", 2));
    EXPECT_EQ(read.memory(beyond_the_end.address() + 2 * 4096, 1), std::string(1, '\0'));
}

TEST_F(Minidump, TellsThatItCouldNotBeWritten) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const int full = open("/dev/full", O_WRONLY);
    for (const int file : {full, ends[1], -1}) {
        EXPECT_FALSE(write_to(file));
        EXPECT_EQ(GetLastError(), static_cast<std::uint32_t>(ERROR_WRITE_FAULT));
    }
    for (const int file : {full, ends[0], ends[1]})
        close(file);
}

TEST_F(Minidump, RefusesWhatItCannotDo) {
    const auto self = static_cast<std::uint32_t>(getpid());
    const int any = 0;
    EXPECT_FALSE(MiniDumpWriteDump(nullptr, 1, -1, MiniDumpNormal, nullptr, nullptr, nullptr));
    EXPECT_FALSE(MiniDumpWriteDump(nullptr, self, -1, MiniDumpNormal, nullptr, &any, nullptr));
    EXPECT_FALSE(MiniDumpWriteDump(nullptr, self, -1, MiniDumpNormal, nullptr, nullptr, &any));
    EXPECT_EQ(GetLastError(), static_cast<std::uint32_t>(ERROR_NOT_SUPPORTED));
}

}  // namespace tarnwillow
