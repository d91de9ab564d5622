// Servers that register themselves: a dynamic library through its own entry, a program through a
// switch of its command line.
#pragma once

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Loads the library at `path`, calls its "DllRegisterServer" or "DllUnregisterServer" and unloads
/// it. The entry's own result; or the error number of the load, ERROR_MOD_NOT_FOUND;
/// E_INVALIDARG if there is no such entry; E_FAIL if it faults, which is reported.
TARNWILLOW_API long Register_DLL(char16_t const* path);
TARNWILLOW_API long Unregister_DLL(char16_t const* path);

/// Runs the program at `path` with the argument "/register" or "/unregister", and ends it by force
/// if it is not done within 10 seconds. Always 0, whatever came of it. A plain name is looked for
/// in $PATH, then in the working directory. Register_Executable does not start "regrun.exe", in any
/// case of its letters and without a folder: that one is there to run others.
TARNWILLOW_API long Register_Executable(char16_t const* path);
TARNWILLOW_API long Unregister_Executable(char16_t const* path);

}  // namespace tarnwillow
