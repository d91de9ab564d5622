// The blocks of the item pool, and the lock that guards them.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "tarnwillow/containers/itemPool.h"
#include "tarnwillow/platform/forcedEnd.h"

namespace tarnwillow::detail {

inline constexpr std::int32_t kItemsInBlock = 500;

/// Blocks start at multiples of this, so that an item's address gives its block's.
inline constexpr std::uintptr_t kBlockAlignment = 32768;

/// One allocation. `top` 0 is empty: the first record and the first stack place are never used, so
/// a block gives 499 items.
struct CItemPool {
    CListItem items[kItemsInBlock];
    CListItem* free_stack[kItemsInBlock];
    std::int32_t top;
    std::uint32_t index;  ///< place in the pool table
    std::uint32_t users;  ///< threads that take their items from here
};
static_assert(offsetof(CItemPool, free_stack) == 16000 && offsetof(CItemPool, top) == 20000);
static_assert(sizeof(CItemPool) <= kBlockAlignment);

/// Changes whenever the blocks go: what a thread noted under another number is void. 0 is no pool.
extern constinit std::atomic<std::uint32_t> pool_generation;

/// Blocks that stand, each where its address says, so that an item's block is tested without the
/// lock. A block that another one pushed out is found in the table. Written under the pool lock.
inline constexpr std::size_t kKnownBlocks = 1024;
extern constinit std::atomic<std::uintptr_t> known_blocks[kKnownBlocks];

inline std::uintptr_t block_address(const CListItem* item) {
    return reinterpret_cast<std::uintptr_t>(item) & ~(kBlockAlignment - 1);
}

inline bool is_record_of_block(const CListItem* item) {
    const std::uintptr_t offset = reinterpret_cast<std::uintptr_t>(item) - block_address(item);
    return offset % sizeof(CListItem) == 0 && offset / sizeof(CListItem) < kItemsInBlock;
}

inline std::atomic<std::uintptr_t>& known_place(std::uintptr_t address) {
    return known_blocks[address / kBlockAlignment % kKnownBlocks];
}

/// Whether it is an item of a known block; of the others that stand, is_item tells.
inline bool is_known_item(const CListItem* item) {
    const std::uintptr_t address = block_address(item);
    return is_record_of_block(item) &&
           known_place(address).load(std::memory_order_relaxed) == address;
}

/// Whether it is an item of a block that stands. Takes the lock where the block is not a known one.
bool is_item(const CListItem* item);

/// Holds the lock for a scope.
class PoolLock {
public:
    PoolLock();
    ~PoolLock();
    PoolLock(const PoolLock&) = delete;
    PoolLock& operator=(const PoolLock&) = delete;

private:
    const platform::ForcedEndPause pause_;  // over only when the lock is left
};

// Under the lock:

/// A block with a free record, if there is one that no thread takes from; makes one where none has
/// a free record. Throws `long` E_OUTOFMEMORY if it cannot.
CItemPool& New_Item_Pool();

/// Puts an item into its block, which stands.
void put_back(CListItem* item);

/// Free items on their way from one thread to another or to a later day of the same one: a whole
/// bundle moves in a few instructions, where single items would each look for their block.
struct ItemBundle {
    static constexpr std::uint32_t kItems = 512;

    ItemBundle* next;
    CListItem* items[kItems];
};

/// Bundles lie in lanes, so that a thread meets again what it used last and what its processor has
/// in its cache. A thread whose lane is empty takes from another one: null if there is none at all.
inline constexpr std::uint32_t kBundleLanes = 16;
void keep_bundle(ItemBundle* bundle, std::uint32_t lane);
ItemBundle* take_bundle(std::uint32_t lane);

void free_blocks();
std::uint32_t block_count();

}  // namespace tarnwillow::detail
