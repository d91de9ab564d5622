#include "tarnwillow/containers/poolBlocks.h"

#include <pthread.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/criticalSection.h"
#include "tarnwillow/platform/debugOutput.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::detail {

constinit std::atomic<std::uint32_t> pool_generation{0};
constinit std::atomic<std::uintptr_t> known_blocks[kKnownBlocks]{};

namespace {

struct PoolTable {
    CItemPool** blocks = nullptr;      // in order of creation
    std::uintptr_t* sorted = nullptr;  // the same by address
    std::uint32_t count = 0;
    std::uint32_t room = 0;
    std::uint32_t first_with_room = 0;  // no block in front of it has a free record
    bool announced = false;
};

constinit PoolTable pool;                              // under pool_lock
constinit CRITICAL_SECTION pool_lock{{0}, {0}, 4000};  // always taken last
constinit std::uint32_t last_generation = 0;           // under pool_lock
constinit ItemBundle* bundles[kBundleLanes]{};         // under pool_lock

CItemPool* block_of(const CListItem* item) {
    return reinterpret_cast<CItemPool*>(block_address(item));
}

bool grow_table() {
    if (pool.count < pool.room) return true;
    const std::uint32_t room = pool.room == 0 ? 16 : pool.room * 2;
    auto** blocks = new (std::nothrow) CItemPool*[room];
    auto* sorted = new (std::nothrow) std::uintptr_t[room];
    if (blocks == nullptr || sorted == nullptr) {
        delete[] blocks;
        delete[] sorted;
        return false;
    }
    std::copy_n(pool.blocks, pool.count, blocks);
    std::copy_n(pool.sorted, pool.count, sorted);
    delete[] pool.blocks;
    delete[] pool.sorted;
    pool.blocks = blocks;
    pool.sorted = sorted;
    pool.room = room;
    return true;
}

// Whoever reads the text may use lists, and so come here again.
void announce_first_block() {
    if (pool.count == 0 && !std::exchange(pool.announced, true))
        OutputDebugStringW(u"Creating First Pool...");
}

CItemPool* allocate_block() {
    void* memory =
        ::operator new (sizeof(CItemPool), std::align_val_t{kBlockAlignment}, std::nothrow);
    return static_cast<CItemPool*>(memory);
}

void free_block(CItemPool* block) { ::operator delete (block, std::align_val_t{kBlockAlignment}); }

void fill_stack(CItemPool& block) {
    for (std::int32_t i = 0; i < kItemsInBlock; ++i)
        block.free_stack[i] = &block.items[i];
    block.top = kItemsInBlock - 1;
}

void add_to_table(CItemPool* block) {
    block->index = pool.count;
    block->users = 0;
    fill_stack(*block);
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    std::uintptr_t* end = pool.sorted + pool.count;
    std::uintptr_t* place = std::lower_bound(pool.sorted, end, address);
    std::copy_backward(place, end, end + 1);
    *place = address;
    pool.blocks[pool.count++] = block;
    known_place(address).store(address, std::memory_order_relaxed);
    if (pool_generation.load(std::memory_order_relaxed) == 0)
        pool_generation.store(++last_generation, std::memory_order_release);
}

// The first block with a free record; if a thread takes from that one already, one of the next few.
CItemPool* find_block_with_room() {
    constexpr std::uint32_t kLookedAt = 16;
    while (pool.first_with_room < pool.count && pool.blocks[pool.first_with_room]->top == 0)
        ++pool.first_with_room;
    CItemPool* found = nullptr;
    const std::uint32_t end = std::min(pool.count, pool.first_with_room + kLookedAt);
    for (std::uint32_t i = pool.first_with_room; i < end; ++i) {
        CItemPool* block = pool.blocks[i];
        if (block->top == 0) continue;
        if (block->users == 0) return block;
        if (found == nullptr) found = block;
    }
    return found;
}

bool is_block_of_table(std::uintptr_t address) {
    const PoolLock hold;
    if (!std::binary_search(pool.sorted, pool.sorted + pool.count, address)) return false;
    known_place(address).store(address, std::memory_order_relaxed);
    return true;
}

// A forked child has only the forking thread: nobody else may be inside the pool at that moment.
void lock_for_fork() { EnterCriticalSection(&pool_lock); }
void unlock_in_parent() { LeaveCriticalSection(&pool_lock); }
void unlock_in_child() { InitializeCriticalSectionAndSpinCount(&pool_lock, 4000); }

[[maybe_unused]] const int fork_handlers =
    pthread_atfork(lock_for_fork, unlock_in_parent, unlock_in_child);

}  // namespace

PoolLock::PoolLock() { EnterCriticalSection(&pool_lock); }
PoolLock::~PoolLock() { LeaveCriticalSection(&pool_lock); }

bool is_item(const CListItem* item) {
    return is_known_item(item) ||
           (is_record_of_block(item) && is_block_of_table(block_address(item)));
}

CItemPool& New_Item_Pool() {
    if (CItemPool* found = find_block_with_room()) return *found;
    CItemPool* block = allocate_block();
    if (block == nullptr) throw E_OUTOFMEMORY;
    const bool added = reporting_guard(
        ExceptionLevelSerious, u"New_Item_Pool",
        [&] {
            announce_first_block();
            if (!grow_table()) return false;
            add_to_table(block);
            return true;
        },
        [] { return false; });
    if (added) return *block;
    free_block(block);
    throw E_OUTOFMEMORY;
}

void free_blocks() {
    while (ItemBundle* bundle = take_bundle(0))
        std::free(bundle);
    for (std::uint32_t i = 0; i < pool.count; ++i)
        free_block(pool.blocks[i]);
    delete[] pool.blocks;
    delete[] pool.sorted;
    pool = PoolTable();
    for (std::atomic<std::uintptr_t>& known : known_blocks)
        known.store(0, std::memory_order_relaxed);
    pool_generation.store(0, std::memory_order_release);
}

void put_back(CListItem* item) {
    CItemPool* block = block_of(item);
    if (block->top >= kItemsInBlock - 1) return;  // more returns than takes: one came twice
    block->free_stack[++block->top] = item;
    pool.first_with_room = std::min(pool.first_with_room, block->index);
}

void keep_bundle(ItemBundle* bundle, std::uint32_t lane) {
    ItemBundle*& first = bundles[lane % kBundleLanes];
    bundle->next = first;
    first = bundle;
}

ItemBundle* take_bundle(std::uint32_t lane) {
    for (std::uint32_t i = 0; i < kBundleLanes; ++i) {
        ItemBundle*& first = bundles[(lane + i) % kBundleLanes];
        if (first != nullptr) return std::exchange(first, first->next);
    }
    return nullptr;
}

std::uint32_t block_count() { return pool.count; }

}  // namespace tarnwillow::detail
