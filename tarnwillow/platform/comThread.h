// Whether a thread is set up for automation objects.
//
// Threads of this system need no apartment for them. The pair below keeps the count that callers
// rely on, and tells a host whose script engine has to be attached to each thread.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// 0 for the first call of the thread, 1 (done already) for later ones. Each call is balanced by
/// one CoUninitialize. `reserved` is not looked at.
TARNWILLOW_API std::int32_t CoInitialize(void* reserved);
TARNWILLOW_API void CoUninitialize();

/// Runs in a thread at its first CoInitialize, with true, and at the CoUninitialize that balances
/// it, with false.
using ComThreadHook = void (*)(bool entering);

/// Sets the hook, null for none; gives back the one before.
TARNWILLOW_API ComThreadHook Set_COM_Thread_Hook(ComThreadHook hook);

}  // namespace tarnwillow
