// Where finished lines go.
#pragma once

#include <atomic>

#include "tarnwillow/diagnostics/logging.h"

namespace tarnwillow::detail {

/// The default output procedures (logSenders.cpp) and the sender of lines with a source. None of
/// them does anything once the log is halted.
void Send_Log_Line_Narrow(int log_class, unsigned long thread_id, char* text, int level);
void Send_Log_Line_Wide(int log_class, unsigned long thread_id, char16_t* text, int level);
void Send_Named_Log_Line(char16_t const* source, unsigned long thread_id, char16_t const* text,
                         int level);

/// The procedures in charge.
extern std::atomic<LogOutputProcA> log_output_narrow;
extern std::atomic<LogOutputProcW> log_output_wide;

/// Set by Halt_Logging and never cleared.
extern std::atomic<bool> log_halted;

}  // namespace tarnwillow::detail
