#include "tarnwillow/containers/recordPool.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "tarnwillow/platform/memoryBlock.h"

namespace tarnwillow::detail {

HashTableEntry* RecordPool::take() {
    if (HashTableEntry* entry = free_) {
        free_ = entry->next;
        entry->next = nullptr;
        return entry;
    }
    if (remaining_ == 0 && !add_block()) return nullptr;
    const std::uint32_t place = block_size_ - remaining_;
    HashTableEntry* const records = blocks_[block_count_ - 1].records;
    auto* const entry = new (records + place) HashTableEntry();
    entry->item = new (items_behind(records) + place) CListItem();
    entry->number = (block_count_ - 1) * block_size_ + place;
    --remaining_;
    return entry;
}

void RecordPool::put_back(HashTableEntry& entry, std::size_t key_length) {
    std::memset(entry.key, 0, key_length * sizeof(char16_t));
    entry.data = nullptr;
    entry.length = 0;
    entry.owned = false;
    entry.previous = nullptr;
    entry.hash = 0;
    entry.next = free_;
    free_ = &entry;
}

HashTableEntry& RecordPool::far(std::uint32_t number) const {
    return blocks_[number / block_size_].records[number % block_size_];
}

// Records are filled with zeros as they are taken: memory that is never used is never touched.
// Lookups meet them in no order, which is why a large block is better off with huge pages.
bool RecordPool::add_block() {
    const std::uint64_t numbers = (std::uint64_t{block_count_} + 1) * block_size_;
    if (numbers > std::numeric_limits<std::uint32_t>::max() || !make_room_for_block()) return false;
    std::size_t bytes = block_bytes();
    void* const memory = platform::allocate_block(bytes);
    if (memory == nullptr) return false;
    void* aligned = memory;
    std::align(alignof(HashTableEntry), bytes - alignof(HashTableEntry), aligned, bytes);
    blocks_[block_count_++] = {memory, static_cast<HashTableEntry*>(aligned)};
    first_ = blocks_[0].records;
    remaining_ = block_size_;
    return true;
}

bool RecordPool::make_room_for_block() {
    if (block_count_ < block_room_) return true;
    const std::uint32_t room = std::max<std::uint32_t>(4, 2 * block_room_);
    auto* const wider = new (std::nothrow) Block[room];
    if (wider == nullptr) return false;
    std::copy_n(blocks_, block_count_, wider);
    delete[] blocks_;
    blocks_ = wider;
    block_room_ = room;
    return true;
}

void RecordPool::release() {
    for (std::uint32_t i = 0; i < block_count_; ++i)
        platform::free_block(blocks_[i].memory, block_bytes());
    delete[] blocks_;
    *this = RecordPool();
}

}  // namespace tarnwillow::detail
