// The message core that ships as an example, loaded as a program would load it: so each case is a
// process of its own.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <mutex>
#include <sstream>

#include "coreFixture.h"
#include "support/childProcess.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/core/diagnosticEntry.h"
#include "tarnwillow/diagnostics/logOutput.h"
#include "tarnwillow/diagnostics/messages.h"

namespace tarnwillow {
namespace {

void send(std::string text) {
    detail::Send_Log_Line_Narrow(4, static_cast<unsigned long>(gettid()), text.data(), 5);
}

void send(std::u16string text) {
    detail::Send_Log_Line_Wide(4, static_cast<unsigned long>(gettid()), text.data(), 5);
}

class ExampleCore : public testing::Test {
protected:
    ExampleCore() {
        test::set_core(TARNWILLOW_EXAMPLE_CORE);
        setenv("TARNWILLOW_LOG_FILE", file().c_str(), 1);
    }
    ~ExampleCore() override { unsetenv("TARNWILLOW_LOG_FILE"); }

    std::string file() const { return folder.file("state/notes/log.txt"); }

    /// The file's lines behind the time, with the same word for every number of a thread.
    std::string lines() const { return without_numbers(test::read_file(file())); }

    static std::string without_numbers(const std::string& text) {
        std::istringstream lines(text);
        std::string result;
        for (std::string line; std::getline(lines, line);) {
            const std::size_t end = has_head(line) ? line.find("] ") + 2 : 0;
            result += (end != 0 ? "> " : "") + line.substr(end) + "\n";
        }
        return result;
    }

    /// Whether a line begins like "2026-11-24 17:35:37.123 notes[4711:4712] ".
    static bool has_head(const std::string& line) {
        int behind = 0;
        std::sscanf(line.c_str(),
                    "%*4[0-9]-%*2[0-9]-%*2[0-9] %*2[0-9]:%*2[0-9]:%*2[0-9].%*3[0-9] "
                    "%*[a-z_][%*[0-9]:%*[0-9]] %n",
                    &behind);
        return behind > 28;
    }

    test::TemporaryFolder folder;
};

TARNWILLOW_CHILD(write_lines) {
    send("narrow \u20AC");
    send(u"wide \u20AC \U0001F333 \xD800.");
    send("two\r\nlines\n");
    _LOG(u"disk", 2, u"full");
    Broadcast_Message(-12, "bytes", 5);
    return 0;
}

constexpr char kLines[] =
    "> 4: narrow \u20AC\n"
    "> 4: wide \u20AC \U0001F333 \uFFFD.\n"
    "> 4: two  lines\n"
    "> disk (2): full\n"
    "> broadcast -12, 5 bytes\n";

TEST_F(ExampleCore, AMessageIsALine) {
    EXPECT_EQ(test::run_child("write_lines").exit_code, 0);
    EXPECT_EQ(lines(), kLines);
    struct stat about {};
    stat(file().c_str(), &about);
    EXPECT_EQ(about.st_mode & 0777, 0600U) << "for this account alone";
}

TEST_F(ExampleCore, TheTerminalMayStandForTheFile) {
    setenv("TARNWILLOW_LOG_FILE", "-", 1);
    EXPECT_EQ(without_numbers(test::run_child("write_lines").output), kLines);
}

TEST_F(ExampleCore, WithoutANameTheFileLiesInTheAccountsFolders) {
    unsetenv("TARNWILLOW_LOG_FILE");
    setenv("XDG_STATE_HOME", folder.file("x").c_str(), 1);
    test::run_child("write_lines");
    unsetenv("XDG_STATE_HOME");
    EXPECT_EQ(without_numbers(test::read_file(folder.file("x/tarnwillow/log.txt"))), kLines);
    setenv("HOME", folder.file("home").c_str(), 1);
    test::run_child("write_lines");
    EXPECT_EQ(without_numbers(test::read_file(folder.file("home/.local/state/tarnwillow/log.txt"))),
              kLines);
}

TEST_F(ExampleCore, AFileThatCannotBeOpenedMakesNoCore) {
    setenv("TARNWILLOW_LOG_FILE", "/dev/null/log.txt", 1);
    EXPECT_EQ(test::run_child("write_lines").output, "");
}

TARNWILLOW_CHILD(write_many_lines) {
    const std::string name(argument);
    for (int i = 0; i < 1000; ++i)
        send(name + std::string(static_cast<std::size_t>(i) / 2, '.') + name);
    return 0;
}

/// As above: a name, points and the same name.
bool is_whole(const std::string& line) {
    if (line.rfind("> 4: ", 0) != 0 || line.size() < 7) return false;
    const std::string text = line.substr(5);
    return text.front() >= 'a' && text.front() <= 'd' && text.back() == text.front() &&
           text.substr(1, text.size() - 2) == std::string(text.size() - 2, '.');
}

TEST_F(ExampleCore, LinesOfSeveralProcessesStayWhole) {
    std::vector<std::future<test::ChildResult>> writers;
    for (char const* name : {"a", "b", "c", "d"})
        writers.push_back(std::async(std::launch::async,
                                     [name] { return test::run_child("write_many_lines", name); }));
    writers.clear();
    std::istringstream text(lines());
    int count = 0;
    for (std::string line; std::getline(text, line); ++count)
        ASSERT_TRUE(is_whole(line)) << line;
    EXPECT_EQ(count, 4000);
}

/// Notes lines in the core's thread, for the test's thread to wait for.
class Listener {
public:
    long attach(bool from_start) {
        const std::lock_guard hold(lock_);  // its first line may come before this is through
        return Attach_Message_Listener(0, hear, this, from_start, &handle_);
    }
    void detach() { Detach_Message_Listener(handle_); }

    std::string wait_for(std::size_t count) {
        std::unique_lock hold(lock_);
        changed_.wait(hold, [&] { return lines_ >= count; });
        return text_;
    }

private:
    static void hear(unsigned long number, long kind, char* data, long size, long, void* context) {
        auto& self = *static_cast<Listener*>(context);
        const std::lock_guard hold(self.lock_);
        Detach_Message_Listener(self.handle_);  // does nothing from here
        if (kind != TARNWILLOW_LOG_ENTRY_NARROW || number != ++self.lines_) self.text_ = "wrong";
        self.text_ += std::string(data, static_cast<std::size_t>(size)) + "\n";
        self.changed_.notify_all();
    }

    std::mutex lock_;
    std::condition_variable changed_;
    std::size_t lines_ = 0;
    std::string text_;
    void* handle_ = nullptr;
};

TARNWILLOW_CHILD(listen_to_others) {
    Listener all, later, gone;
    if (all.attach(true) != 0 || later.attach(false) != 0 || gone.attach(true) != 0) return 1;
    all.wait_for(5);
    gone.wait_for(5);
    gone.detach();
    test::run_child("write_lines");
    std::printf("%s-\n%s-\n%s", all.wait_for(10).c_str(), later.wait_for(5).c_str(),
                gone.wait_for(5).c_str());
    all.detach();
    later.detach();
    later.detach();
    return 0;
}

TEST_F(ExampleCore, AListenerHearsTheLinesOfAllProcesses) {
    test::run_child("write_lines");
    const auto result = test::run_child("listen_to_others");
    EXPECT_EQ(result.exit_code, 0);
    const std::string five = kLines;
    EXPECT_EQ(without_numbers(result.output), five + five + "-\n" + five + "-\n" + five);
}

}  // namespace
}  // namespace tarnwillow
