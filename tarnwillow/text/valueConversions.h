// Values as text and back: numbers, GUIDs, blocks of bytes, addresses, codes and identifiers.
//
// They check little. Bad text gives a value made of what is there, and the caller gives the room.
// Numbers are 32 bits wide: what does not fit wraps, `long` results are sign-extended and `unsigned
// long` results are not.
#pragma once

#include "tarnwillow/platform/api.h"
#include "tarnwillow/platform/ole.h"

namespace tarnwillow {

// Hexadecimal numbers.

/// Reads the whole text as one number that wraps. What is no digit counts its code minus 48: test
/// with Is_Hex where that matters. 0 for the empty text.
TARNWILLOW_API unsigned long HexStringToNum(char const* text);
TARNWILLOW_API unsigned long HexStringToNum(char16_t const* text);

/// Writes exactly `digits` small digits and a terminator: the low ones of `value`, with zeros in
/// front.
TARNWILLOW_API void NumToHex(unsigned long value, int digits, char* dest);
TARNWILLOW_API void NumToHex(unsigned long value, int digits, char16_t* dest);

// GUIDs.

/// 36 small characters with dashes, or 38 with braces around them unless `plain`, and a terminator.
TARNWILLOW_API void GUIDToString(_GUID const* guid, char* dest, bool plain);
TARNWILLOW_API void GUIDToString(_GUID const* guid, char16_t* dest, bool plain);

/// Reads either form. Braces and the characters at the places of the dashes are not looked at. All
/// zero for a text of another length, with fewer than 32 digits, null, or not in ASCII.
TARNWILLOW_API void StringToGUID(char const* text, _GUID* guid);
TARNWILLOW_API void StringToGUID(char16_t const* text, _GUID* guid);

// Blocks of bytes. A `count` below 0 is 0.

/// Two small digits for each byte of a terminated text, as many as fit into `size` bytes with a
/// terminator. The rest of the `size` bytes is zero.
TARNWILLOW_API void Generate_Hex_String(unsigned char const* text, char* dest, int size);
TARNWILLOW_API void Generate_Hex_String(char const* text, char* dest, int size);

/// Two small digits for each of `count` bytes, and no terminator.
TARNWILLOW_API void Generate_Hex_String(void const* data, char* dest, int count);

/// One byte for each pair of digits of a terminated text, as HexStringToNum reads it; at most
/// `size`. The rest of the `size` bytes is zero, so that a full `dest` has no terminator. A last
/// odd digit is dropped.
TARNWILLOW_API void Generate_Ascii_String(unsigned char const* hex, char* dest, int size);
TARNWILLOW_API void Generate_Ascii_String(char const* hex, char* dest, int size);

/// Two capital digits for each byte, and a terminator.
TARNWILLOW_API void ConvertDataToHexString(void const* data, int count, char* dest);

/// One byte for each pair of digits; a last odd one is a byte by itself, and so is the first of a
/// pair whose second is no digit. False at a pair that does not begin with a digit: what was stored
/// stays; and for a null pointer. Otherwise `*count`, if there is one, becomes half the length of
/// `hex`.
TARNWILLOW_API bool ConvertHexStringToData(char const* hex, void* dest, int* count);

/// Copies `count` bytes, with "." for control characters and for all that is not ASCII, and
/// terminates.
TARNWILLOW_API void ConvertDataReadableString(char const* data, int count, char* dest);

/// Eight characters "0" or "1" for each byte, and a terminator. Does nothing if a pointer is null.
TARNWILLOW_API void Generate_Binary_String(void const* data, int count, char* dest,
                                           bool low_bit_first);

// Addresses. Mind that reading puts the first field into the lowest byte, and writing takes it from
// the highest: "1.2.3.4" is read as 0x04030201, which is written as "4.3.2.1".

/// Four fields of up to three characters with dots between, each as decimal; a missing one is 0.
TARNWILLOW_API unsigned long AddressToLong(char const* text);
TARNWILLOW_API unsigned long AddressToLong(char16_t const* text);
TARNWILLOW_API int AddressToInt(char const* text);

/// The number of AddressToInt in decimal, up to 12 bytes; gives `dest`.
TARNWILLOW_API char* AddressToStrInt(char const* text, char* dest);

/// Four decimal fields, up to 16 units with the terminator; gives `dest`.
TARNWILLOW_API char* AddressToString(unsigned long address, char* dest);
TARNWILLOW_API char16_t* AddressToString(unsigned long address, char16_t* dest);

/// The same, and the six bytes of a MAC address as "01:23:45:67:89:AB", in text that nobody frees:
/// it stays until 300 further calls of the two, by all threads together. Any pointer may be given:
/// "INVALID MAC" if it leads nowhere.
TARNWILLOW_API char16_t const* IpAddressToString(unsigned long address);
TARNWILLOW_API char16_t const* MacAddressToString(unsigned char const* address);

// Four-character codes. The first character is the highest byte.

/// Five bytes, respectively units, with the terminator.
TARNWILLOW_API void Char_Code_To_String(long code, char* dest);
TARNWILLOW_API void FourCharIDToString(long id, char16_t* dest);

/// One leading single quote is skipped. A text that ends early is filled up with zeros.
TARNWILLOW_API long String_To_Char_Code(char const* text);

// Identifiers.

/// A row of a table that a row with a null String ends.
struct StringToIdentifierMapping {
    /// The text, which stays the table's owner's, and what it stands for.
    char16_t const* String;
    long Identifier;
};

/// Stores the identifier of the first row with that text, ignoring ASCII case. False, with nothing
/// stored, if there is none or a pointer leads nowhere.
TARNWILLOW_API bool String_To_Identifier(char16_t const* text, long* identifier,
                                         StringToIdentifierMapping const* table);

/// Copies the text of the first row with that identifier into `size` units and fills the rest with
/// zeros. A text of `size` units or more is cut and has no terminator. False if there is no such
/// row or a pointer leads nowhere.
TARNWILLOW_API bool Identifier_To_String(long identifier, char16_t* dest, int size,
                                         StringToIdentifierMapping const* table);

/// The text of the first row with that identifier, or of row `default_index`; null if that is no
/// row, or a pointer leads nowhere.
TARNWILLOW_API char16_t const* Identifier_To_Const_String(long identifier,
                                                          StringToIdentifierMapping const* table,
                                                          int default_index);

// Other values.

/// "true" or "false".
TARNWILLOW_API char16_t const* Get_Bool_Str(bool value);
template <class T>
char16_t const* Get_Bool_Str(T* value) = delete;

/// The channel of a Wi-Fi frequency in MHz, or in 100, 10 or 1 kHz, as its size tells. 0 for a
/// frequency outside both bands.
TARNWILLOW_API unsigned int ConvertWifiSpectrumToChannel(unsigned int frequency);

/// A number from `low` to `high`; once in 32,768 draws it is one above `high`. A range of more than
/// 65,536 numbers overflows the 32 bits of the arithmetic. Any thread; the host's own generator is
/// not touched.
TARNWILLOW_API long RangeRandom(long low, long high);

}  // namespace tarnwillow
