// The storage of CSmartBuffer: its limit, and the one way to get it and to give it back.
#pragma once

#include <cstdint>
#include <limits>
#include <memory>

#include "tarnwillow/platform/memoryBlock.h"

namespace tarnwillow::detail {

/// Capacities are kept in 32 bits.
inline constexpr unsigned long kLargestStorage = std::numeric_limits<std::uint32_t>::max();

/// From this size on storage is mapped: it comes as zeros that take no memory until they are
/// touched, and it grows without being copied. Below, the heap is quicker, which keeps what was
/// freed, and can often grow a block where it lies.
inline constexpr unsigned long kMappedStorage = 32UL << 20;
static_assert(kMappedStorage >= platform::kHugeBlock);

inline void free_storage(unsigned char* storage, unsigned long size) {
    if (size >= kMappedStorage)
        platform::free_block(storage, size);
    else
        platform::free_heap(storage);
}

struct FreeStorage {
    unsigned long size = 0;
    void operator()(unsigned char* storage) const { free_storage(storage, size); }
};
using Storage = std::unique_ptr<unsigned char[], FreeStorage>;

/// `size` bytes; zeros if they are mapped, else of undefined content. Null beyond the limit or
/// without memory.
inline Storage make_storage(unsigned long size) {
    if (size > kLargestStorage) return nullptr;
    void* const memory = size >= kMappedStorage ? platform::allocate_block(size)
                                                : platform::resize_heap(nullptr, size);
    return Storage(static_cast<unsigned char*>(memory), FreeStorage{size});
}

}  // namespace tarnwillow::detail
