#include "tarnwillow/text/CSmartBuffer.h"

#include <algorithm>
#include <cstring>
#include <functional>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/text/bufferStorage.h"

namespace tarnwillow {

CSmartBuffer::~CSmartBuffer() { detail::free_storage(Buffer, Max_Size); }

void CSmartBuffer::adopt(unsigned char* storage, std::uint32_t capacity) {
    detail::free_storage(Buffer, Max_Size);
    Buffer = storage;
    Max_Size = capacity;
}

long CSmartBuffer::Initialize(long size) {
    if (size < 0) return E_OUTOFMEMORY;
    adopt(nullptr, 0);
    Current_Offset = End_Of_Data = 0;
    const auto capacity = static_cast<unsigned long>(size);
    auto storage = detail::make_storage(capacity);
    if (storage == nullptr) return E_OUTOFMEMORY;
    if (capacity < detail::kMappedStorage) std::memset(storage.get(), 0, capacity);
    adopt(storage.release(), static_cast<std::uint32_t>(capacity));
    return 0;
}

long CSmartBuffer::Clear() {
    if (Buffer != nullptr) std::memset(Buffer, 0, Max_Size);
    Current_Offset = End_Of_Data = 0;
    return 0;
}

// Growth.

// What is new has undefined content, unless it is mapped: then it is zeros.
long CSmartBuffer::resize(unsigned long capacity) {
    if (Max_Size >= detail::kMappedStorage) return grow_mapped(capacity);
    if (capacity >= detail::kMappedStorage) return move_to_mapped(capacity);
    void* const grown = platform::resize_heap(Buffer, capacity);
    if (grown == nullptr) return E_OUTOFMEMORY;
    Buffer = static_cast<unsigned char*>(grown);
    Max_Size = static_cast<std::uint32_t>(capacity);
    return 0;
}

long CSmartBuffer::grow_mapped(unsigned long capacity) {
    if (capacity > detail::kLargestStorage) return E_OUTOFMEMORY;
    void* const grown = platform::grow_block(Buffer, Max_Size, capacity);
    if (grown == nullptr) return E_OUTOFMEMORY;
    Buffer = static_cast<unsigned char*>(grown);
    Max_Size = static_cast<std::uint32_t>(capacity);
    return 0;
}

long CSmartBuffer::move_to_mapped(unsigned long capacity) {
    auto storage = detail::make_storage(capacity);
    if (storage == nullptr) return E_OUTOFMEMORY;
    if (Buffer != nullptr) std::memcpy(storage.get(), Buffer, Max_Size);
    adopt(storage.release(), static_cast<std::uint32_t>(capacity));
    return 0;
}

// Where memory from the heap ends, which has no zeros of its own.
std::uint32_t CSmartBuffer::heap_end() const {
    return Max_Size < detail::kMappedStorage ? Max_Size : 0;
}

void CSmartBuffer::fill(std::uint32_t from, std::uint32_t to) {
    if (from < to) std::memset(Buffer + from, 0, to - from);
}

// The cursor may go to what is new before any data does.
long CSmartBuffer::grow_to(unsigned long capacity) {
    const std::uint32_t before = Max_Size;
    const long result = resize(capacity);
    fill(before, heap_end());
    return result;
}

unsigned long CSmartBuffer::capacity_for(unsigned long needed) const {
    return needed <= Max_Size - Current_Offset ? Max_Size
                                               : 2 * std::max<unsigned long>(needed, Max_Size);
}

long CSmartBuffer::Check_Size_Requirements(unsigned long needed) {
    if (needed > detail::kLargestStorage) return E_OUTOFMEMORY;
    const unsigned long capacity = capacity_for(needed);
    return capacity > Max_Size ? grow_to(capacity) : 0;
}

// Loading from a producer.

// Most of what is new is written over at once: only what is left of it in the end is filled.
long CSmartBuffer::Initialize_From_Callback(long initial_size, Producer producer, long user) {
    Unfilled unfilled{0, 0};
    const long result = reporting_guard(
        ExceptionLevelHandled, u"CSmartBuffer::Initialize_From_Callback",
        [&] { return load(initial_size, producer, user, unfilled); },
        [] { return DISP_E_EXCEPTION; });
    fill(std::max(unfilled.begin, End_Of_Data), unfilled.end);
    return result;
}

long CSmartBuffer::load(long initial_size, Producer producer, long user, Unfilled& unfilled) {
    if (const long result = Initialize(initial_size); result != 0) return result;
    unfilled.begin = Max_Size;
    long chunk = 0;
    if (!producer(0, nullptr, &chunk, user)) return 0;
    if (to_unsigned(chunk) > detail::kLargestStorage) return E_OUTOFMEMORY;
    for (bool more = true; more;) {
        const unsigned long capacity = capacity_for(to_unsigned(chunk));
        if (capacity > Max_Size)
            if (const long result = resize(capacity); result != 0) return result;
        unfilled.end = std::max(unfilled.end, heap_end());
        long written = 0;
        more = producer(1, Buffer + Current_Offset, &written, user);
        Current_Offset += accept(written);
        End_Of_Data = std::max(End_Of_Data, Current_Offset);
    }
    return 0;
}

// What a producer claims, as far as it can be true.
std::uint32_t CSmartBuffer::accept(long written) const {
    return static_cast<std::uint32_t>(std::clamp<long>(written, 0, Max_Size - Current_Offset));
}

// State.

char const* CSmartBuffer::Current_Ptr() const {
    return Buffer != nullptr ? start<char const>() + Current_Offset : nullptr;
}

char CSmartBuffer::Char_At_Current_Offset() const {
    return Current_Offset < Max_Size ? start<char const>()[Current_Offset] : char{0};
}

char16_t CSmartBuffer::Char_At_Current_OffsetW() const {
    char16_t unit = 0;
    if (Max_Size - Current_Offset >= sizeof unit)
        std::memcpy(&unit, Buffer + Current_Offset, sizeof unit);
    return unit;
}

bool CSmartBuffer::Is_Unicode_File() const {
    return Buffer != nullptr && Max_Size >= 4 && Buffer[0] == 0xFF && Buffer[1] == 0xFE;
}

bool CSmartBuffer::holds(void const* data) const {
    const auto* byte = static_cast<unsigned char const*>(data);
    const std::less<> before;
    return Buffer != nullptr && !before(byte, Buffer) && before(byte, Buffer + Max_Size);
}

}  // namespace tarnwillow
