// The private index of a hash table: finds the first entry of a key, however many there are.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarnwillow/containers/HashTableEntry.h"
#include "tarnwillow/containers/hashKey.h"

namespace tarnwillow::detail {

/// Open addressing over slots of (hash, first entry). Entries of one key stand in a chain of their
/// own, in the order in which they came; the first one knows the last, so that adding to a chain
/// and taking any entry out of it cost the same however long it is.
///
/// A plain value that owns nothing by itself: copies share the slots, and `release` frees them.
class HashIndex {
public:
    struct Slot {
        HashTableEntry* first;  ///< null: the slot is free
        std::uint32_t hash;
        std::uint32_t item;  ///< guess at the place of the first entry's list item, for a prefetch
    };

    /// Whether there are slots.
    bool ready() const { return slots_ != nullptr; }

    /// Makes slots for about that many keys. False without memory.
    bool allocate(std::size_t keys);
    void release();

    /// Sees to a free slot for one more key. False without memory; nothing changes then.
    bool make_room() { return !is_full(used_, mask_ + 1) || grow(); }

    /// The slot of that key, or null.
    Slot* find(const HashKey& key) const;

    /// The same; sees to it that what else a removal needs is on its way from memory.
    Slot* find_to_remove(const HashKey& key) const;

    /// Adds an entry behind those of the same key, which is the entry's own, measured. There is
    /// room.
    void append(HashTableEntry& entry, const HashKey& key);

    /// Takes an entry out of the chain that starts at that slot.
    void remove(Slot& slot, const HashTableEntry& entry);

private:
    // At most three quarters of the slots are in use, so that walks over them stay short.
    static bool is_full(std::size_t used, std::size_t slots) { return used * 4 >= slots * 3; }

    template <class OnTheWay>
    Slot* find_slot(const HashKey& key, OnTheWay on_the_way) const;
    bool grow();
    std::size_t next(std::size_t at) const { return (at + 1) & mask_; }
    void erase(Slot& slot);

    Slot* slots_ = nullptr;
    std::size_t mask_ = 0;  ///< slots - 1, and the number of slots is a power of two
    std::size_t used_ = 0;
    std::uintptr_t latest_item_ = 0;  ///< address of the list item that was added last
};

/// The key of an entry, measured.
HashKey key_of(const HashTableEntry& entry);

}  // namespace tarnwillow::detail
