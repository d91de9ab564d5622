// Cutting and rewriting text in place. The pieces point into the caller's text.
#pragma once

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// The next piece of the text given last, cut at any of the separators outside double quotes, which
/// stay in the piece. A text that is not null starts anew. Null when the text is used up, and
/// before the first one; null separators give the whole rest. No separator is skipped: ",a" gives
/// "" and "a". The position is one for the whole process: not for two users at a time.
TARNWILLOW_API char* smartok(char* text, char const* separators);
TARNWILLOW_API char16_t* wsmartok(char16_t* text, char16_t const* separators);

/// Replaces each tab, carriage return and space outside double quotes by `replacement`, or drops
/// them if that is zero. Line feeds are dropped everywhere. What this frees at the end of the text
/// is filled with zeros.
TARNWILLOW_API void Tokenize_Whitespace(char* text, char replacement);

/// Reads one option, a "/" and a name that runs to a space or tab, and the value behind it, which
/// may have spaces between double quotes. Both are cut out of `line`; what is not there is null.
/// Gives where to go on, null at the end. A null line is at its end.
TARNWILLOW_API char* Next_Cmdline_Option(char* line, char** option, char** value);

/// Changes the case of the ASCII letters between two equal marks of the set `quotes`; one left open
/// reaches to the end. A fault on the way (text that can't be written, say) ends the walk quietly.
TARNWILLOW_API void Prepare_Tokens(char16_t* text, char16_t const* quotes, bool to_upper);
TARNWILLOW_API void Prepare_Tokens(char* text, char const* quotes, bool to_upper);

}  // namespace tarnwillow
