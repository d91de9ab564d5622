// The road of a line behind the test of its class: formatted on the stack, handed to the output
// procedure, all on the caller's thread and inside a guard.
#include <cstdarg>

#include "tarnwillow/core/frame.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/core/threads.h"
#include "tarnwillow/core/unload.h"
#include "tarnwillow/diagnostics/logClasses.h"
#include "tarnwillow/diagnostics/logEcho.h"
#include "tarnwillow/diagnostics/logOutput.h"
#include "tarnwillow/platform/debugOutput.h"
#include "tarnwillow/platform/format.h"
#include "tarnwillow/platform/threadId.h"

namespace tarnwillow {

namespace {

using detail::LogEcho;

constexpr std::size_t kLineRoom = 2048;
constexpr int kClassLevel = 5;
constexpr long kNoThreadRecord = -1;

auto output_procedure(char const*) { return detail::log_output_narrow.load(); }
auto output_procedure(char16_t const*) { return detail::log_output_wide.load(); }

// Stands in for the count of a thread that has no record, since its end is under way or there was
// no memory: its lines must not nest without end either.
[[gnu::tls_model("initial-exec")]] constinit thread_local long count_without_record = 0;

long in_log_count() {
    const long count = Get_Thread_In_Log_Count();
    return count != kNoThreadRecord ? count : count_without_record;
}

void set_in_log_count(long count) {
    Set_Thread_In_Log_Count(count);
    count_without_record = count;
}

/// One line on its way. It outlives the guard around its own road.
struct LineInHand {
    long log_class;
    std::va_list arguments;
    long count_before = 0;  ///< the thread's in-log count ahead of this line
    bool counted = false;   ///< and whether it is raised
};

template <class Char>
void echo(long log_class, Char const* text, std::size_t length) {
    if (detail::log_echo.load(std::memory_order_relaxed) == LogEcho::None) return;
    const int number = static_cast<int>(log_class);
    detail::echo_line(
        {number, detail::log_class_rows[number].name, platform::current_thread_id(), kClassLevel},
        std::basic_string_view<Char>(text, length));
}

template <class Char>
void hand_over(long log_class, Char* text, std::size_t length) {
    echo(log_class, text, length);
    if (const auto procedure = output_procedure(text))
        procedure(static_cast<int>(log_class), platform::current_thread_id(), text, kClassLevel);
}

// The line stops here: in the debugger if there is one, and otherwise in the guard of its own call.
void stop_line() {
    if (detail::library_unloading || !platform::breakpoints_pass()) throw E_UNEXPECTED;
    Debugger();
}

// A line that the output procedure itself logs would come back to it for ever.
template <class Char>
void dispatch(LineInHand& line, Char* text, std::size_t length) {
    line.count_before = in_log_count();
    if (line.count_before != 0) stop_line();
    line.counted = true;
    set_in_log_count(line.count_before + 1);
    hand_over(line.log_class, text, length);
    set_in_log_count(line.count_before);
}

template <class Char>
void write(LineInHand& line, Char const* format) {
    if (!detail::is_log_class(line.log_class)) return stop_line();
    if (!detail::class_enabled(static_cast<int>(line.log_class))) return;
    Char text[kLineRoom];
    const std::size_t length =
        platform::format_text_v(text, kLineRoom, not_null(format), line.arguments);
    dispatch(line, text, length);
}

// The classes are loaded outside the guard, since that owns what a fault would jump over.
template <class Char>
void write_guarded(LineInHand& line, Char const* format) {
    InitializeDebugMode();
    probe_guard([&] { write(line, format); },
                [&] {
                    if (line.counted) set_in_log_count(line.count_before);
                });
}

void write_named(char16_t const* source, int level, char16_t const* format,
                 std::va_list arguments) {
    char16_t text[kLineRoom];
    const std::size_t length =
        platform::format_text_v(text, kLineRoom, not_null(format), arguments);
    const unsigned long thread_id = platform::current_thread_id();
    if (detail::log_echo.load(std::memory_order_relaxed) != LogEcho::None)
        detail::echo_line({-1, not_null(source), thread_id, level},
                          std::u16string_view(text, length));
    detail::Send_Named_Log_Line(source, thread_id, text, level);
}

}  // namespace

namespace detail {

void write_log_line(long log_class, char const* format, ...) {
    LineInHand line{log_class, {}};
    va_start(line.arguments, format);
    write_guarded(line, format);
    va_end(line.arguments);
}

void write_log_line(long log_class, char16_t const* format, ...) {
    LineInHand line{log_class, {}};
    va_start(line.arguments, format);
    write_guarded(line, format);
    va_end(line.arguments);
}

}  // namespace detail

void _LOG(char16_t const* source, int level, char16_t const* format, ...) {
    InitializeDebugMode();
    std::va_list arguments;
    va_start(arguments, format);
    probe_guard([&] { write_named(source, level, format, arguments); }, no_recovery);
    va_end(arguments);
}

}  // namespace tarnwillow
