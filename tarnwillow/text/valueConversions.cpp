// Codes, identifiers and the other small values. Digits, GUIDs, addresses and random numbers have
// files of their own.
#include "tarnwillow/text/valueConversions.h"

#include <algorithm>
#include <cstdint>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

template <class Char>
void write_code(long code, Char* dest) {
    for (int shift = 24; shift >= 0; shift -= 8)
        *dest++ = static_cast<Char>((code >> shift) & 0xFF);
    *dest = 0;
}

using Row = StringToIdentifierMapping;

Row const* find_row(long identifier, Row const* table) {
    for (; table->String != nullptr; ++table)
        if (table->Identifier == identifier) return table;
    return nullptr;
}

bool store_identifier(char16_t const* text, long* identifier, Row const* table) {
    for (; table->String != nullptr; ++table) {
        if (wide::compare_no_case(table->String, text) != 0) continue;
        *identifier = table->Identifier;
        return true;
    }
    return false;
}

bool copy_string(long identifier, char16_t* dest, int size, Row const* table) {
    Row const* const row = find_row(identifier, table);
    if (row == nullptr) return false;
    const auto room = static_cast<std::size_t>(std::max(size, 0));
    const std::size_t length = wide::bounded_length(row->String, room);
    std::fill(std::copy_n(row->String, length, dest), dest + room, u'\0');
    return true;
}

char16_t const* string_or_default(long identifier, Row const* table, int default_index) {
    if (Row const* const row = find_row(identifier, table); row != nullptr) return row->String;
    if (default_index < 0) return nullptr;
    for (; default_index > 0 && table->String != nullptr; --default_index)
        ++table;
    return table->String;
}

struct Band {
    std::uint32_t first;  // MHz
    std::uint32_t last;
    std::uint32_t first_channel;
};

constexpr Band kBands[] = {{2412, 2462, 1}, {5180, 5805, 36}};
constexpr std::uint32_t kUnitsOfOneMegahertz[] = {1000, 100, 10, 1};

}  // namespace

void Char_Code_To_String(long code, char* dest) { write_code(code, dest); }
void FourCharIDToString(long id, char16_t* dest) { write_code(id, dest); }

long String_To_Char_Code(char const* text) {
    if (*text == '\'') ++text;
    std::uint32_t code = 0;
    for (int i = 0; i < 4; ++i)
        code = (code << 8) | static_cast<unsigned char>(*text != 0 ? *text++ : 0);
    return status(code);
}

bool String_To_Identifier(char16_t const* text, long* identifier,
                          StringToIdentifierMapping const* table) {
    return reporting_guard(
        ExceptionLevelHandled, u"String_To_Identifier",
        [&] { return store_identifier(not_null(text), identifier, not_null(table)); },
        [] { return false; });
}

bool Identifier_To_String(long identifier, char16_t* dest, int size,
                          StringToIdentifierMapping const* table) {
    return reporting_guard(
        ExceptionLevelHandled, u"Identifier_To_String",
        [&] { return copy_string(identifier, dest, size, not_null(table)); }, [] { return false; });
}

char16_t const* Identifier_To_Const_String(long identifier, StringToIdentifierMapping const* table,
                                           int default_index) {
    return reporting_guard(
        ExceptionLevelHandled, u"Identifier_To_Const_String",
        [&] { return string_or_default(identifier, not_null(table), default_index); },
        []() -> char16_t const* { return nullptr; });
}

char16_t const* Get_Bool_Str(bool value) { return value ? u"true" : u"false"; }

unsigned int ConvertWifiSpectrumToChannel(unsigned int frequency) {
    for (const Band& band : kBands)
        for (const std::uint32_t unit : kUnitsOfOneMegahertz)
            if (frequency >= band.first * unit && frequency <= band.last * unit)
                return (frequency / unit - band.first) / 5 + band.first_channel;
    return 0;
}

}  // namespace tarnwillow
