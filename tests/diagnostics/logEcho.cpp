#include "tarnwillow/diagnostics/logEcho.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "support/childProcess.h"
#include "support/logCollector.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/diagnostics/logging.h"
#include "tarnwillow/platform/journal.h"
#include "tarnwillow/platform/threadId.h"

namespace tarnwillow {
namespace {

void write_lines() {
    const test::LogCollector collector;
    _LOG(4, "narrow \u20AC %d", 1);
    _LOG(20, u"wide \u20AC %d", 2);
    _LOG(u"a source", 3, u"named %d", 3);
    test::set_log_class(4, false);
    _LOG(4, "not written");
}

TARNWILLOW_CHILD(echo_lines) {
    setenv("TARNWILLOW_LOG", std::string(argument).c_str(), 1);
    write_lines();
    return 0;
}

std::string echoed(char const* wish) { return test::run_child("echo_lines", wish).output; }

/// The text with a 0 for every number.
std::string without_numbers(const std::string& text) {
    std::string result;
    for (const char c : text) {
        const bool digit = c >= '0' && c <= '9';
        if (!digit || result.empty() || result.back() != '0') result += digit ? '0' : c;
    }
    return result;
}

/// A place that listens as the journal does.
class Journal {
public:
    explicit Journal(const std::string& path) : file_(socket(AF_UNIX, SOCK_DGRAM, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(bind(file_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    ~Journal() { close(file_); }
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    /// The fields of the next entry that has come.
    std::map<std::string, std::string> next() {
        char bytes[8192];
        const ssize_t length = recv(file_, bytes, sizeof bytes, MSG_DONTWAIT);
        std::string_view entry(bytes, length > 0 ? static_cast<std::size_t>(length) : 0);
        std::map<std::string, std::string> fields;
        while (!entry.empty()) {
            const std::size_t name_length = entry.find('\n');
            std::uint64_t value_length = 0;
            std::memcpy(&value_length, entry.data() + name_length + 1, sizeof value_length);
            fields[std::string(entry.substr(0, name_length))] =
                entry.substr(name_length + 9, value_length);
            EXPECT_EQ(entry[name_length + 9 + value_length], '\n');
            entry.remove_prefix(name_length + 10 + value_length);
        }
        return fields;
    }

private:
    int file_;
};

}  // namespace

TEST(LogEcho, WritesEnabledLinesToStandardError) {
    const std::string time = "0-0-0 0:0:0.0 ";
    EXPECT_EQ(without_numbers(echoed("stderr")),
              time + "[0 ConnectionHandlerThreads] 0: narrow \u20AC 0\n" + time +
                  "[0 Folders] 0: wide \u20AC 0\n" + time + "[a source] 0: named 0\n");
}

TEST(LogEcho, IsAskedFor) {
    EXPECT_EQ(echoed(""), "");
    EXPECT_EQ(echoed("yes"), "");
}

TEST(LogEcho, ReachesTheJournal) {
    const test::TemporaryFolder folder;
    EXPECT_FALSE(platform::open_journal(folder.file("nobody").c_str()));
    Journal journal(folder.file("journal"));
    ASSERT_TRUE(platform::open_journal(folder.file("journal").c_str()));
    InitializeDebugMode();  // which reads the environment
    detail::log_echo = detail::LogEcho::Journal;
    write_lines();
    detail::log_echo = detail::LogEcho::None;
    auto entry = journal.next();
    EXPECT_EQ(entry["MESSAGE"], "narrow \u20AC 1");
    EXPECT_EQ(entry["PRIORITY"], "6");
    EXPECT_EQ(entry["TARNWILLOW_CLASS"], "4");
    EXPECT_EQ(entry["TARNWILLOW_CLASS_NAME"], "ConnectionHandlerThreads");
    EXPECT_EQ(entry["TARNWILLOW_LEVEL"], "5");
    EXPECT_EQ(entry["TID"], std::to_string(platform::current_thread_id()));
    EXPECT_EQ(journal.next()["MESSAGE"], "wide \u20AC 2");
    entry = journal.next();
    EXPECT_EQ(entry["MESSAGE"], "named 3");
    EXPECT_EQ(entry["TARNWILLOW_CLASS"], "-1");
    EXPECT_EQ(entry["TARNWILLOW_CLASS_NAME"], "a source");
    EXPECT_TRUE(journal.next().empty());
}

}  // namespace tarnwillow
