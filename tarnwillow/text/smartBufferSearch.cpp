// The cursor of CSmartBuffer, and its searches.
#include <algorithm>
#include <cstring>

#include "tarnwillow/platform/search.h"
#include "tarnwillow/platform/wideText.h"
#include "tarnwillow/text/CSmartBuffer.h"

namespace tarnwillow {

using platform::NarrowSearch;
using platform::NarrowSearchNoCase;
using platform::WideSearch;
using platform::WideSearchNoCase;

namespace {

constexpr long kNoMatch = -1;

}  // namespace

long CSmartBuffer::Move_To(unsigned long offset) {
    if (offset > Max_Size) return kNoMatch;
    Current_Offset = static_cast<std::uint32_t>(offset);
    return 0;
}

long CSmartBuffer::Move_From_Offset(long delta) {
    const long from = Current_Offset;
    if (delta < -from || delta > static_cast<long>(Max_Size) - from) return kNoMatch;
    return Move_To(static_cast<unsigned long>(from + delta));
}

long CSmartBuffer::scan_start(bool from_start, bool skip_current, unsigned unit) const {
    if (from_start) return 0;
    return static_cast<long>(Current_Offset) + (skip_current ? unit : 0);
}

template <class Search>
long CSmartBuffer::search(Search const& pattern, bool from_start, bool skip_current) {
    constexpr unsigned unit = sizeof(typename Search::unit_type);
    const long from = scan_start(from_start, skip_current, unit);
    if (from > static_cast<long>(End_Of_Data)) return kNoMatch;
    const std::size_t units = (End_Of_Data - static_cast<unsigned long>(from)) / unit;
    const std::size_t index = pattern.find(Buffer + from, units);
    if (index == platform::kNotFound) return kNoMatch;
    return Move_To(static_cast<unsigned long>(from) + index * unit);
}

long CSmartBuffer::Move_To(char const* text, bool from_start, bool skip_current) {
    if (Is_Unicode) return E_UNEXPECTED;
    if (text == nullptr) return E_INVALIDARG;
    return search(NarrowSearch(text, std::strlen(text)), from_start, skip_current);
}

long CSmartBuffer::Move_To(unsigned char const* bytes, int length, bool from_start,
                           bool skip_current) {
    if (Is_Unicode) return E_UNEXPECTED;
    if (length < 0) return kNoMatch;
    if (bytes == nullptr && length > 0) return E_INVALIDARG;
    return search(NarrowSearch(bytes, static_cast<std::size_t>(length)), from_start, skip_current);
}

long CSmartBuffer::Move_To(char16_t const* text, bool from_start, bool skip_current) {
    if (!Is_Unicode) return E_UNEXPECTED;
    if (text == nullptr) return E_INVALIDARG;
    return search(WideSearch(text, wide::length(text)), from_start, skip_current);
}

long CSmartBuffer::Move_To_NCS(char const* text, bool from_start, bool skip_current) {
    if (Is_Unicode) return E_UNEXPECTED;
    if (text == nullptr) return E_INVALIDARG;
    return search(NarrowSearchNoCase(text, std::strlen(text)), from_start, skip_current);
}

long CSmartBuffer::Move_To_NCS(char16_t const* text, bool from_start, bool skip_current) {
    if (!Is_Unicode) return E_UNEXPECTED;
    if (text == nullptr) return E_INVALIDARG;
    return search(WideSearchNoCase(text, wide::length(text)), from_start, skip_current);
}

// The first occurrence behind the byte at the cursor that starts at or before `last`; or -1. It
// looks no further than such an occurrence could reach.
long CSmartBuffer::find_behind_cursor(char const* text, unsigned long last) const {
    const unsigned long from = Current_Offset + 1UL;
    if (from > last || last > End_Of_Data) return kNoMatch;
    const NarrowSearch pattern(text, std::strlen(text));
    const unsigned long end = std::min<unsigned long>(End_Of_Data, last + pattern.length());
    const std::size_t index = pattern.find(Buffer + from, end - from);
    return index == platform::kNotFound ? kNoMatch : static_cast<long>(from + index);
}

long CSmartBuffer::Move_To_One_Of(char const* const* list, char const* stop_at, int* which) {
    if (list == nullptr) return E_INVALIDARG;
    if (Is_Unicode) return ERROR_NOT_FOUND;
    long limit = End_Of_Data;
    if (stop_at != nullptr && stop_at[0] != 0) limit = find_behind_cursor(stop_at, End_Of_Data);
    if (limit < 0) return ERROR_NOT_FOUND;
    for (int index = 0; list[index] != nullptr; ++index) {
        const long found = find_behind_cursor(list[index], static_cast<unsigned long>(limit));
        if (found < 0) continue;
        if (which != nullptr) *which = index;
        return Move_To(static_cast<unsigned long>(found));
    }
    return ERROR_NOT_FOUND;
}

}  // namespace tarnwillow
