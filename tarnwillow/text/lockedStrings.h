// Short texts that do not lie about in the clear: a fixed transform of their bytes, which anybody
// who reads this can undo. It hides texts from a search through a file and is no encryption.
//
// Byte i of a text becomes (byte XOR 0x6B), rotated left by i mod 8 bits. A byte 0x6B locks to
// zero, so a terminator does not measure a locked text: keep its length, or its hexadecimal form.
#pragma once

#include <cstddef>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Locks in place, up to the terminator, which stays.
TARNWILLOW_API void Lock_String(unsigned char* text);

/// Unlocks `length` bytes in place; with `length` 0 up to the first zero byte.
TARNWILLOW_API void Unlock_String(unsigned char* text, unsigned long length);

/// The wide forms, up to the terminator. They work on the low 8 bits: locked units are below 256,
/// and only units below 256 come back.
TARNWILLOW_API void Lock_String(char16_t* text);
TARNWILLOW_API void Unlock_String(char16_t* text);

/// The locked form of `text` as two capital hexadecimal digits for each byte, and a terminator:
/// `dest` has room for twice the length and one more. `dest` stays untouched for a null text and
/// without memory.
TARNWILLOW_API void ProtectString(char const* text, char* dest);

/// The other way round, into a `dest` of zeros with room for half the length of `text`, rounded up,
/// and one more: no terminator is stored. What is no hexadecimal digit ends the text.
TARNWILLOW_API void UnprotectString(char const* text, char* dest);

/// One text of a table. The layout is shared with the tools that write such tables.
struct alignas(char16_t) LockedStringTable {
    /// Bytes of a text with its terminator.
    static constexpr std::size_t kTextSize = 5000;

    unsigned char Unlocked;  ///< 0 while Text is locked
    /// Has no meaning.
    unsigned char Reserved;
    unsigned char Text[kTextSize];  ///< locked and narrow at first, then wide; terminated
};
static_assert(sizeof(LockedStringTable) == 5002 && offsetof(LockedStringTable, Text) == 2);

/// The text of a record, of at most 2,498 units, as wide text in the record itself. The first use
/// rewrites the record: callers that share a table serialise the first use of each record. A text
/// too long for its record gives an empty one.
TARNWILLOW_API char16_t const* Get_Locked_String(LockedStringTable* table, int index);

}  // namespace tarnwillow
