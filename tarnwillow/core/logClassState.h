// Which log classes are on, in a form that every line and every lock can afford to ask.
#pragma once

#include <atomic>
#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Log classes are numbered from 0.
inline constexpr int kLogClassCount = 22;

namespace detail {

enum class LogClassState : std::uint8_t {
    NotLoaded,  ///< the settings have not been read: the first line does it
    Off,
    On,
};

/// Written by diagnostics/ alone.
extern TARNWILLOW_API std::atomic<LogClassState> log_class_states[kLogClassCount];

inline bool is_log_class(long log_class) { return log_class >= 0 && log_class < kLogClassCount; }

/// `log_class` must be one.
inline LogClassState log_class_state(long log_class) {
    return log_class_states[log_class].load(std::memory_order_relaxed);
}

inline bool class_enabled(int log_class) {
    return is_log_class(log_class) && log_class_state(log_class) == LogClassState::On;
}

/// Whether a line must be handed on to the log. So must one whose number is no class: the log
/// stops there in the debugger.
inline bool line_concerns_log(long log_class) {
    return !is_log_class(log_class) || log_class_state(log_class) != LogClassState::Off;
}

/// While true, lines are dropped and do not make the classes load: the library's own construction
/// is no time to open the settings store.
extern std::atomic<bool> log_held_back;

}  // namespace detail
}  // namespace tarnwillow
