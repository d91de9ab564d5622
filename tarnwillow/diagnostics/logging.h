// The log: numbered classes that a person switches on and off in the settings store, and lines that
// go to output procedures. `_LOG` itself stands in core/diagnosticEntry.h.
//
// No operation reports a failure, and no fault in one reaches its caller: a line that cannot go on
// is dropped. All may be called on any thread. docs/logging.md tells how to switch classes on.
#pragma once

#include "tarnwillow/core/diagnosticEntry.h"
#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Receives a finished line, on the thread that logged it: its class, thread number, text (owned by
/// the caller, valid during the call) and level. What it logs itself is dropped. A fault in it, or
/// a thrown value, costs that line only.
using LogOutputProcA = void (*)(int log_class, unsigned long thread_id, char* text, int level);
using LogOutputProcW = void (*)(int log_class, unsigned long thread_id, char16_t* text, int level);

/// Reads from the settings store which classes are on, once in the life of a process; the first
/// line does it too. A class without a value gets one, 0 as a rule. Lines that other threads log
/// meanwhile are dropped. A change in the store takes effect in the next process.
TARNWILLOW_API void InitializeDebugMode();

/// Writes `length` characters of a text, or up to its terminator, that may be longer than a line:
/// in parts of 160, numbered from 0 ("Part 0: ..."), or as it is if it is shorter. "%" comes out as
/// "<PC>". Without memory nothing is written.
TARNWILLOW_API void _LOG_LARGE(long log_class, char const* text, unsigned int length);
TARNWILLOW_API void _LOG_LARGE(long log_class, char16_t const* text, unsigned int length);

/// Stops the default output procedures, and lines with a source, for the rest of the process's
/// life. Procedures of Divert_Log_Output go on. Gives 0.
TARNWILLOW_API long Halt_Logging();

/// Replaces the output procedures, from the next line on. Null drops that width's lines. Gives 0.
TARNWILLOW_API long Divert_Log_Output(LogOutputProcA narrow, LogOutputProcW wide);

/// Writes the rights of the process to class 14, under the name of a module.
TARNWILLOW_API void LogPrivileges(char const* module);

/// Shows a formatted text of at most 1,024 characters in a message box. A fault is reported.
TARNWILLOW_API void Debug_Message_Box(char const* format, ...);

}  // namespace tarnwillow
