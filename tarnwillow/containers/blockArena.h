// Memory for many small records that all go at once.
#pragma once

#include <cstddef>

namespace tarnwillow::detail {

/// Hands out pieces of blocks that grow with the total, so that the cost of a piece stays the same.
/// A piece stays in place until the arena is cleared. All sizes taken from one arena are multiples
/// of the alignment that its pieces need, which is at most 16.
class BlockArena {
public:
    BlockArena() = default;
    ~BlockArena() { clear(); }
    BlockArena(const BlockArena&) = delete;
    BlockArena& operator=(const BlockArena&) = delete;

    /// `bytes` of undefined content; null without memory.
    void* take(std::size_t bytes) {
        if (room() < bytes && !grow(bytes)) return nullptr;
        void* piece = next_;
        next_ += bytes;
        return piece;
    }

    /// Lengthens the piece that ends at `end` by `bytes` where it lies, if it was the last one
    /// taken and its block has room.
    bool extend(void const* end, std::size_t bytes) {
        if (end != next_ || room() < bytes) return false;
        next_ += bytes;
        return true;
    }

    /// What has been taken, and what was left over at the end of a block.
    std::size_t taken() const { return total_ - room(); }

    /// Frees every block.
    void clear();

private:
    struct Block {
        Block* before;
        std::size_t bytes;
    };

    std::size_t room() const { return static_cast<std::size_t>(end_ - next_); }
    bool grow(std::size_t bytes);

    Block* newest_ = nullptr;
    char* next_ = nullptr;
    char* end_ = nullptr;
    std::size_t total_ = 0;
};

}  // namespace tarnwillow::detail
