// What CSmartBuffer copies out.
#include <algorithm>
#include <cstring>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/text/CSmartBuffer.h"

namespace tarnwillow {

namespace {

constexpr long kNotThere = -1;
constexpr int kCarriageReturn = 13;
constexpr int kLineFeed = 10;

// Bytes from `from` up to the first `wanted`, without it; all of them if there is none.
unsigned long length_before(unsigned char const* from, unsigned long length, int wanted) {
    if (length == 0) return 0;
    const auto* found = static_cast<unsigned char const*>(std::memchr(from, wanted, length));
    return found != nullptr ? static_cast<unsigned long>(found - from) : length;
}

// Bytes of the line ending at `from`: none if the capacity ends there.
unsigned long line_ending(unsigned char const* from, unsigned long rest) {
    if (rest == 0) return 0;
    return rest > 1 && from[1] == kLineFeed ? 2 : 1;
}

}  // namespace

long CSmartBuffer::Read(void* dest, long count, bool advance) {
    if (count < 0 || Current_Offset > End_Of_Data) return kNotThere;
    if (to_unsigned(count) > End_Of_Data - Current_Offset) return kNotThere;
    if (count == 0) return 0;
    if (dest == nullptr) return E_INVALIDARG;
    std::memmove(dest, Buffer + Current_Offset, to_unsigned(count));
    if (advance) Current_Offset += static_cast<std::uint32_t>(count);
    return 0;
}

long CSmartBuffer::Read_To(void* dest, long* count, char delimiter, bool advance) {
    if (count == nullptr || (dest == nullptr && *count > 0)) return E_INVALIDARG;
    const unsigned long data = End_Of_Data > Current_Offset ? End_Of_Data - Current_Offset : 0;
    const unsigned long room = to_unsigned(std::max(*count, 0L));
    const unsigned long limit = std::min(data, room);
    if (limit == 0) return room == 0 ? ERROR_INSUFFICIENT_BUFFER : ERROR_NOT_FOUND;
    unsigned char const* from = Buffer + Current_Offset;
    const unsigned long before = length_before(from, limit, static_cast<unsigned char>(delimiter));
    const bool found = before < limit;
    const unsigned long copied = found ? before + 1 : limit;
    std::memmove(dest, from, copied);
    if (!found) return room <= data ? ERROR_INSUFFICIENT_BUFFER : ERROR_NOT_FOUND;
    *count = static_cast<long>(copied);
    if (advance) Current_Offset += static_cast<std::uint32_t>(copied);
    return 0;
}

long CSmartBuffer::Next_Line(void* dest, long* size, bool advance) {
    if (Current_Offset >= Max_Size) return kNotThere;
    unsigned char const* from = Buffer + Current_Offset;
    const unsigned long rest = Max_Size - Current_Offset;
    const unsigned long limit = size != nullptr ? to_unsigned(std::max(*size, 0L)) : rest;
    // No further than the limit is looked at, unless the line is only skipped.
    const unsigned long reach = dest != nullptr ? std::min(limit, rest) : rest;
    const unsigned long line = length_before(from, reach, kCarriageReturn);
    const unsigned long copied = dest != nullptr ? line : 0;
    if (copied != 0) std::memmove(dest, from, copied);
    if (copied == limit) return ERROR_INSUFFICIENT_BUFFER;
    const unsigned long ending = line_ending(from + line, rest - line);
    if (dest != nullptr) static_cast<unsigned char*>(dest)[copied] = 0;
    if (size != nullptr) *size = static_cast<long>(copied);
    if (advance) Current_Offset += static_cast<std::uint32_t>(line + ending);
    return 0;
}

// By offset, without the cursor.

// A range outside the storage ends like the fault that reading it would be.
long CSmartBuffer::copy_out(unsigned long from, long count, char* dest) const {
    if (from > Max_Size || count < 0 || to_unsigned(count) > Max_Size - from) throw E_INVALIDARG;
    if (count != 0) std::memmove(not_null(dest), Buffer + from, to_unsigned(count));
    return 0;
}

long CSmartBuffer::Head(int count, char* dest) const {
    return reporting_guard(
        ExceptionLevelHandled, u"CSmartBuffer::Head", [&] { return copy_out(0, count, dest); },
        [] { return E_INVALIDARG; });
}

long CSmartBuffer::Mid(int from, int count, char* dest) const {
    return reporting_guard(
        ExceptionLevelHandled, u"CSmartBuffer::Mid",
        [&] { return copy_out(to_unsigned(from), count, dest); }, [] { return E_INVALIDARG; });
}

long CSmartBuffer::Tail(int count, char* dest) const {
    const unsigned long from = End_Of_Data - to_unsigned(count);
    return reporting_guard(
        ExceptionLevelHandled, u"CSmartBuffer::Tail", [&] { return copy_out(from, count, dest); },
        [] { return E_INVALIDARG; });
}

}  // namespace tarnwillow
