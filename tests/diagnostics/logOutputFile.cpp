#include "tarnwillow/diagnostics/CLogOutputFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <future>
#include <map>
#include <optional>
#include <sstream>
#include <thread>
#include <vector>

#include "support/childProcess.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/core/publicMutex.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow {
namespace {

constexpr char kEnd[] = "\r\n";

template <class Item>
concept Accepted = requires(CLogOutputFile& file, Item item) {
    file << item;
};
static_assert(!Accepted<wchar_t const*> && !Accepted<wchar_t*> && !Accepted<double>);
static_assert(Accepted<unsigned short> && Accepted<int*> && Accepted<bool>);

class LogOutputFile : public testing::Test {
protected:
    std::string path() const { return folder.file("debug.txt"); }
    std::string content() const { return test::read_file(path()); }

    /// The one line that these items make.
    template <class... Items>
    std::string line(Items... items) {
        CLogOutputFile file(path().c_str());
        (file << ... << items) << kEnd;
        std::string text = content();
        std::filesystem::remove(path());
        return text.size() > 2 && text.substr(text.size() - 2) == kEnd
                   ? text.substr(0, text.size() - 2)
                   : text;
    }

    test::TemporaryFolder folder;
};

template <class Marker>
Marker* hex(long value) {
    return reinterpret_cast<Marker*>(value);
}

TEST_F(LogOutputFile, WritesEveryKindOfItem) {
    EXPECT_EQ(line("text ", u"wide \u20AC ", 'c', static_cast<char const*>(nullptr), nullptr),
              "text wide \u20AC cNULL STRINGNULL STRING");
    EXPECT_EQ(line(-1, ' ', short{-2}, ' ', LONG_MIN, ' ', -3LL), "-1 -2 -9223372036854775808 -3");
    EXPECT_EQ(line(7U, ' ', 0xFFFFFFFFU, ' ', 0x80000000UL, ' ', 0x100000000UL, ' ', 5ULL),
              "7 -1 -2147483648 4294967296 5");
    EXPECT_EQ(line(hex<_DB_HEX__>(0xA), ' ', hex<_DB_HEX__>(0xABC), ' ', hex<_DB_HEX_EX__>(0xA)),
              "0x0A 0xABC 0A");
    EXPECT_EQ(line(reinterpret_cast<void*>(0x7F0012345678)), "(void*)0x7F0012345678");
    EXPECT_EQ(line(static_cast<char16_t*>(nullptr)), "NULL STRING");
}

TEST_F(LogOutputFile, AWindowHasItsTitle) {
    const HWND window = New_Headless_Window("Notes");
    char number[32];
    std::snprintf(number, sizeof number, "%lx", reinterpret_cast<unsigned long>(window));
    EXPECT_EQ(line(window), std::string("HWND: ") + number + " (\"Notes\")");
    EXPECT_TRUE(Destroy_Headless_Window(window));
    EXPECT_EQ(line(window), std::string("HWND: ") + number + " (\"????\")");
    EXPECT_EQ(line(HWND{}), "HWND: 0 (\"????\")");
}

TEST_F(LogOutputFile, OnlyTheItemOfALineEndEndsALine) {
    CLogOutputFile file(path().c_str());
    file << "one" << '\r' << '\n'
         << "two\r\n"
         << "\n"
         << "";
    EXPECT_EQ(content(), "<missing>");
    file << u"\r\n";
    EXPECT_EQ(content(), "one\r\ntwo\r\n\n\r\n");
    file << "lost";
    file._Do_Final_Cleanup();
    file << kEnd;
    EXPECT_EQ(content(), "one\r\ntwo\r\n\n\r\n");
}

TEST_F(LogOutputFile, ALineHoldsAtMost2048Bytes) {
    const std::string full(2046, 'x');
    EXPECT_EQ(line(full.c_str()), full);
    EXPECT_EQ(line(full.c_str(), "three", u"\u20AC"), full) << "items that do not fit are dropped";
    EXPECT_EQ(line(std::u16string(2046, u'x').c_str()), full);
    EXPECT_EQ(line(full.c_str(), 'y'), "<missing>") << "and so is the end";
    EXPECT_EQ(line(std::string(2049, 'x').c_str(), "y"), "y");
    CLogOutputFile file(path().c_str());
    for (int i = 0; i < 3000; ++i)
        file << 'x';
    file << kEnd << kEnd;
    EXPECT_EQ(content(), "<missing>");
}

TEST_F(LogOutputFile, ALineThatCannotBeWrittenIsLost) {
    std::filesystem::create_directory(path());
    CLogOutputFile file(path().c_str());
    file << "lost" << kEnd;
    std::filesystem::remove(path());
    file << "kept" << kEnd;
    EXPECT_EQ(content(), "kept\r\n");
}

TEST_F(LogOutputFile, ACopyGoesOnWithALineOfItsOwn) {
    CLogOutputFile file(path().c_str());
    file << "a";
    {
        CLogOutputFile copy(file);
        copy << "b" << kEnd;
        EXPECT_EQ(content(), "ab\r\n");
    }
    file << "c" << kEnd;
    EXPECT_EQ(content(), "ab\r\n") << "the copy has closed the mutexes of both";
}

/// Whether somebody uses the mutex of that name already.
bool is_in_use(const std::string& name) {
    void* const mutex = CreatePublicMutex(name.c_str());
    const bool exists = GetLastError() == ERROR_ALREADY_EXISTS;
    CloseHandle(mutex);
    return exists;
}

TEST_F(LogOutputFile, EverySpellingOfAPathMeansTheSameMutexes) {
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    std::filesystem::create_directory_symlink(".", "link");
    const std::string absolute = std::filesystem::canonical(folder.path()).string() + "/a_b.txt";
    const std::string parent = "../" + folder.path().filename().string();
    for (const std::string& path :
         {std::string("a:b.txt"), std::string("./a:b.txt"), std::string("link\\a:b.txt"),
          parent + "/a:b.txt", folder.file("a:b.txt")}) {
        const CLogOutputFile file(path.c_str());
        EXPECT_TRUE(is_in_use(absolute + "_DEBUG_OUT_FILE")) << path;
        EXPECT_TRUE(is_in_use(absolute + "_LINE_LOCKOUT")) << path;
    }
    EXPECT_FALSE(is_in_use(absolute + "_DEBUG_OUT_FILE")) << "closed";
    EXPECT_FALSE(is_in_use(absolute + "_LINE_LOCKOUT")) << "closed";
    std::filesystem::current_path(before);
}

std::optional<long> thrown_by(char const* path) {
    try {
        const CLogOutputFile file(path);
        return {};
    } catch (long status) {
        return status;
    }
}

TARNWILLOW_CHILD(make_without_mutexes) {
    setenv("TARNWILLOW_RUNTIME_DIR", "/dev/null/runtime", 1);
    return thrown_by("debug.txt") == E_OUTOFMEMORY ? 0 : 1;
}

TEST_F(LogOutputFile, AConstructionThatFailsThrowsAStatus) {
    EXPECT_EQ(thrown_by(nullptr), E_INVALIDARG);
    EXPECT_EQ(thrown_by(std::string(256, 'x').c_str()), E_INVALIDARG);
    EXPECT_EQ(thrown_by(std::string(255, 'x').c_str()), std::nullopt);
    EXPECT_EQ(test::run_child("make_without_mutexes").exit_code, 0);
}

constexpr int kLines = 10000;

TARNWILLOW_CHILD(write_ten_thousand_lines) {
    const std::string name(1, argument[0]), path(argument.substr(1));
    CLogOutputFile file(path.c_str());
    for (int i = 0; i < kLines; ++i)
        file << name.c_str() << i << u"---" << i << name.c_str() << kEnd;
    return 0;
}

TEST_F(LogOutputFile, FourProcessesWriteWholeLines) {
    std::vector<std::future<test::ChildResult>> writers;
    for (char const* name : {"a", "b", "c", "d"})
        writers.push_back(std::async(std::launch::async, [this, name] {
            return test::run_child("write_ten_thousand_lines", name + path());
        }));
    for (auto& writer : writers)
        EXPECT_EQ(writer.get().exit_code, 0);
    std::istringstream text(content());
    std::map<char, int> next;
    for (std::string line; std::getline(text, line);) {
        const std::string name = line.substr(0, 1);
        const std::string number = std::to_string(next[line[0]]++);
        ASSERT_EQ(line, name + number + "---" + number + name + "\r");
    }
    EXPECT_EQ(next.size(), 4U);
    for (char name : {'a', 'b', 'c', 'd'})
        EXPECT_EQ(next[name], kLines);
}

TEST_F(LogOutputFile, ThreadsMayShareAnObject) {
    CLogOutputFile file(path().c_str());
    const auto write = [&file] {
        for (int i = 0; i < 200; ++i)
            file << "item;" << kEnd;
    };
    std::thread other(write);
    write();
    other.join();
    const std::string text = content();
    std::string items = text;
    for (char c : {'\r', '\n'})
        items.erase(std::remove(items.begin(), items.end(), c), items.end());
    std::string expected;
    for (int i = 0; i < 400; ++i)
        expected += "item;";
    EXPECT_EQ(items, expected) << "items stay whole";
    EXPECT_EQ(text.size(), items.size() + 800);
}

}  // namespace
}  // namespace tarnwillow
