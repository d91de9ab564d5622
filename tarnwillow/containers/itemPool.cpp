// What of the pool each thread keeps, and the pool's life.
#include "tarnwillow/containers/itemPool.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <utility>

#include "tarnwillow/containers/threadItems.h"
#include "tarnwillow/core/unload.h"

namespace tarnwillow {

namespace detail {

constinit thread_local ThreadItems thread_items{};

namespace {

constinit std::atomic<long> live_collections{0};
constinit std::atomic<bool> release_pending{false};
constinit std::atomic<std::uint32_t> last_lane{0};

// The thread's cache. It empties itself at the thread's end.

void move_home(ThreadItems& own, CItemPool* home) {
    if (own.home != nullptr) --own.home->users;
    if (home != nullptr) ++home->users;
    own.home = home;
}

// Puts the items back into the blocks that stand, if they are of those.
void empty_cache() {
    const PoolLock hold;
    if (thread_items.generation != pool_generation.load(std::memory_order_relaxed)) return;
    move_home(thread_items, nullptr);
    for (std::uint32_t i = 0; i < thread_items.count; ++i)
        put_back(thread_items.items[i]);
}

struct EmptyCacheAtThreadEnd {
    ~EmptyCacheAtThreadEnd() {
        empty_cache();
        thread_items.count = 0;
        thread_items.room = 0;
        std::free(thread_items.items);
        std::free(thread_items.spare);
        thread_items.spare = nullptr;
        thread_items.items = &thread_items.single;
    }
};

// While the library unloads, nothing would empty the cache: then it keeps nothing. The same without
// memory for it.
void register_cache() {
    thread_items.registered = true;
    thread_items.lane = last_lane.fetch_add(1, std::memory_order_relaxed);
    thread_items.items = &thread_items.single;
    if (library_unloading) return;
    void* places = std::malloc(ThreadItems::kRoom * sizeof(void*));
    if (places == nullptr) return;
    thread_items.items = static_cast<CListItem**>(places);
    thread_items.room = ThreadItems::kRoom;
    static thread_local EmptyCacheAtThreadEnd at_end;
    static_cast<void>(&at_end);
}

// Drops what belongs to blocks that are gone.
void synchronise(ThreadItems& own) {
    const std::uint32_t generation = pool_generation.load(std::memory_order_acquire);
    if (own.generation == generation) return;
    own.generation = generation;
    own.count = 0;
    own.home = nullptr;
}

// The copy is made outside the lock.
void unpack(ThreadItems& own, ItemBundle* bundle) {
    std::copy_n(bundle->items, ItemBundle::kItems, own.items);
    own.count = ItemBundle::kItems;
    if (own.spare == nullptr)
        own.spare = bundle;
    else
        std::free(bundle);
}

ItemBundle* next_bundle(ThreadItems& own) {
    if (own.room == 0) return nullptr;
    const PoolLock hold;
    synchronise(own);
    return own.count == 0 ? take_bundle(own.lane) : nullptr;
}

void refill(ThreadItems& own) {
    if (!own.registered) register_cache();
    if (ItemBundle* bundle = next_bundle(own)) return unpack(own, bundle);
    const PoolLock hold;
    synchronise(own);
    if (own.count > 0) return;
    if (own.home == nullptr || own.home->top == 0) {
        CItemPool& home = New_Item_Pool();
        synchronise(own);
        move_home(own, &home);
    }
    CItemPool& block = *own.home;
    const std::int32_t wanted = own.room == 0 ? 1 : ThreadItems::kBatch;
    const std::int32_t batch = std::min(wanted, block.top);
    std::copy_n(block.free_stack + block.top - batch + 1, batch, own.items);
    block.top -= batch;
    own.count = static_cast<std::uint32_t>(batch);
}

void put_back_locked(CListItem* item) {
    const PoolLock hold;
    put_back(item);
}

// The oldest go; the latest are in the processor's cache.
void spill(ThreadItems& own) {
    ItemBundle* bundle = std::exchange(own.spare, nullptr);
    if (bundle == nullptr) bundle = static_cast<ItemBundle*>(std::malloc(sizeof *bundle));
    if (bundle != nullptr) std::copy_n(own.items, ItemBundle::kItems, bundle->items);
    {
        const PoolLock hold;
        if (bundle != nullptr)
            keep_bundle(bundle, own.lane);
        else
            std::for_each_n(own.items, ItemBundle::kItems, put_back);
    }
    own.count -= ItemBundle::kItems;
    std::copy_n(own.items + ItemBundle::kItems, own.count, own.items);
}

}  // namespace

CListItem* refill_and_take() {
    const platform::ForcedEndPause pause;
    ThreadItems& own = thread_items;
    refill(own);
    return own.items[--own.count];
}

void return_slowly(CListItem* item) {
    const platform::ForcedEndPause pause;
    ThreadItems& own = thread_items;
    if (!own.registered) register_cache();
    synchronise(own);
    if (!is_item(item)) return;
    fill_with_freed_bytes(item);
    if (own.room == 0) return put_back_locked(item);
    if (own.count == own.room) spill(own);
    own.items[own.count++] = item;
}

void collection_constructed() {
    ++live_collections;
    // While a release is pending, the lock keeps a pool that is being freed from being used.
    if (!release_pending && pool_generation.load(std::memory_order_relaxed) != 0) return;
    const PoolLock hold;
    if (block_count() > 0) return;
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
    return block_count();
}

}  // namespace detail

void Free_Item_Pools() {
    const detail::PoolLock hold;
    detail::free_blocks();
}

}  // namespace tarnwillow
