// The free items that each thread keeps, and the ways out of the pool and back that touch no lock.
// They are in a header because the lists do little else when they add and remove: the compiler
// takes both into the lists' own code.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>

#include "tarnwillow/containers/poolBlocks.h"

namespace tarnwillow::detail {

inline constexpr unsigned char kFreedByte = 0xDB;

/// What a thread keeps to itself: some free items.
struct ThreadItems {
    static constexpr std::uint32_t kRoom = 1024;
    static constexpr std::uint32_t kBatch = ItemBundle::kItems;

    std::uint32_t generation;
    std::uint32_t count;
    std::uint32_t room;  // kRoom; 0 where nothing may be kept: before and behind the thread's life
    bool registered;
    CItemPool* home;    // where the thread takes its items from, so that no two meet in one block
    CListItem** items;  // kRoom places on the heap: a library loaded late has little room for
                        // thread variables. Where nothing may be kept, the one on its way out
    CListItem* single;
    ItemBundle* spare;  // an empty one, kept for the next time
    std::uint32_t lane;
};

[[gnu::tls_model("initial-exec")]] extern constinit thread_local ThreadItems thread_items;

inline bool is_stale(const ThreadItems& own) {
    return own.generation != pool_generation.load(std::memory_order_relaxed);
}

inline void fill_with_freed_bytes(CListItem* item) {
    std::memset(static_cast<void*>(item), kFreedByte, sizeof *item);
}

// Everything rare, in functions of its own: in the two below it would cost registers to save.

CListItem* refill_and_take();
void return_slowly(CListItem* item);

/// A free item with undefined content. Throws `long` E_OUTOFMEMORY if the pool cannot grow.
inline CListItem* take_pool_item() {
    ThreadItems& own = thread_items;
    if (own.count == 0 || is_stale(own)) [[unlikely]]
        return refill_and_take();
    return own.items[--own.count];
}

/// Takes an item back; its bytes then read 0xDB. An item of no block is dropped.
inline void return_pool_item(CListItem* item) {
    ThreadItems& own = thread_items;
    if (own.count >= own.room || is_stale(own) || !is_known_item(item)) [[unlikely]]
        return return_slowly(item);
    fill_with_freed_bytes(item);
    own.items[own.count] = item;
    // A thread that is ended by force here loses the item; the other way round it would keep
    // another one twice.
    std::atomic_signal_fence(std::memory_order_release);
    ++own.count;
}

}  // namespace tarnwillow::detail
