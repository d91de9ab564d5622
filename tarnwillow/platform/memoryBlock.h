// Memory for a lot of data at once. The first touch of a page costs more than writing it, so large
// blocks ask the system for huge pages.
#pragma once

#include <cstddef>

namespace tarnwillow::platform {

/// From this size on a block comes straight from the system and goes straight back.
inline constexpr std::size_t kHugeBlock = std::size_t{4} << 20;

/// `bytes` of undefined content, or zeros from kHugeBlock on, aligned for every type; null if they
/// cannot be had.
void* allocate_block(std::size_t bytes) noexcept;

/// Makes a block of at least kHugeBlock bytes larger without copying what it holds; it may move.
/// What is new is zeros. Null, and the block stays as it is, if that cannot be had.
void* grow_block(void* block, std::size_t bytes, std::size_t more_bytes) noexcept;

/// Takes a block back; `bytes` as it was allocated. Null is ignored.
void free_block(void* block, std::size_t bytes) noexcept;

// Smaller memory that may grow where it lies, without being copied. Tests replace these by their
// own, which fail on demand.

/// `bytes` of undefined content, or what `memory` held and undefined content behind it, perhaps in
/// another place; null, and `memory` stays as it is, if they cannot be had. Null `memory` is none.
[[gnu::weak]] void* resize_heap(void* memory, std::size_t bytes) noexcept;

/// Null is ignored.
[[gnu::weak]] void free_heap(void* memory) noexcept;

}  // namespace tarnwillow::platform
