// Component servers in the settings store, and calls with the administrator's rights.
//
// A server is known by its class, a GUID, and by two names that scripts use: the ProgID of one
// version ("Notes.Reader.1") and the one that stands for the newest ("Notes.Reader"). All of that
// lies under HKEY_CLASSES_ROOT. A server's own way to register is in selfRegistration.h.
//
// The calls run in the caller's thread, which waits as long as they tell. Nothing throws.
#pragma once

#include "tarnwillow/diagnostics/selfRegistration.h"
#include "tarnwillow/platform/api.h"
#include "tarnwillow/platform/ole.h"
#include "tarnwillow/platform/registry.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

/// Writes the keys of a server that is loaded from `module`'s file, which is the program for null.
/// A name that is null or empty gets no key. Always 0: whether the store took the keys is not told.
TARNWILLOW_API long RegisterServer(HINSTANCE module, GUID const& server_class,
                                   char const* friendly_name, char const* independent_prog_id,
                                   char const* prog_id);

/// Adds the icon and the command "open" to a registered class: the command is `command_prefix`, the
/// class in braces and ",%1", with nothing in between. Always 0; does nothing for a class that is
/// not registered.
TARNWILLOW_API long RegisterShellExtension(HINSTANCE module, GUID const& server_class,
                                           char const* command_prefix, char const* menu_text);

/// Deletes the class's key and those of both names, each with all below it. A key that is not there
/// is no failure, and a name that is null or empty is passed over. 0, or the error number of the
/// first deletion that failed; the others are tried all the same.
TARNWILLOW_API long UnregisterServer(GUID const& server_class, char const* independent_prog_id,
                                     char const* prog_id);

/// Has elevrun.exe, from the folder that the setting "Bin" names, run a command with the
/// administrator's rights. `command_line` is taken apart as argumentText.h tells. With `wait` it
/// waits up to 60 seconds for the end, however that comes. True if elevrun.exe was started; logged
/// under class 14 either way.
TARNWILLOW_API bool Administrator_Call(char const* command_line, bool wait);

}  // namespace tarnwillow
