// The words that every header of the library relies on: what is exported, and the handle types.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__GNUC__)
#define TARNWILLOW_API __attribute__((visibility("default")))
#else
#define TARNWILLOW_API
#endif

namespace tarnwillow {

/// A wide character is one UTF-16 unit, whatever the compiler's own wide type is.
static_assert(sizeof(char16_t) == 2);

/// An object of the process's handle table (see handles.h). Never a pointer to follow.
using HANDLE = void*;

/// The other handles are pointer types of their own, so that overloads stay apart.
using HWND = struct HWND__*;
using HKEY = struct HKEY__*;
using HINSTANCE = struct HINSTANCE__*;

}  // namespace tarnwillow
