// Dumps on request: where they stand, who writes them, and what is in them.
#include "tarnwillow/diagnostics/crashDumps.h"

#include <fnmatch.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <thread>

#include "crashSite.h"
#include "faults.h"
#include "support/childProcess.h"
#include "support/minidumpReader.h"
#include "support/reports.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/threadId.h"

void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.name; }

namespace tarnwillow {
namespace {

using test::MinidumpReader;

std::u16string wide(const std::string& text) { return {text.begin(), text.end()}; }
std::string narrow(char16_t const* text) {
    const std::u16string_view units(text);
    return {units.begin(), units.end()};
}

/// Runs `fault` in a guard whose filter writes a dump.
bool dump_fault(void (*fault)(), char16_t const* folder, char16_t const* file, bool full = false) {
    bool written = false;
    filtered_guard(
        [&](EXCEPTION_POINTERS* pointers) {
            written = WriteCrashDump(pointers, nullptr, full, folder, file);
            return 1;
        },
        fault, no_recovery);
    return written;
}

class CrashDump : public testing::Test {
protected:
    std::u16string folder_text() const { return wide(folder.path().string()); }
    bool write(char16_t const* file) {
        return WriteCrashDump(nullptr, nullptr, false, folder_text().c_str(), file);
    }
    MinidumpReader dump_of(void (*fault)()) {
        EXPECT_TRUE(dump_fault(fault, folder_text().c_str(), u"dump"));
        return MinidumpReader(test::read_file(folder.file("dump")));
    }
    /// Folders are those of the library's settings and shared objects.
    std::size_t files() const {
        const std::filesystem::directory_iterator entries(folder.path());
        return static_cast<std::size_t>(std::count_if(
            begin(entries), end(entries), [](const auto& entry) { return !entry.is_directory(); }));
    }

    test::TemporaryFolder folder;
};

class CrashDumpOf : public CrashDump, public testing::WithParamInterface<Fault> {};

const test::DumpThread& find(const std::vector<test::DumpThread>& threads, std::uint32_t id) {
    for (const auto& thread : threads)
        if (thread.id == id) return thread;
    throw std::runtime_error("no such thread");
}

/// Lines of lldb's answer to those commands on the dump.
std::string ask_debugger(const std::string& dump, const std::string& commands) {
    const std::string line = "lldb --batch --no-lldbinit -c '" + dump + "' " + commands + " 2>&1";
    FILE* pipe = popen(line.c_str(), "r");
    std::string answer;
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe))
        answer += static_cast<char>(c);
    pclose(pipe);
    return answer;
}

/// Whether the whole text is as the shell's pattern has it.
bool matches(const std::string& text, const std::string& pattern) {
    return fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
}

void crash_at_known_line() { crash_site::outer_function(41); }

}  // namespace

TEST_P(CrashDumpOf, HoldsTheFaultWithItsStack) {
    if (GetParam().only_without_address_checks && test::address_checks()) return;
    const MinidumpReader dump = dump_of(GetParam().run);
    const auto exception = dump.exception();
    ASSERT_TRUE(exception);
    EXPECT_EQ(exception->code, GetParam().code);
    EXPECT_EQ(exception->thread, platform::current_thread_id());
    const auto threads = dump.threads();
    const auto& thread = find(threads, exception->thread);
    EXPECT_EQ(thread.registers.rip, exception->registers.rip);
    EXPECT_EQ(thread.registers.rsp, exception->registers.rsp);
    EXPECT_GT(thread.stack_size, 0U);
    if (GetParam().code != EXCEPTION_THROWN_VALUE) {
        EXPECT_EQ(exception->registers.rip, exception->instruction);
    }
}

std::vector<Fault> all_faults() { return {faults_at_O0().begin(), faults_at_O0().end()}; }
std::string name_of(const testing::TestParamInfo<Fault>& info) {
    std::string name = info.param.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
}
INSTANTIATE_TEST_SUITE_P(Every, CrashDumpOf, testing::ValuesIn(all_faults()), name_of);

TEST_F(CrashDump, TellsWhatMemoryWasAskedFor) {
    EXPECT_EQ(dump_of(faults_at_O0()[0].run).exception()->address, 0U);
    EXPECT_EQ(dump_of(faults_at_O0()[3].run).exception()->address, 0x7FFFFFFFF123U);
}

TEST_F(CrashDump, OpensInTheDebuggerAtTheLineOfTheFault) {
    dump_of(crash_at_known_line);
    const std::string answer = ask_debugger(folder.file("dump"), "-o 'thread backtrace'");
    const std::string frames =
        "*frame #0: *::write_through(number=42) at crashSite.cpp:" +
        std::to_string(crash_site::line) +
        ":*frame #1: *crash_site::outer_function(number=41) at crashSite.cpp:*";
    EXPECT_TRUE(matches(answer, frames)) << answer;
    EXPECT_NE(answer.find("stop reason = signal SIGSEGV"), std::string::npos) << answer;
}

TEST_F(CrashDump, OfFullMemoryShowsVariablesToTheDebugger) {
    static int volatile on_the_heap_or_not = 471100;
    int* const variable = new int(on_the_heap_or_not + 47);
    ASSERT_TRUE(dump_fault(crash_at_known_line, folder_text().c_str(), u"dump", true));
    char command[64];
    std::snprintf(command, sizeof command, "-o 'memory read -s4 -c1 -fu %p'",
                  static_cast<void*>(variable));
    const std::string answer = ask_debugger(folder.file("dump"), command);
    EXPECT_NE(answer.find(": 471147"), std::string::npos) << answer;
    delete variable;
}

TEST_F(CrashDump, StandsWhereItWasAskedFor) {
    char16_t path[kCrashDumpPathRoom] = u"untouched";
    const std::u16string with_separator = folder_text() + u"/";
    ASSERT_TRUE(WriteCrashDump(nullptr, path, false, with_separator.c_str(), u"named"));
    EXPECT_EQ(narrow(path), "untouched");
    EXPECT_TRUE(std::filesystem::exists(folder.file("named")));
    ASSERT_TRUE(WriteCrashDump(nullptr, path, false, with_separator.c_str(), nullptr));
    EXPECT_TRUE(
        matches(narrow(path),
                folder.path().string() + "/CrashLog-[01]?-[0-3]?-2[0-9]*-[0-2]?-[0-5]?-[0-6]?.dmp"))
        << narrow(path);
    EXPECT_TRUE(std::filesystem::exists(narrow(path)));
    EXPECT_EQ(files(), 2U);
}

TEST_F(CrashDump, IsForTheAccountAlone) {
    ASSERT_TRUE(write(u"dump"));
    struct stat about {};
    stat(folder.file("dump").c_str(), &about);
    EXPECT_EQ(about.st_mode & 07777, 0600U);
}

TEST_F(CrashDump, ReplacesWhatHasItsName) {
    test::write_file(folder.file("dump"), "old");
    ASSERT_TRUE(write(u"dump"));
    EXPECT_EQ(test::read_file(folder.file("dump")).substr(0, 4), "MDMP");
    test::write_file(folder.file("elsewhere"), "stays");
    std::filesystem::create_symlink("elsewhere", folder.file("link"));
    ASSERT_TRUE(write(u"link"));
    EXPECT_EQ(test::read_file(folder.file("elsewhere")), "stays");
    EXPECT_EQ(files(), 3U);
}

TEST_F(CrashDump, FailsWithoutLeavingAnything) {
    std::filesystem::create_directory(folder.file("folder"));
    const std::u16string long_name(300, u'x');
    EXPECT_FALSE(write(u"folder"));
    EXPECT_FALSE(write(u"missing/dump"));
    EXPECT_FALSE(write(long_name.c_str()));
    EXPECT_FALSE(WriteCrashDump(nullptr, nullptr, false, u"/proc/", u"dump"));
    auto* const wild = reinterpret_cast<EXCEPTION_POINTERS*>(8);
    EXPECT_FALSE(WriteCrashDump(wild, nullptr, false, folder_text().c_str(), u"dump"));
    EXPECT_FALSE(WriteCrashDump(nullptr, nullptr, false, reinterpret_cast<char16_t*>(8), u"dump"));
    EXPECT_EQ(WriteCrashDumpFromException(nullptr, nullptr, false, u"/proc/", nullptr), 1);
    EXPECT_EQ(files(), 0U);
}

/// In a process that may write files of 64 KB only.
TARNWILLOW_CHILD(dump_with_little_disk) {
    const rlimit little{64 * 1024, 64 * 1024};
    setrlimit(RLIMIT_FSIZE, &little);
    return dump_fault(crash_at_known_line, wide(std::string(argument)).c_str(), u"dump", true) ? 1
                                                                                               : 0;
}

TEST_F(CrashDump, ThatDoesNotFitTheDiskLeavesNothing) {
    EXPECT_EQ(test::run_child("dump_with_little_disk", folder.path().string()).exit_code, 0);
    EXPECT_EQ(files(), 0U);
}

TEST_F(CrashDump, OfManyThreadsAtOnce) {
    constexpr int kThreads = 8;
    std::atomic<int> written{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&, i] {
            const std::u16string name = wide("dump" + std::to_string(i));
            written += dump_fault(crash_at_known_line, folder_text().c_str(), name.c_str());
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(written, kThreads);
    for (int i = 0; i < kThreads; ++i) {
        const MinidumpReader dump(test::read_file(folder.file("dump" + std::to_string(i))));
        const auto threads_there = dump.threads();
        EXPECT_GT(find(threads_there, dump.exception()->thread).stack_size, 0U);
    }
}

TEST_F(CrashDump, OfAThreadWhoseSignalStackIsTooSmall) {
    constexpr std::size_t kSmall = 16384;
    bool written = false;
    std::size_t in_use = 0;
    std::thread([&] {
        // Never given back here: at the thread's end a sanitizer unmaps what stack it finds set.
        stack_t host{};
        host.ss_size = kSmall;
        host.ss_sp =
            mmap(nullptr, kSmall, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        sigaltstack(&host, nullptr);
        for (const Fault& fault : faults_at_O0())
            if (std::string(fault.name) == "stack overflow")
                written = dump_fault(fault.run, folder_text().c_str(), u"dump");
        sigaltstack(nullptr, &host);
        in_use = host.ss_size;
    }).join();
    EXPECT_TRUE(written);
    EXPECT_GT(in_use, kSmall);
}

}  // namespace tarnwillow
