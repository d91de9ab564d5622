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

// What lies beyond the old capacity is zeroed: the cursor may go there before any data does.
long CSmartBuffer::grow_to(unsigned long capacity) {
    if (Max_Size >= detail::kMappedStorage) return grow_mapped(capacity);
    auto storage = detail::make_storage(capacity);
    if (storage == nullptr) return E_OUTOFMEMORY;
    if (Buffer != nullptr) std::memcpy(storage.get(), Buffer, Max_Size);
    if (capacity < detail::kMappedStorage)
        std::memset(storage.get() + Max_Size, 0, capacity - Max_Size);
    adopt(storage.release(), static_cast<std::uint32_t>(capacity));
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

long CSmartBuffer::Check_Size_Requirements(unsigned long needed) {
    if (needed <= Max_Size - Current_Offset) return 0;
    if (needed > detail::kLargestStorage) return E_OUTOFMEMORY;
    return grow_to(2 * std::max<unsigned long>(needed, Max_Size));
}

// Loading from a producer.

long CSmartBuffer::Initialize_From_Callback(long initial_size, Producer producer, long user) {
    return reporting_guard(
        ExceptionLevelHandled, u"CSmartBuffer::Initialize_From_Callback",
        [&] { return load(initial_size, producer, user); }, [] { return DISP_E_EXCEPTION; });
}

long CSmartBuffer::load(long initial_size, Producer producer, long user) {
    if (const long result = Initialize(initial_size); result != 0) return result;
    long chunk = 0;
    if (!producer(0, nullptr, &chunk, user)) return 0;
    for (bool more = true; more;) {
        const long result = Check_Size_Requirements(to_unsigned(chunk));
        if (result != 0) return result;
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
