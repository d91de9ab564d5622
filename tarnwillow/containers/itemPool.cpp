#include "tarnwillow/containers/itemPool.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
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
    std::uint32_t users;  ///< threads that take their items from here
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

// Blocks that stand, each where its address says, so that an item's block is tested without the
// lock. A block that another one pushed out is found in the table. Written under pool_lock.
constexpr std::size_t kKnownBlocks = 1024;
constinit std::atomic<std::uintptr_t> known_blocks[kKnownBlocks]{};

std::atomic<std::uintptr_t>& known_place(std::uintptr_t address) {
    return known_blocks[address / kBlockAlignment % kKnownBlocks];
}

class PoolLock {
public:
    PoolLock() { EnterCriticalSection(&pool_lock); }
    ~PoolLock() { LeaveCriticalSection(&pool_lock); }
    PoolLock(const PoolLock&) = delete;
    PoolLock& operator=(const PoolLock&) = delete;
};

/// What a thread keeps to itself: some free items.
struct ThreadCache {
    static constexpr std::uint32_t kRoom = 256;
    static constexpr std::uint32_t kBatch = 128;

    std::uint32_t generation;
    std::uint32_t count;
    std::uint32_t room;  // kRoom; 0 where nothing may be kept: before and behind the thread's life
    bool registered;
    CItemPool* home;    // where the thread takes its items from, so that no two meet in one block
    CListItem** items;  // kRoom places on the heap: a library loaded late has little room for
                        // thread variables. Where nothing may be kept, the one on its way out
    CListItem* single;
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
    block->users = 0;
    fill_stack(*block);
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    std::uintptr_t* end = pool.sorted + pool.count;
    std::uintptr_t* place = std::lower_bound(pool.sorted, end, address);
    std::copy_backward(place, end, end + 1);
    *place = address;
    pool.blocks[pool.count++] = block;
    pool.current = block;
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

void New_Item_Pool() {
    if (CItemPool* found = find_block_with_room()) {
        pool.current = found;
        return;
    }
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

// The thread's cache. It empties itself at the thread's end.

void move_home(ThreadCache& own, CItemPool* home) {
    if (own.home != nullptr) --own.home->users;
    if (home != nullptr) ++home->users;
    own.home = home;
}

// Puts the items back into the blocks that stand, if they are of those.
void empty_cache() {
    const PoolLock hold;
    if (cache.generation != pool_generation.load(std::memory_order_relaxed)) return;
    move_home(cache, nullptr);
    for (std::uint32_t i = 0; i < cache.count; ++i)
        put_back(cache.items[i]);
}

struct EmptyCacheAtThreadEnd {
    ~EmptyCacheAtThreadEnd() {
        empty_cache();
        cache.count = 0;
        cache.room = 0;
        std::free(cache.items);
        cache.items = &cache.single;
    }
};

// While the library unloads, nothing would empty the cache: then it keeps nothing. The same without
// memory for it.
void register_cache() {
    cache.registered = true;
    cache.items = &cache.single;
    if (library_unloading) return;
    void* places = std::malloc(ThreadCache::kRoom * sizeof(void*));
    if (places == nullptr) return;
    cache.items = static_cast<CListItem**>(places);
    cache.room = ThreadCache::kRoom;
    static thread_local EmptyCacheAtThreadEnd at_end;
    static_cast<void>(&at_end);
}

// Drops what belongs to blocks that are gone.
void synchronise(ThreadCache& own) {
    const std::uint32_t generation = pool_generation.load(std::memory_order_acquire);
    if (own.generation == generation) return;
    own.generation = generation;
    own.count = 0;
    own.home = nullptr;
}

void refill(ThreadCache& own) {
    if (!own.registered) register_cache();
    const PoolLock hold;
    synchronise(own);
    if (own.count > 0) return;
    if (own.home == nullptr || own.home->top == 0) {
        New_Item_Pool();
        synchronise(own);
        move_home(own, pool.current);
    }
    CItemPool& block = *own.home;
    const std::int32_t wanted = own.room == 0 ? 1 : ThreadCache::kBatch;
    const std::int32_t batch = std::min(wanted, block.top);
    std::copy_n(block.free_stack + block.top - batch + 1, batch, own.items);
    block.top -= batch;
    own.count = static_cast<std::uint32_t>(batch);
}

void put_back_locked(CListItem* item) {
    const PoolLock hold;
    put_back(item);
}

void spill(ThreadCache& own, std::uint32_t number) {
    const PoolLock hold;
    for (std::uint32_t i = 0; i < number; ++i)
        put_back(own.items[i]);
    own.count -= number;
    std::copy_n(own.items + number, own.count, own.items);
}

bool is_block_of_table(std::uintptr_t address) {
    const PoolLock hold;
    if (!std::binary_search(pool.sorted, pool.sorted + pool.count, address)) return false;
    known_place(address).store(address, std::memory_order_relaxed);
    return true;
}

bool is_known_item(const CListItem* item) {
    const std::uintptr_t address = block_address(item);
    return is_record_of_block(item) &&
           known_place(address).load(std::memory_order_relaxed) == address;
}

bool is_item(const CListItem* item) {
    return is_known_item(item) ||
           (is_record_of_block(item) && is_block_of_table(block_address(item)));
}

bool is_stale(const ThreadCache& own) {
    return own.generation != pool_generation.load(std::memory_order_relaxed);
}

void fill_with_freed_bytes(CListItem* item) {
    std::memset(static_cast<void*>(item), kFreedByte, sizeof *item);
}

// Everything rare, in functions of its own: in the two below it would cost registers to save.

[[gnu::noinline]] CListItem* refill_and_take() {
    ThreadCache& own = cache;
    refill(own);
    return own.items[--own.count];
}

[[gnu::noinline]] void return_slowly(CListItem* item) {
    ThreadCache& own = cache;
    if (!own.registered) register_cache();
    synchronise(own);
    if (!is_item(item)) return;
    fill_with_freed_bytes(item);
    if (own.room == 0) return put_back_locked(item);
    if (own.count == own.room) spill(own, ThreadCache::kBatch);
    own.items[own.count++] = item;
}

}  // namespace

CListItem* take_pool_item() {
    ThreadCache& own = cache;
    if (own.count == 0 || is_stale(own)) return refill_and_take();
    return own.items[--own.count];
}

void return_pool_item(CListItem* item) {
    ThreadCache& own = cache;
    if (own.count >= own.room || is_stale(own) || !is_known_item(item)) return return_slowly(item);
    fill_with_freed_bytes(item);
    own.items[own.count++] = item;
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
