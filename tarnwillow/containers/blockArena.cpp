#include "tarnwillow/containers/blockArena.h"

#include <algorithm>
#include <new>

#include "tarnwillow/platform/memoryBlock.h"

namespace tarnwillow::detail {

namespace {
constexpr std::size_t kSmallest = 2048;
constexpr std::size_t kLargest = std::size_t{16} << 20;
}  // namespace

bool BlockArena::grow(std::size_t bytes) {
    const std::size_t size =
        std::max(std::clamp(total_, kSmallest, kLargest), 2 * bytes + sizeof(Block));
    void* memory = platform::allocate_block(size);
    if (memory == nullptr) return false;
    newest_ = new (memory) Block{newest_, size};
    next_ = static_cast<char*>(memory) + sizeof(Block);
    end_ = static_cast<char*>(memory) + size;
    total_ += size;
    return true;
}

void BlockArena::clear() {
    while (newest_ != nullptr) {
        Block* block = newest_;
        newest_ = block->before;
        platform::free_block(block, block->bytes);
    }
    next_ = end_ = nullptr;
    total_ = 0;
}

}  // namespace tarnwillow::detail
