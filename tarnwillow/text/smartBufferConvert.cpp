// CSmartBuffer between UTF-8 and UTF-16.
//
// A conversion takes the whole capacity, in pieces that are cut where the data ends and where the
// cursor stands, so that both are known again on the other side.
#include <algorithm>

#include "tarnwillow/platform/codepage.h"
#include "tarnwillow/platform/wideText.h"
#include "tarnwillow/text/CSmartBuffer.h"
#include "tarnwillow/text/bufferStorage.h"

namespace tarnwillow {

using platform::Conversion;
using platform::narrow_to_wide;
using platform::wide_to_narrow;
using platform::wide_to_narrow_length;

namespace {

// What a conversion of nothing gives.
constexpr long kNothingToConvert = E_INVALIDARG;

// Whether the bytes, at most 4, are one character, or one broken stretch that stands for one.
bool is_one_character(const char* bytes, unsigned long count) {
    char16_t units[4];
    return narrow_to_wide(bytes, count, units, 4).written == 1 || wide::is_high_surrogate(units[0]);
}

// The first byte of the character that the byte `at`, not below `floor`, belongs to.
unsigned long character_start(const char* text, unsigned long floor, unsigned long at) {
    for (unsigned long back = 3; back > 0; --back)
        if (floor + back <= at && is_one_character(text + at - back, back + 1)) return at - back;
    return at;
}

// The same for a unit.
unsigned long character_start(const char16_t* text, unsigned long floor, unsigned long at) {
    const bool inside =
        at > floor && wide::is_low_surrogate(text[at]) && wide::is_high_surrogate(text[at - 1]);
    return inside ? at - 1 : at;
}

// Where the characters at the cursor and at the end of the data stand, in units of the source or of
// the result.
struct Places {
    unsigned long cursor;
    unsigned long end;

    unsigned long first() const { return std::min(cursor, end); }
    unsigned long second() const { return std::max(cursor, end); }
};

// A cursor inside a character goes to its start, but never across the end of the data.
template <class Char>
Places find_places(const Char* text, unsigned long cursor, unsigned long end, unsigned long total) {
    const unsigned long floor = cursor > end ? end : 0;
    if (cursor != end && cursor < total) cursor = character_start(text, floor, cursor);
    return {cursor, end};
}

// Converts by pieces up to both places and then the rest, as far as there is room, and zeros what
// stays. Gives the places in the result.
template <class From, class To>
Places convert_all(const From* text, Places places, unsigned long total, To* dest,
                   unsigned long room,
                   Conversion (*convert)(const From*, std::size_t, To*, std::size_t)) {
    const unsigned long cuts[] = {places.first(), places.second(), total};
    unsigned long marks[3];
    unsigned long from = 0, written = 0;
    for (int i = 0; i < 3; ++i) {
        written += convert(text + from, cuts[i] - from, dest + written, room - written).written;
        marks[i] = written;
        from = cuts[i];
    }
    std::fill(dest + written, dest + room, To{0});
    if (places.cursor <= places.end) return {marks[0], marks[1]};
    return {marks[1], marks[0]};
}

}  // namespace

long CSmartBuffer::Convert_To_Unicode() {
    if (Max_Size == 0) return kNothingToConvert;
    const unsigned long capacity = 2UL * Max_Size;
    auto storage = detail::make_storage(capacity);
    if (storage == nullptr) return E_OUTOFMEMORY;
    const char* text = start<char const>();
    const Places now = find_places(text, Current_Offset, End_Of_Data, Max_Size);
    auto* units = reinterpret_cast<char16_t*>(storage.get());
    const Places then = convert_all(text, now, Max_Size, units, Max_Size, narrow_to_wide);
    adopt(storage.release(), static_cast<std::uint32_t>(capacity));
    Current_Offset = static_cast<std::uint32_t>(2 * then.cursor);
    End_Of_Data = static_cast<std::uint32_t>(2 * then.end);
    return 0;
}

long CSmartBuffer::Convert_To_Asci() {
    const unsigned long mark = Is_Unicode_File() ? 1 : 0;
    const unsigned long total = Max_Size / 2 - mark;
    if (total == 0) return kNothingToConvert;
    const char16_t* units = start<char16_t const>() + mark;
    const auto behind_mark = [mark](unsigned long offset) {
        return std::max(offset / 2, mark) - mark;
    };
    const Places now =
        find_places(units, behind_mark(Current_Offset), behind_mark(End_Of_Data), total);
    const unsigned long needed =
        wide_to_narrow_length(units, now.first()) +
        wide_to_narrow_length(units + now.first(), now.second() - now.first());
    const unsigned long capacity = std::max((Max_Size + 1UL) / 2 + 2, needed);
    auto storage = detail::make_storage(capacity);
    if (storage == nullptr) return E_OUTOFMEMORY;
    auto* text = reinterpret_cast<char*>(storage.get());
    const Places then = convert_all(units, now, total, text, capacity, wide_to_narrow);
    adopt(storage.release(), static_cast<std::uint32_t>(capacity));
    Current_Offset = static_cast<std::uint32_t>(then.cursor);
    End_Of_Data = static_cast<std::uint32_t>(then.end);
    return 0;
}

}  // namespace tarnwillow
