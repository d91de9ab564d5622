// Small operations on terminated texts, alike for both widths unless only one is there. They work
// in place, keep no state and are safe from any thread on texts of its own. The caller answers for
// the room and for pointers that are not null, except where a comment says more.
//
// White space is space, tab, carriage return and line feed. "Ignoring case" folds the ASCII
// letters.
#pragma once

#include "tarnwillow/platform/api.h"
#include "tarnwillow/platform/ole.h"

namespace tarnwillow {

// Searching and comparing.

/// The first match ignoring case, in `text` itself, or null. An empty `find` is found at once.
TARNWILLOW_API char* strstr_ncs(char const* text, char const* find);
TARNWILLOW_API char16_t* wcsstr_ncs(char16_t const* text, char16_t const* find);

/// Ignoring case. Every text begins with the empty one.
TARNWILLOW_API bool String_Begins_With(char const* text, char const* prefix);

/// Index of the first equal entry of a list that a null ends, or -1; also -1 when the text or the
/// list cannot be read.
TARNWILLOW_API int Which_String(char16_t const* text, char16_t const* const* list, bool match_case);

/// Whether an entry of a list that a null ends is equal.
TARNWILLOW_API bool String_In_Set(char16_t const* text, char16_t const* const* list,
                                  bool match_case);

// Character sets. The terminator belongs to no set.

TARNWILLOW_API bool Contains_Char(char const* text, char const* set);
TARNWILLOW_API bool Contains_Char(char16_t const* text, char16_t const* set);

/// The character itself if it is in the set, else 0.
TARNWILLOW_API char Char_In_Set(char c, char const* set);
TARNWILLOW_API char16_t WChar_In_Set(char16_t c, char16_t const* set);

TARNWILLOW_API bool CharIsNotOneOf(char c, char const* set);

// Removing.

/// Removes the first occurrence; false if there is none.
TARNWILLOW_API bool Strip_String(char* text, char const* what);
TARNWILLOW_API bool Strip_String(char16_t* text, char16_t const* what);

/// These three remove the character wherever it stands.
TARNWILLOW_API void Strip_Quotes(char* text);
TARNWILLOW_API void Strip_Quotes(char16_t* text);
TARNWILLOW_API void Strip_Single_Quotes(char* text);
TARNWILLOW_API void Strip_Single_Quotes(char16_t* text);
TARNWILLOW_API void Strip_Char(char* text, char c);

/// Removes white space outside double quotes. The quotes stay; one left open protects the rest.
TARNWILLOW_API void Strip_Whitespace(char* text);
TARNWILLOW_API void Strip_Whitespace(char16_t* text);

/// Removes white space at one end. At the end, the text's first character always stays.
TARNWILLOW_API void Trim_White_Space(char* text, bool at_end);
TARNWILLOW_API void Trim_White_Space(char16_t* text, bool at_end);

// Replacing and wrapping.

/// Replaces the first occurrence. False, with `text` unchanged, if there is none, without memory,
/// or if the length of `text` and the longer of the other two together exceed `limit`: that is a
/// bound on the room needed, not the length of the result. False too if the terminator would not
/// fit within `limit`. -1 says that there is room.
TARNWILLOW_API bool Replace_String(char* text, char const* find, char const* replacement,
                                   int limit);
TARNWILLOW_API bool Replace_String(char16_t* text, char16_t const* find,
                                   char16_t const* replacement, int limit);

/// Puts a double quote in front and one behind, whatever stands there. Needs room for two more.
TARNWILLOW_API void Quote_String(char* text);
TARNWILLOW_API void Quote_String(char16_t* text);

// The last component.

/// What stands behind the last separator that is not the text's first character; the whole text if
/// there is none. With `keep` false the separator becomes a terminator and cuts the text in two.
TARNWILLOW_API char* Tail_String(char* text, char separator, bool keep);
TARNWILLOW_API char16_t* Tail_String(char16_t* text, char16_t separator, bool keep);
TARNWILLOW_API char* Tail_String(char const* text, char separator);
TARNWILLOW_API char16_t* Tail_String(char16_t const* text, char16_t separator);

// Tests and sizes.

/// Only digits of that base, with no sign. True for the empty text.
TARNWILLOW_API bool Is_Hex(char const* text);
TARNWILLOW_API bool Is_Hex(char16_t const* text);
TARNWILLOW_API bool Is_Number(char const* text);
TARNWILLOW_API bool Is_Number(char16_t const* text);

/// Bytes with the terminator.
TARNWILLOW_API int Str_Buffer_Len(char const* text);
TARNWILLOW_API int Str_Buffer_Len(char16_t const* text);

/// Line feeds + 1; 0 for null.
TARNWILLOW_API int Count_Lines(char const* text);

// Escapes.

/// Undoes percent escapes and the entities "&amp;", "&lt;" and "&gt;" in place. The result ends
/// behind `size` units, and at the first escape that gives a zero: a "%" at the very end is one.
/// Never writes past the terminator of the text. A negative `size` changes nothing.
TARNWILLOW_API void Url_Unescape(char* text, int size);
TARNWILLOW_API void Url_Unescape(char16_t* text, int size);

/// Makes foreign text safe as a format string: unescapes it and doubles each single "%". `text`
/// must have room for `size` + 1 units; what does not fit is cut, a "%" never apart from its twin.
/// Without memory the text is only unescaped.
TARNWILLOW_API void Prepare_Log_String(char* text, int size);
TARNWILLOW_API void Prepare_Log_String(char16_t* text, int size);

// The shell's string form.

/// Turns `source` into narrow text in `size` bytes, terminator included, and frees the text that
/// source owns. 0, E_OUTOFMEMORY if it does not fit (source is then unchanged), E_NOTIMPL for an
/// offset, E_INVALIDARG for a type that is none and for a null pointer.
TARNWILLOW_API long DM_StrRetToStr(STRRET* source, char* dest, int size);

}  // namespace tarnwillow
