// The private index of a hash table: finds the first entry of a key, however many there are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "tarnwillow/containers/HashTableEntry.h"
#include "tarnwillow/containers/hashKey.h"
#include "tarnwillow/containers/recordPool.h"

namespace tarnwillow::detail {

/// Open addressing over slots of (hash, number of the first entry), which are small, so that most
/// of them stay in the processor's cache. Entries of one key stand in a chain of their own, in the
/// order in which they came; the first one knows the last, so that adding to a chain and taking any
/// entry out of it cost the same however long it is.
///
/// A plain value that owns nothing by itself: copies share the slots, and `release` frees them. The
/// records are given with each call.
class HashIndex {
public:
    struct Slot {
        std::uint32_t hash;
        std::uint32_t first;  ///< the first entry's number and 1; 0: the slot is free
    };

    /// Whether there are slots.
    bool ready() const { return slots_ != nullptr; }

    /// Makes slots for about that many keys. False without memory.
    bool allocate(std::size_t keys);
    void release();

    /// Sees to a free slot for one more key. False without memory; nothing changes then.
    bool make_room() { return !is_full(used_, mask_ + 1) || grow(); }

    /// The slot of that key, or null. What else the caller will need of the entry comes from memory
    /// at the same time as its key.
    enum class Purpose { lookup, removal };
    template <Purpose purpose = Purpose::lookup>
    Slot* find(const RecordPool& records, const HashKey& key) const;

    /// The first entry that a slot stands for.
    static HashTableEntry& first_of(const RecordPool& records, const Slot& slot) {
        return records.at(slot.first - 1);
    }

    /// Adds an entry behind those of the same key, which is the entry's own, measured. There is
    /// room.
    void append(const RecordPool& records, HashTableEntry& entry, const HashKey& key);

    /// Takes an entry out of the chain that starts at that slot with `first`.
    void remove(Slot& slot, HashTableEntry& first, const HashTableEntry& entry);

private:
    // At most three quarters of the slots are in use, so that walks over them stay short.
    static bool is_full(std::size_t used, std::size_t slots) { return used * 4 >= slots * 3; }

    bool grow();
    std::size_t next(std::size_t at) const { return (at + 1) & mask_; }
    void erase(Slot& slot);

    Slot* slots_ = nullptr;
    std::size_t mask_ = 0;  ///< slots - 1, and the number of slots is a power of two
    std::size_t used_ = 0;
};

// In the header, because a table does little else: the compiler takes them into its own code.

// The terminator is compared too: it tells a key from a longer one that begins the same.
inline bool has_key(const HashTableEntry& entry, const HashKey& key) {
    return std::memcmp(entry.key, key.text, (key.length + 1) * sizeof(char16_t)) == 0;
}

template <HashIndex::Purpose purpose>
inline HashIndex::Slot* HashIndex::find(const RecordPool& records, const HashKey& key) const {
    if (!ready() || !key.fits()) return nullptr;
    for (std::size_t at = key.hash & mask_; slots_[at].first != 0; at = next(at)) {
        if (slots_[at].hash != key.hash) continue;
        if (purpose == Purpose::removal) records.prefetch_item(slots_[at].first - 1);
        const HashTableEntry& first = first_of(records, slots_[at]);
        __builtin_prefetch(&first.data, purpose == Purpose::removal);
        if (has_key(first, key)) return &slots_[at];
    }
    return nullptr;
}

inline void HashIndex::append(const RecordPool& records, HashTableEntry& entry,
                              const HashKey& key) {
    std::size_t at = key.hash & mask_;
    while (slots_[at].first != 0 &&
           !(slots_[at].hash == key.hash && has_key(first_of(records, slots_[at]), key)))
        at = next(at);
    entry.next = nullptr;
    if (slots_[at].first != 0) {
        HashTableEntry& first = first_of(records, slots_[at]);
        entry.previous = first.previous;
        first.previous->next = &entry;
        first.previous = &entry;
    } else {
        entry.previous = &entry;
        slots_[at] = {key.hash, entry.number + 1};
        ++used_;
    }
}

inline void HashIndex::remove(Slot& slot, HashTableEntry& first, const HashTableEntry& entry) {
    if (&first != &entry) {
        entry.previous->next = entry.next;
        (entry.next != nullptr ? *entry.next : first).previous = entry.previous;
    } else if (entry.next != nullptr) {
        entry.next->previous = entry.previous;
        slot.first = entry.next->number + 1;
    } else {
        erase(slot);
    }
}

/// The key of an entry, measured.
HashKey key_of(const HashTableEntry& entry);

}  // namespace tarnwillow::detail
