// The process-wide pool that every list takes its items from.
//
// Items come in blocks of 500 that are allocated once and never given back while the library is in
// use. One lock guards the blocks; each thread keeps free items of its own, so that most takes and
// returns touch no lock at all. The lock is taken last, and held while at most one block's worth of
// pointers moves.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// A list node.
struct CListItem {
    CListItem* prev;      ///< towards the head; null at the head
    void* value;          ///< the stored value
    CListItem* next;      ///< towards the tail; null at the tail
    std::uint32_t flags;  ///< kOwnedCopy, perhaps with kFormerCopy, or 0
    std::int32_t size;    ///< bytes of an owned copy, else 0
};
static_assert(sizeof(CListItem) == 32);

/// Set in `flags`: the value is a copy that the list owns.
inline constexpr std::uint32_t kOwnedCopy = 1;

/// Set beside it: the copy goes back to the procedure that the list had before Use_COM_Memory.
inline constexpr std::uint32_t kFormerCopy = 2;

/// Frees every block, whatever lists are alive: lists that outlive this must not be used. The next
/// list builds the pool anew. Running it again does nothing.
TARNWILLOW_API void Free_Item_Pools();

namespace detail {

/// Counts the living lists. The first makes the first block, and throws `long` E_OUTOFMEMORY if it
/// cannot; the last frees the pool if that was asked for.
void collection_constructed();
void collection_destroyed();

/// Frees the pool as soon as no list is alive, from now on: at once if none is.
void release_pools_with_last_collection();

/// Blocks that stand now, for tests.
std::uint32_t pool_block_count();

}  // namespace detail
}  // namespace tarnwillow
