// What changes the content of CSmartBuffer.
#include <algorithm>
#include <cstring>

#include "tarnwillow/text/CSmartBuffer.h"
#include "tarnwillow/text/bufferStorage.h"
#include "tarnwillow/text/plainText.h"

namespace tarnwillow {

namespace {

constexpr long kNotThere = -1;
template <class Char>
long byte_length(Char const* text) {
    return static_cast<long>(detail::length_of(text) * sizeof(Char));
}

}  // namespace

// Growth may move the storage away from under data that lies in it.
long CSmartBuffer::Write(void const* data, long count) {
    if (data == nullptr && count != 0) return E_INVALIDARG;
    const auto* from = static_cast<unsigned char const*>(data);
    const bool own = holds(from);
    const auto place = own ? from - Buffer : 0;
    if (const long result = Check_Size_Requirements(to_unsigned(count)); result != 0) return result;
    if (count != 0)
        std::memmove(Buffer + Current_Offset, own ? Buffer + place : from, to_unsigned(count));
    Current_Offset += static_cast<std::uint32_t>(count);
    End_Of_Data = std::max(End_Of_Data, Current_Offset);
    return 0;
}

long CSmartBuffer::Write(char const* text) {
    return text != nullptr ? Write(text, byte_length(text)) : E_INVALIDARG;
}

long CSmartBuffer::Write(char16_t const* text) {
    return text != nullptr ? Write(text, byte_length(text)) : E_INVALIDARG;
}

long CSmartBuffer::Write(CSmartBuffer& source, unsigned long count) {
    if (count == 0) return Write(source.Buffer, static_cast<long>(source.End_Of_Data));
    if (const long result = Check_Size_Requirements(count); result != 0) return result;
    const auto bytes = static_cast<long>(count);
    if (&source == this) return Read(Buffer + Current_Offset, bytes, true);
    const long result = source.Read(Buffer + Current_Offset, bytes, true);
    if (result != 0) return result;
    Current_Offset += static_cast<std::uint32_t>(count);
    End_Of_Data = std::max(End_Of_Data, Current_Offset);
    return 0;
}

long CSmartBuffer::Null_Terminate(bool advance) {
    if (const long result = Check_Size_Requirements(1); result != 0) return result;
    Buffer[Current_Offset] = 0;
    if (!advance) return 0;
    ++Current_Offset;
    End_Of_Data = std::max(End_Of_Data, Current_Offset);
    return 0;
}

long CSmartBuffer::Delete(long count) {
    if (count == 0) return 0;
    if (count < 0 || Current_Offset > End_Of_Data) return kNotThere;
    const unsigned long behind = End_Of_Data - Current_Offset;
    if (to_unsigned(count) > behind) return kNotThere;
    unsigned char* at = Buffer + Current_Offset;
    std::memmove(at, at + count, behind - to_unsigned(count));
    End_Of_Data -= static_cast<std::uint32_t>(count);
    return 0;
}

// Inserting.

// The capacity that holds `end` bytes, when each step gives two more than twice the last.
unsigned long CSmartBuffer::insert_capacity(unsigned long capacity, unsigned long end) {
    while (capacity < end)
        capacity = 2 * (capacity + 1);
    return capacity;
}

long CSmartBuffer::Insert(void const* data, long count) {
    if (data == nullptr && count != 0) return E_INVALIDARG;
    if (count < 0 || to_unsigned(count) > detail::kLargestStorage) return E_OUTOFMEMORY;
    if (count == 0 || !holds(data)) return insert_outside_data(data, count);
    const auto copy = detail::make_storage(to_unsigned(count));
    if (copy == nullptr) return E_OUTOFMEMORY;
    std::memcpy(copy.get(), data, to_unsigned(count));
    return insert_outside_data(copy.get(), count);
}

long CSmartBuffer::insert_outside_data(void const* data, long count) {
    const unsigned long capacity = insert_capacity(Max_Size, End_Of_Data + to_unsigned(count));
    if (capacity > Max_Size)
        if (const long result = grow_to(capacity); result != 0) return result;
    if (const long result = Check_Size_Requirements(to_unsigned(count)); result != 0) return result;
    if (Current_Offset < End_Of_Data) {
        unsigned char* at = Buffer + Current_Offset;
        std::memmove(at + count, at, End_Of_Data - Current_Offset);
    } else if (Current_Offset > End_Of_Data) {
        std::memset(Buffer + End_Of_Data, 0, Current_Offset - End_Of_Data);
    }
    End_Of_Data += static_cast<std::uint32_t>(count);
    return Write(data, count);
}

long CSmartBuffer::Insert(CSmartBuffer const* source) {
    if (source == nullptr) return E_INVALIDARG;
    return Insert(source->Buffer, static_cast<long>(source->End_Of_Data));
}

}  // namespace tarnwillow
