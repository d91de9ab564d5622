// Dynamic libraries, opened by path and reached through the handle table.
#pragma once

#include <string>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Loads the library at `path` (UTF-8 or UTF-16). The plain name of a system library, in any case,
/// means the one that is built in (see systemLibraries.h); a path with a folder always means a
/// file. Null, with the last error ERROR_MOD_NOT_FOUND, if it cannot be loaded. Every success is
/// balanced by one FreeLibrary.
TARNWILLOW_API HINSTANCE LoadLibraryA(char const* path);
TARNWILLOW_API HINSTANCE LoadLibraryW(char16_t const* path);

/// Gives the library up. False, with ERROR_INVALID_HANDLE, for a value that is no loaded library.
TARNWILLOW_API bool FreeLibrary(HINSTANCE module);

/// Address of an exported procedure. Null, with ERROR_PROC_NOT_FOUND or ERROR_INVALID_HANDLE.
TARNWILLOW_API void* GetProcAddress(HINSTANCE module, char const* name);

/// Path of the file that a library was loaded from, or, for null, of the running program, from the
/// root on and in the case that the file system has. Cut at `size` - 1 bytes or units; gives the
/// length. 0 with an empty text, and the last error ERROR_INVALID_HANDLE, for a value that is no
/// loaded library and for a library that is built in; ERROR_MOD_NOT_FOUND if the system does not
/// tell. A null `out` and size 0 store nothing. For null it keeps off the heap and is safe in a
/// signal handler.
TARNWILLOW_API std::uint32_t GetModuleFileNameA(HINSTANCE module, char* out, std::uint32_t size);
TARNWILLOW_API std::uint32_t GetModuleFileNameW(HINSTANCE module, char16_t* out,
                                                std::uint32_t size);

namespace platform {

/// Another handle of the same loaded library, to be freed on its own. Null for a value that is no
/// loaded library, or without memory.
HINSTANCE share_module(HINSTANCE module);

/// The same path as a text of its own, however long. May throw std::bad_alloc.
std::string module_path(HINSTANCE module);

}  // namespace platform

}  // namespace tarnwillow
