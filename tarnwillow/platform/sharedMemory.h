// Memory that processes share by a name.
#pragma once

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Maps the section of that name, and makes it first, all zeros, if no process has it: a section
/// goes with its last user, however that ends. Every account may open it. The result is `size`
/// bytes, at the start of a page, that hold until UnmapViewOfFile. `*mapping`, if there is one,
/// becomes a handle of the section for CloseHandle. Each of the two makes the process a user; a
/// forked child is one itself.
///
/// The last error is set to 0 for a section made here, and to ERROR_ALREADY_EXISTS (183) for one
/// that there was. Between finding that out and the return nothing is held: a caller that fills a
/// new section keeps the others out by a mutex of its own.
///
/// Throws `long` E_OUTOFMEMORY for every failure: no memory, no access, or a section of that name
/// that is smaller.
TARNWILLOW_API void* CreateSharedMemory(unsigned long size, char const* name, HANDLE* mapping);

/// Gives a view back. False, with the last error ERROR_INVALID_ADDRESS, for what is no view.
TARNWILLOW_API bool UnmapViewOfFile(void const* view);

}  // namespace tarnwillow
