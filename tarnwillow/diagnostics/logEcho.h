// A look at the log without a message core: TARNWILLOW_LOG=stderr, or =journal, makes the process
// write each line of an enabled class at once, besides handing it to the output procedure.
#pragma once

#include <atomic>
#include <string_view>

namespace tarnwillow::detail {

enum class LogEcho : unsigned char { None, StandardError, Journal };

/// Reads the environment. A journal that cannot be reached becomes standard error.
void choose_log_echo();

extern std::atomic<LogEcho> log_echo;

/// One echoed line. `name` is the class's display name or the line's source; its first
/// 128 characters are shown.
struct EchoedLine {
    int log_class;  ///< -1 for a line with a source
    char16_t const* name;
    unsigned long thread_id;
    int level;
};

/// Writes in one piece, off the heap; a journal that takes nothing now does not block.
void echo_line(const EchoedLine& line, std::string_view text);
void echo_line(const EchoedLine& line, std::u16string_view text);

}  // namespace tarnwillow::detail
