// One-line texts of automation values, for the log.
#pragma once

#include "tarnwillow/platform/api.h"
#include "tarnwillow/platform/dispatch.h"

namespace tarnwillow {

/// Characters that a text of GetDebugVariantString needs at most, terminator included.
inline constexpr int kDebugTextRoom = 1024;

/// Writes the value's text to `out`, which has room for kDebugTextRoom characters: a string's first
/// 255 characters in double quotes, with "%" spelt "<<PC>>"; "true" or "false"; "[Object]",
/// "[Unknown]", "[Null]" or "[Empty]"; else what VariantChangeType makes of it. 0; E_INVALIDARG,
/// with nothing written, for a null pointer; for a value that has no text the failure's status, and
/// the number of its type in braces; DISP_E_TYPEMISMATCH after a fault.
TARNWILLOW_API long GetDebugVariantString(VARIANT const* value, char16_t* out);

/// Appends the texts of the arguments, in the order of the call, parted by commas. A text that
/// would bring `out` to `max` characters is left out. Commas are not counted: `out` has room for
/// `max` characters and one more for each argument. A fault ends the list.
TARNWILLOW_API void GetDebugParametersString(DISPPARAMS const* params, char16_t* out, int max);

}  // namespace tarnwillow
