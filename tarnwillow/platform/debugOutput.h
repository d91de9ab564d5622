// Output for a developer that works without the log, and a breakpoint in code.
#pragma once

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Receives every text given to OutputDebugStringW; runs in the thread that wrote it.
using DebugOutputHook = void (*)(char16_t const* text);

/// Writes `text` to standard error, as UTF-8 with a line end, when a debugger is attached or the
/// environment has TARNWILLOW_DEBUG_OUTPUT=1, and gives it to the hook. Null writes nothing. Keeps
/// off the heap.
TARNWILLOW_API void OutputDebugStringW(char16_t const* text);

/// Sets the hook, null for none; gives back the one before.
TARNWILLOW_API DebugOutputHook Set_Debug_Output_Hook(DebugOutputHook hook);

/// Stops in the debugger (SIGTRAP). An active guard catches it like any fault.
TARNWILLOW_API void DebugBreak();

namespace platform {

/// Whether DebugBreak can be caught on this thread: one that blocks SIGTRAP would end the process.
bool breakpoints_pass();

}  // namespace platform

}  // namespace tarnwillow
