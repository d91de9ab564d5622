// Events: flags that threads of this process wait for.
#pragma once

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// A new event, which goes with its last handle. One with `manual_reset` stays set until
/// ResetEvent; any other is reset by the one wait that it ends. Events have no names here: with a
/// name the result is null and the last error ERROR_NOT_SUPPORTED. Null with
/// ERROR_NOT_ENOUGH_MEMORY, too. `attributes` is not looked at.
TARNWILLOW_API HANDLE CreateEventA(void const* attributes, bool manual_reset, bool set,
                                   char const* name);
TARNWILLOW_API HANDLE CreateEventW(void const* attributes, bool manual_reset, bool set,
                                   char16_t const* name);

/// Any thread. False, with ERROR_INVALID_HANDLE, for a value that is no open event.
TARNWILLOW_API bool SetEvent(HANDLE event);
TARNWILLOW_API bool ResetEvent(HANDLE event);

}  // namespace tarnwillow
