#include "tarnwillow/diagnostics/logEcho.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "tarnwillow/platform/codepage.h"
#include "tarnwillow/platform/format.h"
#include "tarnwillow/platform/journal.h"
#include "tarnwillow/platform/localTime.h"
#include "tarnwillow/platform/standardError.h"

namespace tarnwillow::detail {

constinit std::atomic<LogEcho> log_echo{LogEcho::None};

namespace {

constexpr int kNameCharacters = 128;
constexpr std::size_t kNameRoom = kNameCharacters + 1;
constexpr std::size_t kPrefixRoom = kNameRoom + 64;
constexpr std::size_t kTextRoom = 2048 * 3;  // a line of the wide family as UTF-8

LogEcho wished_echo() {
    char const* const wish = std::getenv("TARNWILLOW_LOG");
    if (wish == nullptr) return LogEcho::None;
    if (std::strcmp(wish, "stderr") == 0) return LogEcho::StandardError;
    if (std::strcmp(wish, "journal") != 0) return LogEcho::None;
    return platform::open_journal() ? LogEcho::Journal : LogEcho::StandardError;
}

// One write, so that lines of several threads do not mix.
void write_to_standard_error(const EchoedLine& line, std::string_view text) {
    SYSTEMTIME now;
    GetLocalTime(&now);
    char whole[kPrefixRoom + kTextRoom];
    std::size_t length = platform::format_text(
        whole, kPrefixRoom, "%04u-%02u-%02u %02u:%02u:%02u.%03u [", now.wYear, now.wMonth, now.wDay,
        now.wHour, now.wMinute, now.wSecond, now.wMilliseconds);
    if (line.log_class >= 0)
        length +=
            platform::format_text(whole + length, kPrefixRoom - length, "%d ", line.log_class);
    length += platform::format_text(whole + length, kPrefixRoom - length,
                                    "%.*S] %u: ", kNameCharacters, line.name, line.thread_id);
    const std::size_t fitting = std::min(text.size(), sizeof whole - length - 1);
    std::memcpy(whole + length, text.data(), fitting);
    length += fitting;
    whole[length++] = '\n';
    platform::write_standard_error(whole, length);
}

/// A number or a name as the value of a field.
struct FieldText {
    char bytes[kNameRoom];
    std::size_t length;

    std::string_view view() const { return {bytes, length}; }
};

FieldText number(unsigned long value) {
    FieldText text;
    text.length = platform::format_text(text.bytes, sizeof text.bytes, "%d", value);
    return text;
}

FieldText shown_name(char16_t const* name) {
    FieldText text;
    text.length =
        platform::format_text(text.bytes, sizeof text.bytes, "%.*S", kNameCharacters, name);
    return text;
}

void write_to_journal(const EchoedLine& line, std::string_view text) {
    const FieldText thread_id = number(line.thread_id);
    const FieldText log_class = number(static_cast<unsigned long>(line.log_class));
    const FieldText name = shown_name(line.name);
    const FieldText level = number(static_cast<unsigned long>(line.level));
    const platform::JournalField fields[] = {
        {"MESSAGE", text},
        {"PRIORITY", "6"},
        {"SYSLOG_IDENTIFIER", program_invocation_short_name},
        {"TID", thread_id.view()},
        {"TARNWILLOW_CLASS", log_class.view()},
        {"TARNWILLOW_CLASS_NAME", name.view()},
        {"TARNWILLOW_LEVEL", level.view()},
    };
    platform::send_to_journal(fields, std::size(fields));
}

}  // namespace

void choose_log_echo() { log_echo = wished_echo(); }

void echo_line(const EchoedLine& line, std::string_view text) {
    if (log_echo == LogEcho::StandardError)
        write_to_standard_error(line, text);
    else
        write_to_journal(line, text);
}

void echo_line(const EchoedLine& line, std::u16string_view text) {
    char bytes[kTextRoom];
    const auto done = platform::wide_to_narrow(text.data(), text.size(), bytes, sizeof bytes);
    echo_line(line, std::string_view(bytes, done.written));
}

}  // namespace tarnwillow::detail
