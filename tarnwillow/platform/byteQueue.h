// Bytes that came before anybody wanted them, in a block of fixed size.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

namespace tarnwillow::platform {

template <std::size_t kCapacity>
class ByteQueue {
public:
    std::size_t size() const { return end_ - begin_; }

    /// What can still be put in: all of the block once the queue has run empty.
    std::size_t room() const { return kCapacity - end_; }

    /// Appends `count` bytes, at most `room()`. False if the block could not be had.
    bool put(char const* bytes, std::size_t count) {
        if (count == 0) return true;
        if (block_ == nullptr) block_.reset(new (std::nothrow) char[kCapacity]);
        if (block_ == nullptr) return false;
        std::memcpy(block_.get() + end_, bytes, count);
        end_ += count;
        return true;
    }

    /// Moves up to `count` bytes out and gives how many.
    std::size_t take(char* bytes, std::size_t count) {
        count = std::min(count, size());
        if (count != 0) std::memcpy(bytes, block_.get() + begin_, count);
        begin_ += count;
        if (begin_ == end_) begin_ = end_ = 0;
        return count;
    }

    void clear() { begin_ = end_ = 0; }

private:
    std::unique_ptr<char[]> block_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
};

}  // namespace tarnwillow::platform
