#include "tarnwillow/platform/memoryBlock.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace tarnwillow::platform {

namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;
constexpr std::size_t kPage = 4096;

constexpr std::size_t rounded(std::size_t bytes, std::size_t unit) {
    return (bytes + unit - 1) / unit * unit;
}

// A mapping that starts where a huge page can start: one page too much is mapped, and the ends that
// are not needed go back.
void* map_aligned(std::size_t bytes) {
    const std::size_t mapped = bytes + kHugePage;
    void* memory =
        mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return nullptr;
    auto* const begin = static_cast<char*>(memory);
    const std::size_t before = (0 - reinterpret_cast<std::uintptr_t>(begin)) % kHugePage;
    if (before > 0) munmap(begin, before);
    munmap(begin + before + bytes, kHugePage - before);
    return begin + before;
}

}  // namespace

void* allocate_block(std::size_t bytes) noexcept {
    if (bytes < kHugeBlock) return ::operator new(bytes, std::nothrow);
    const std::size_t size = rounded(bytes, kPage);
    void* block = map_aligned(size);
    if (block != nullptr) madvise(block, size, MADV_HUGEPAGE);
    return block;
}

// To where a huge page can start again: then whole huge pages change their place at once.
void* grow_block(void* block, std::size_t bytes, std::size_t more_bytes) noexcept {
    const std::size_t size = rounded(more_bytes, kPage);
    void* const place = map_aligned(size);
    if (place == nullptr) return nullptr;
    void* const moved =
        mremap(block, rounded(bytes, kPage), size, MREMAP_MAYMOVE | MREMAP_FIXED, place);
    if (moved != MAP_FAILED) return moved;
    munmap(place, size);
    return nullptr;
}

void free_block(void* block, std::size_t bytes) noexcept {
    if (bytes < kHugeBlock)
        ::operator delete(block);
    else if (block != nullptr)
        munmap(block, rounded(bytes, kPage));
}

void* resize_heap(void* memory, std::size_t bytes) noexcept {
    return std::realloc(memory, std::max<std::size_t>(bytes, 1));
}

void free_heap(void* memory) noexcept { std::free(memory); }

}  // namespace tarnwillow::platform
