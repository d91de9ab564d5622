#include "tarnwillow/containers/itemPool.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <new>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/core/unload.h"
#include "tarnwillow/platform/criticalSection.h"
#include "tarnwillow/platform/debugOutput.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

namespace detail {

namespace {

constexpr std::int32_t kItemsInBlock = 500;
constexpr unsigned char kFreedByte = 0xDB;

// Blocks start at multiples of this, so that an item's address gives its block's.
constexpr std::uintptr_t kBlockAlignment = 32768;

/// One allocation. `top` 0 is empty: the first record and the first stack place are never used, so
/// a block gives 499 items.
struct CItemPool {
    CListItem items[kItemsInBlock];
    CListItem* free_stack[kItemsInBlock];
    std::int32_t top;
    std::uint32_t index;  ///< place in the pool table
};
static_assert(offsetof(CItemPool, free_stack) == 16000 && offsetof(CItemPool, top) == 20000);
static_assert(sizeof(CItemPool) <= kBlockAlignment);

struct PoolTable {
    CItemPool** blocks = nullptr;      // in order of creation
    std::uintptr_t* sorted = nullptr;  // the same by address
    std::uint32_t count = 0;
    std::uint32_t room = 0;
    std::uint32_t first_with_room = 0;  // no block in front of it has a free record
    CItemPool* current = nullptr;
};

constinit PoolTable pool;                                   // under pool_lock
constinit CRITICAL_SECTION pool_lock{{0}, {0}, {0}, 4000};  // always taken last
constinit std::atomic<long> live_collections{0};
constinit std::atomic<bool> release_pending{false};

// Changes whenever the blocks go: what a thread noted under another number is void. 0 is no pool.
constinit std::atomic<std::uint32_t> pool_generation{0};
constinit std::uint32_t last_generation = 0;  // under pool_lock

class PoolLock {
public:
    PoolLock() { EnterCriticalSection(&pool_lock); }
    ~PoolLock() { LeaveCriticalSection(&pool_lock); }
    PoolLock(const PoolLock&) = delete;
    PoolLock& operator=(const PoolLock&) = delete;
};

/// What a thread keeps to itself: some free items, and the blocks that it has met lately.
struct ThreadCache {
    static constexpr std::uint32_t kRoom = 64;
    static constexpr std::uint32_t kBatch = 32;
    static constexpr std::uint32_t kKnownBlocks = 16;

    std::uint32_t generation;
    std::uint32_t count;
    bool emptied_at_end;  // the thread is ending: nothing is kept any more
    bool registered;
    CListItem* items[kRoom];
    std::uintptr_t known_blocks[kKnownBlocks];
};

[[gnu::tls_model("initial-exec")]] thread_local ThreadCache cache;

std::uintptr_t block_address(const CListItem* item) {
    return reinterpret_cast<std::uintptr_t>(item) & ~(kBlockAlignment - 1);
}

CItemPool* block_of(const CListItem* item) {
    return reinterpret_cast<CItemPool*>(block_address(item));
}

bool is_record_of_block(const CListItem* item) {
    const std::uintptr_t offset = reinterpret_cast<std::uintptr_t>(item) - block_address(item);
    return offset % sizeof(CListItem) == 0 && offset / sizeof(CListItem) < kItemsInBlock;
}

// Under the pool lock from here on, as far as the pool is concerned.

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
    if (pool.count == 0) OutputDebugStringW(u"Creating First Pool...");
    block->index = pool.count;
    fill_stack(*block);
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    std::uintptr_t* end = pool.sorted + pool.count;
    std::uintptr_t* place = std::lower_bound(pool.sorted, end, address);
    std::copy_backward(place, end, end + 1);
    *place = address;
    pool.blocks[pool.count++] = block;
    pool.current = block;
    if (pool_generation.load(std::memory_order_relaxed) == 0)
        pool_generation.store(++last_generation, std::memory_order_release);
}

bool find_block_with_room() {
    while (pool.first_with_room < pool.count) {
        CItemPool* block = pool.blocks[pool.first_with_room];
        if (block->top > 0) {
            pool.current = block;
            return true;
        }
        ++pool.first_with_room;
    }
    return false;
}

void New_Item_Pool() {
    if (find_block_with_room()) return;
    CItemPool* block = allocate_block();
    if (block == nullptr) throw E_OUTOFMEMORY;
    const bool added = reporting_guard(
        ExceptionLevelSerious, u"New_Item_Pool",
        [&] {
            if (!grow_table()) return false;
            add_to_table(block);
            return true;
        },
        [] { return false; });
    if (added) return;
    free_block(block);
    throw E_OUTOFMEMORY;
}

void free_blocks() {
    for (std::uint32_t i = 0; i < pool.count; ++i)
        free_block(pool.blocks[i]);
    delete[] pool.blocks;
    delete[] pool.sorted;
    pool = PoolTable();
    pool_generation.store(0, std::memory_order_release);
}

void put_back(CListItem* item) {
    CItemPool* block = block_of(item);
    if (block->top >= kItemsInBlock - 1) return;  // more returns than takes: one came twice
    block->free_stack[++block->top] = item;
    pool.first_with_room = std::min(pool.first_with_room, block->index);
}

// The thread's cache. It empties itself at the thread's end.

struct EmptyCacheAtThreadEnd {
    ~EmptyCacheAtThreadEnd() {
        const PoolLock hold;
        cache.emptied_at_end = true;
        if (cache.generation == pool_generation.load(std::memory_order_relaxed))
            for (std::uint32_t i = 0; i < cache.count; ++i)
                put_back(cache.items[i]);
        cache.count = 0;
    }
};

// While the library unloads, nothing would empty the cache: then it keeps nothing.
void register_cache() {
    cache.registered = true;
    cache.emptied_at_end = library_unloading;
    if (library_unloading) return;
    static thread_local EmptyCacheAtThreadEnd at_end;
    static_cast<void>(&at_end);
}

// Drops what belongs to blocks that are gone.
void synchronise(ThreadCache& own) {
    const std::uint32_t generation = pool_generation.load(std::memory_order_acquire);
    if (own.generation == generation) return;
    own.generation = generation;
    own.count = 0;
    std::fill(std::begin(own.known_blocks), std::end(own.known_blocks), 0);
}

void refill(ThreadCache& own) {
    if (!own.registered) register_cache();
    const PoolLock hold;
    synchronise(own);
    if (own.count > 0) return;
    if (pool.current == nullptr || pool.current->top == 0) New_Item_Pool();
    synchronise(own);
    CItemPool& block = *pool.current;
    const std::int32_t wanted = own.emptied_at_end ? 1 : ThreadCache::kBatch;
    const std::int32_t batch = std::min(wanted, block.top);
    std::copy_n(block.free_stack + block.top - batch + 1, batch, own.items);
    block.top -= batch;
    own.count = static_cast<std::uint32_t>(batch);
}

void spill(ThreadCache& own, std::uint32_t number) {
    const PoolLock hold;
    for (std::uint32_t i = 0; i < number; ++i)
        put_back(own.items[i]);
    own.count -= number;
    std::copy_n(own.items + number, own.count, own.items);
}

bool is_block(std::uintptr_t address) {
    const PoolLock hold;
    return std::binary_search(pool.sorted, pool.sorted + pool.count, address);
}

bool lies_in_block(ThreadCache& own, const CListItem* item) {
    if (!is_record_of_block(item)) return false;
    const std::uintptr_t address = block_address(item);
    std::uintptr_t& known = own.known_blocks[address / kBlockAlignment % ThreadCache::kKnownBlocks];
    if (known == address) return true;
    if (!is_block(address)) return false;
    known = address;
    return true;
}

bool is_stale(const ThreadCache& own) {
    return own.generation != pool_generation.load(std::memory_order_relaxed);
}

}  // namespace

CListItem* take_pool_item() {
    ThreadCache& own = cache;
    if (own.count == 0 || is_stale(own)) refill(own);
    return own.items[--own.count];
}

void return_pool_item(CListItem* item) {
    ThreadCache& own = cache;
    if (!own.registered) register_cache();
    if (is_stale(own)) synchronise(own);
    if (!lies_in_block(own, item)) return;
    std::memset(static_cast<void*>(item), kFreedByte, sizeof *item);
    if (own.count == ThreadCache::kRoom) spill(own, ThreadCache::kBatch);
    own.items[own.count++] = item;
    if (own.emptied_at_end) spill(own, own.count);
}

void collection_constructed() {
    ++live_collections;
    // While a release is pending, the lock keeps a pool that is being freed from being used.
    if (!release_pending && pool_generation.load(std::memory_order_relaxed) != 0) return;
    const PoolLock hold;
    if (pool.current != nullptr) return;
    try {
        New_Item_Pool();
    } catch (...) {
        --live_collections;
        throw;
    }
}

namespace {

void free_pools_if_unused() {
    const PoolLock hold;
    if (live_collections == 0 && release_pending) free_blocks();
}

// A forked child has only the forking thread: nobody else may be inside the pool at that moment.
void lock_for_fork() { EnterCriticalSection(&pool_lock); }
void unlock_in_parent() { LeaveCriticalSection(&pool_lock); }
void unlock_in_child() { InitializeCriticalSectionAndSpinCount(&pool_lock, 4000); }

[[maybe_unused]] const int fork_handlers =
    pthread_atfork(lock_for_fork, unlock_in_parent, unlock_in_child);

}  // namespace

void collection_destroyed() {
    if (--live_collections == 0 && release_pending) free_pools_if_unused();
}

void release_pools_with_last_collection() {
    release_pending = true;
    free_pools_if_unused();
}

std::uint32_t pool_block_count() {
    const PoolLock hold;
    return pool.count;
}

}  // namespace detail

void Free_Item_Pools() {
    const detail::PoolLock hold;
    detail::free_blocks();
}

}  // namespace tarnwillow
