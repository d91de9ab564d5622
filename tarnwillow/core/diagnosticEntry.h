// The three entry points by which every part of the library reports. They are declared down here
// and defined in diagnostics/, so that no lower folder includes upwards.
#pragma once

#include <type_traits>

#include "tarnwillow/core/logClassState.h"
#include "tarnwillow/platform/exceptions.h"

namespace tarnwillow {

/// How grave a caught fault is at the spot that caught it.
enum ExceptionLevel : int {
    ExceptionLevelSerious = 0,     ///< the library's own state can't be trusted any more
    ExceptionLevelValidation = 1,  ///< a failed internal check; for callers' own guards
    ExceptionLevelHandled = 2,     ///< the operation turns the fault into a status
};

namespace detail {

/// The log's part behind the test of the class.
TARNWILLOW_API void write_log_line(long log_class, char const* format, ...);
TARNWILLOW_API void write_log_line(long log_class, char16_t const* format, ...);

}  // namespace detail

/// Writes one line under a log class, 0 to 21, with the formats of platform/format.h; `values` are
/// numbers and pointers. No result, no failure, and no fault reaches the caller. The line of a
/// class that is off costs one read, and then neither format nor values are touched. A line has at
/// most 2,047 characters. A number that is no class stops in the debugger, and the line is dropped.
/// Any thread.
template <class... Values>
inline void _LOG(long log_class, char const* format, Values... values) {
    static_assert((std::is_scalar_v<Values> && ...));
    if (detail::line_concerns_log(log_class)) detail::write_log_line(log_class, format, values...);
}
template <class... Values>
inline void _LOG(long log_class, char16_t const* format, Values... values) {
    static_assert((std::is_scalar_v<Values> && ...));
    if (detail::line_concerns_log(log_class)) detail::write_log_line(log_class, format, values...);
}

/// Writes one line under a name of the caller's own instead of a class, so with no test of one. It
/// goes past the procedures of Divert_Log_Output. `level` travels with it.
TARNWILLOW_API void _LOG(char16_t const* source, int level, char16_t const* format, ...);

/// Whether lines of that class are written. Off for every class before the classes are loaded, and
/// for a number that is no class. Any thread.
TARNWILLOW_API bool Log_Class_Enabled(int log_class);

/// Reports a caught fault and gives back `result`, always. Runs on the faulting thread. For a
/// processor fault the stack of the fault is still in place, and nothing here may use the heap once
/// the setting is known.
TARNWILLOW_API int Handle_Exception(ExceptionLevel level, char16_t const* name,
                                    EXCEPTION_POINTERS* pointers, int result);

/// The log classes of long waits for mutexes, of threads, and of sections and their waits.
inline constexpr int kConnectionHandlerLockingExtended = 3;
inline constexpr int kConnectionHandlerThreads = 4;
inline constexpr int kConnectionHandlerThreadsExtended = 5;

}  // namespace tarnwillow
