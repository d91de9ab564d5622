// Tables that tie the names of a script's world to native variables and identifiers, and the text
// that a script gets for a status.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/dispatch.h"

namespace tarnwillow {

/// How a property is stored (JScriptObjectMappings::kind).
inline constexpr std::uint32_t kMappedText = 0;     ///< char16_t[capacity + 1], zeroed beforehand
inline constexpr std::uint32_t kMappedNumber = 1;   ///< `long`
inline constexpr std::uint32_t kMappedBool = 2;     ///< `bool`
inline constexpr std::uint32_t kMappedAddress = 3;  ///< `unsigned long`, from "1.2.3.4"

/// One property and the variable that it is copied to. A table ends with a null name; a record of
/// any other kind is skipped.
struct JScriptObjectMappings {
    /// The property's name, where its value goes, and as which of the kinds above.
    char16_t const* name;
    void* destination;
    std::uint32_t kind;
    std::uint32_t capacity;  ///< of a text, in units without the terminator
};

/// One interface that scripts may name. A table ends with a null name.
struct InterfaceNameIDMapping {
    /// The name for scripts, and what it stands for. Both stay the table's owner's.
    char const* name;
    GUID const* identifier;
};

/// Finds an interface by its name, with case, or by its identifier as 36 characters with dashes in
/// either case, and stores the identifier. E_NOINTERFACE, with `out` left alone, for one that is
/// not in the table; E_INVALIDARG for a null pointer.
TARNWILLOW_API long Get_Script_Interface_ID(char const* text, InterfaceNameIDMapping const* table,
                                            GUID* out);

/// Makes `out`, whose former content is not cleared, a VT_BSTR that a script can test: "OK:" for 0,
/// "ERR:RESULT=" and a word, or a word and the number, for a failure.
TARNWILLOW_API void Set_Script_Result_Text(long status, VARIANT* out);

}  // namespace tarnwillow
