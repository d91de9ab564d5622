// Text made ready for a place with rules of its own. The result stands in a slot of a ring of 1024
// slots of 2,048 bytes that all threads share: nobody frees it, and it holds until 1024 further
// results have been given, by any encoder in any thread. So it is for immediate use, such as an
// argument of one log line.
//
// What does not fit into a slot is cut there, in front of the entity or the character that does not
// fit whole. Null is an empty text. None of these can fail.
#pragma once

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// The first 1,023 units of `text`, less a character that they would cut in two, with "&quot;",
/// "&amp;", "&lt;" and "&gt;" for the characters that XML reserves. The single quote stays, and a
/// "&" that begins an entity already is replaced like any other.
TARNWILLOW_API char16_t const* Encode_For_XML(char16_t const* text);
TARNWILLOW_API char const* Encode_For_XML(char const* text);

/// `text` with "/" for each backslash, and one "/" for two backslashes in a row: three give two.
TARNWILLOW_API char const* Encode_Path(char const* text);

}  // namespace tarnwillow
