#pragma once

#include <cstdint>

#include "tarnwillow/containers/itemPool.h"

namespace tarnwillow {

/// One entry of a CHashedCollection. Its address is also the address of its key.
struct HashTableEntry {
    char16_t key[256];     ///< terminated; at most 255 units
    void* data;            ///< the stored pointer
    long length;           ///< given with the data, not interpreted
    bool owned;            ///< the data is a copy that the table frees
    HashTableEntry* next;  ///< the bucket's next entry, or the next free record
    CListItem* item;       ///< the entry's place in the list of entries
    std::uint32_t hash;    ///< mixed hash of the key, for the private index
};

}  // namespace tarnwillow
