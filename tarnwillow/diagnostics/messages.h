// Messages between programs through the message core, and the log's files by name.
//
// The message core is a dynamic library whose path stands in the setting "Log"; messageCore.h tells
// what it must offer. It is loaded when a line, a broadcast or a listener first needs it, and tried
// again the next time if that failed.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Receives messages from the core, which also says what the arguments mean, on which thread it
/// runs and how long the data live.
using MessageListenerProc = void (*)(unsigned long, long, char* data, long, long, void* context);

/// Has the core call `listener`; all five arguments are the core's to understand. Its result, 0 for
/// success; -1 if there is no core, or none that serves listeners, or if it faults. `handle`
/// receives what Detach_Message_Listener needs.
TARNWILLOW_API long Attach_Message_Listener(long selector, MessageListenerProc listener,
                                            void* context, bool flag, void** handle);

/// Ends that. Does nothing without a core.
TARNWILLOW_API void Detach_Message_Listener(void* handle);

/// Hands `length` bytes to the core, with a code of the caller's own. The core copies what it needs
/// before this returns. Without a core it is logged under class 14. Halt_Logging does not stop it.
TARNWILLOW_API void Broadcast_Message(long code, char const* data, long length);

/// Starts the log writer: the program that the setting "__LogWriterApp" names, with this program's
/// file name as its argument. Where the settings cannot be opened it first tries to set up: it
/// stores the folder above the program's in "Root", and registers logscrb.exe and msgfanin.dll
/// beside the program, unless the process has medium integrity or less. The argument has no effect;
/// nothing tells of a failure.
TARNWILLOW_API void Run_Log_Writer_App(bool unused);

/// Characters of a log file's path with its terminator.
inline constexpr std::size_t kLogFileNameRoom = 256;

/// The path of the file of a log class, named by its number, in the folder that the setting
/// "__LogDirectory" names: "/var/log/notes/3.xml". `path` has room for kLogFileNameRoom characters.
/// False for a number that is no class, without the setting, if it is empty, or if the path does
/// not fit.
TARNWILLOW_API bool GetLogFileName(long log_class, char16_t* path);
TARNWILLOW_API bool GetLogFileName(long log_class, char16_t* path, char16_t const* extension);

/// Compares two time stamps of six numbers, "year.month.day.hour.minute.second", of which the first
/// difference decides: 1 if left is smaller, 2 if they are equal, 4 if left is larger. 0 if a text
/// is null or does not begin with six numbers.
TARNWILLOW_API int Compare_Time_Values(char const* left, char const* right);

}  // namespace tarnwillow
