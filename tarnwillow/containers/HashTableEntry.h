#pragma once

#include <cstddef>
#include <cstdint>

#include "tarnwillow/containers/itemPool.h"

namespace tarnwillow {

/// One entry of a CHashedCollection. Its address is also the address of its key. It takes whole
/// cache lines: a short key lies in one, everything else in another. Units behind the key's
/// terminator are always 0.
struct alignas(64) HashTableEntry {
    char16_t key[256];         ///< terminated; at most 255 units
    void* data;                ///< the stored pointer
    long length;               ///< given with the data, not interpreted
    bool owned;                ///< the data is a copy that the table frees
    HashTableEntry* next;      ///< next entry of the same key, or the next free record
    HashTableEntry* previous;  ///< previous entry of the same key; of the first one, the last
    CListItem* item;           ///< the entry's place in the list of entries; the record's for good
    std::uint32_t hash;        ///< mixed hash of the key
    std::uint32_t number;      ///< of the record, for good
};
static_assert(offsetof(HashTableEntry, data) == 512 && sizeof(HashTableEntry) == 576);

}  // namespace tarnwillow
