// The storage of CSmartBuffer: its limit, and the one way to get it.
#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <new>

namespace tarnwillow::detail {

/// Capacities are kept in 32 bits.
inline constexpr unsigned long kLargestStorage = std::numeric_limits<std::uint32_t>::max();

/// `size` bytes of undefined content; null beyond the limit or without memory.
inline std::unique_ptr<unsigned char[]> make_storage(unsigned long size) {
    if (size > kLargestStorage) return nullptr;
    return std::unique_ptr<unsigned char[]>(new (std::nothrow) unsigned char[size]);
}

}  // namespace tarnwillow::detail
