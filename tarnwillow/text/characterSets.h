// Terminated text from one width to the other. Narrow text is UTF-8; what is broken in either width
// becomes U+FFFD and is no failure.
#pragma once

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Converts `source` with its terminator into `dest_size` bytes at `dest`. Null is an empty text.
/// Gives 0, E_OUTOFMEMORY if `source` has more units than `dest_size`, or
/// HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER) if its bytes or the terminator do not fit; a
/// failure leaves an empty text. With `dest` null: the length of `source` in units, which is its
/// length in bytes for ASCII text only.
TARNWILLOW_API long UnicodeToAnsi(char16_t const* source, char* dest, int dest_size);

/// Converts `source` with its terminator into `dest_size` units at `dest`. Null is an empty text.
/// Gives 0, or HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER) and an empty text. With `dest` null:
/// twice the byte length of `source`, bytes in which the wide text fits without its terminator.
TARNWILLOW_API long AnsiToUnicode(char const* source, char16_t* dest, int dest_size);

}  // namespace tarnwillow
