// The libraries that callers know by the name of a system library, and that are part of this one.
//
// Callers reach such procedures by name, as they would reach those of a library that may be
// missing. A library, or a procedure, is listed only if it exists here: what is not listed is
// answered as missing.
#pragma once

namespace tarnwillow::platform {

/// One procedure that can be reached by name.
struct SystemProcedure {
    char const* library;  ///< compared without ASCII case
    char const* name;     ///< compared with case
    void* address;
};

/// The first procedure listed for a library of that plain name, or null. A name with a folder in it
/// is never one of these: it means a file.
SystemProcedure const* find_system_library(char const* library);

/// Address of a procedure of that library, or null.
void* find_system_procedure(char const* library, char const* name);

}  // namespace tarnwillow::platform
