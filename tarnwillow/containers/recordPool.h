// Where a hash table's records come from.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarnwillow/containers/HashTableEntry.h"

namespace tarnwillow::detail {

/// Records in blocks of one size, numbered from 0: a number takes less room than an address. Each
/// comes with a list item of its own from the same block, so that where both lie is known from the
/// number, and both can come from memory at once.
///
/// A plain value that owns nothing by itself: copies share the blocks, and `release` frees them.
class RecordPool {
public:
    /// Nothing is taken yet. `records` per block.
    explicit RecordPool(int records = 0) : block_size_(static_cast<std::uint32_t>(records)) {}

    /// A record with nothing in it but its number and item: one that was put back, or a fresh one.
    /// Null without memory.
    HashTableEntry* take();

    /// Fills the record with zeros, but for its number and item. Behind the `key_length` units of
    /// its key it has none but zeros.
    void put_back(HashTableEntry& entry, std::size_t key_length);

    HashTableEntry& at(std::uint32_t number) const {
        return number < block_size_ ? first_[number] : far(number);
    }

    /// Has the item that the record was made with come from memory. Of the first block only, whose
    /// items' place is known at once.
    void prefetch_item(std::uint32_t number) const {
        if (number < block_size_) __builtin_prefetch(items_behind(first_) + number, 1);
    }

    void release();

private:
    struct Block {
        void* memory;
        HashTableEntry* records;
    };

    HashTableEntry& far(std::uint32_t number) const;
    CListItem* items_behind(HashTableEntry* records) const {
        return reinterpret_cast<CListItem*>(records + block_size_);
    }
    std::size_t block_bytes() const {
        return alignof(HashTableEntry) +
               std::size_t{block_size_} * (sizeof(HashTableEntry) + sizeof(CListItem));
    }
    bool add_block();
    bool make_room_for_block();

    std::uint32_t block_size_;
    HashTableEntry* first_ = nullptr;  ///< records of the first block
    HashTableEntry* free_ = nullptr;   ///< those put back
    Block* blocks_ = nullptr;
    std::uint32_t block_count_ = 0;
    std::uint32_t block_room_ = 0;
    std::uint32_t remaining_ = 0;  ///< records of the last block that were never taken
};

}  // namespace tarnwillow::detail
