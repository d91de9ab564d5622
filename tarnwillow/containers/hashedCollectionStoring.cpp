// What CHashedCollection does with a measured key, and where its records come from.
#include <cstdint>
#include <cstring>
#include <new>

#include "tarnwillow/containers/CHashedCollection.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/memoryBlock.h"

namespace tarnwillow {

using detail::HashIndex;
using detail::HashKey;

namespace {

// Gives the stored key. The text may lie in the record itself, and what is behind the terminator is
// zeros.
HashKey store_key(HashTableEntry& entry, const HashKey& key) {
    std::memmove(entry.key, key.text, key.length * sizeof(char16_t));
    entry.hash = key.hash;
    return {entry.key, key.length, key.hash};
}

// Fills the key's units behind the first `kept` with zeros.
void cut_key(HashTableEntry& entry, std::size_t kept, std::size_t length) {
    if (kept < length) std::memset(entry.key + kept, 0, (length - kept) * sizeof(char16_t));
}

// Fills the record with zeros: behind its key, of that length, it has none but those.
void clear(HashTableEntry& entry, std::size_t length) {
    cut_key(entry, 0, length);
    std::memset(&entry.data, 0, sizeof entry - offsetof(HashTableEntry, data));
}

// Both lie anywhere in memory: they come at the same time, and while the index is at work.
void prefetch_neighbours(const CListItem& item) {
    __builtin_prefetch(item.prev, 1);
    __builtin_prefetch(item.next, 1);
}

void free_owned_data(const HashTableEntry& entry) {
    if (entry.owned) ::operator delete(entry.data);
}

void* allocate(long length) {
    return ::operator new(static_cast<std::size_t>(length), std::nothrow);
}

void fill(void* copy, void const* source, long length) {
    if (length > 0) std::memcpy(copy, source, static_cast<std::size_t>(length));
}

}  // namespace

// Records.

struct CHashedCollection::RecordBlock {
    RecordBlock* next;
    std::size_t bytes;
};

namespace {

// The block's own fields fit in front of the first place where a record can start.
HashTableEntry* first_record(void* block) {
    constexpr std::uintptr_t kAlignment = alignof(HashTableEntry);
    const std::uintptr_t end = reinterpret_cast<std::uintptr_t>(block) + kAlignment;
    return reinterpret_cast<HashTableEntry*>(end / kAlignment * kAlignment);
}

}  // namespace

HashTableEntry* CHashedCollection::Next_Pool_Entry() {
    if (free_entries != nullptr) {
        HashTableEntry* entry = free_entries;
        free_entries = entry->next;
        entry->next = nullptr;
        return entry;
    }
    if (remaining == 0 && !add_record_block()) return nullptr;
    HashTableEntry* fresh = current_block + (size - remaining);
    --remaining;
    return new (fresh) HashTableEntry();
}

// Records are filled with zeros as they are handed out: memory that is never used is never touched.
// Lookups meet them in no order, which is why a large block is better off with huge pages.
bool CHashedCollection::add_record_block() {
    const std::size_t bytes =
        alignof(HashTableEntry) + static_cast<std::size_t>(size) * sizeof(HashTableEntry);
    void* memory = platform::allocate_block(bytes);
    if (memory == nullptr) return false;
    blocks = new (memory) RecordBlock{blocks, bytes};
    current_block = first_record(memory);
    remaining = size;
    return true;
}

void CHashedCollection::recycle(HashTableEntry* entry, std::size_t key_length) {
    clear(*entry, key_length);
    entry->next = free_entries;
    free_entries = entry;
}

void CHashedCollection::discard(HashTableEntry* entry, std::size_t key_length) {
    free_owned_data(*entry);
    recycle(entry, key_length);
}

void CHashedCollection::release_records() {
    while (const void* entry = entries.Pop())
        free_owned_data(*static_cast<const HashTableEntry*>(entry));
    while (RecordBlock* block = blocks) {
        blocks = block->next;
        platform::free_block(block, block->bytes);
    }
    free_entries = nullptr;
    current_block = nullptr;
    remaining = 0;
}

// Operations.

void CHashedCollection::list_or_recycle(HashTableEntry* entry) {
    try {
        entries.Add(entry);
    } catch (...) {
        recycle(entry, 0);
        throw;
    }
    entry->item = entries.tail_item();
}

// The index comes last: whatever fails before leaves no trace in it.
long CHashedCollection::add(const HashKey& key, void* data, long length, bool owned) {
    CAutoSectionLock hold(current_lock(), nullptr, nullptr);
    if (!index.ready()) return E_UNEXPECTED;
    if (!key.fits()) return E_INVALIDARG;
    if (size == 0 || !index.make_room()) return E_OUTOFMEMORY;
    HashTableEntry* entry = Next_Pool_Entry();
    if (entry == nullptr) return E_OUTOFMEMORY;
    list_or_recycle(entry);
    entry->data = data;
    entry->length = length;
    entry->owned = owned;
    index.append(*entry, store_key(*entry, key));
    return S_OK;
}

long CHashedCollection::add_copy(const HashKey& key, void const* source, long length) {
    if (!key.fits() || length < 0) return E_INVALIDARG;
    void* copy = nullptr;
    const long result = reporting_guard(
        ExceptionLevelHandled, u"CHashedCollection::Add_Volatile",
        [&] {
            copy = allocate(length);
            if (copy == nullptr) return E_OUTOFMEMORY;
            fill(copy, source, length);
            return add(key, copy, length, true);
        },
        [] { return E_INVALIDARG; });
    if (result != S_OK) ::operator delete(copy);
    return result;
}

long CHashedCollection::remove(const HashKey& key) {
    CAutoSectionLock hold(current_lock(), nullptr, nullptr);
    if (size == 0) return S_OK;
    if (key.text == nullptr) return E_INVALIDARG;
    HashIndex::Slot* slot = index.find_to_remove(key);
    if (slot == nullptr) return ERROR_NOT_FOUND;
    HashTableEntry* entry = slot->first;
    CListItem* item = entry->item;
    prefetch_neighbours(*item);
    index.remove(*slot, *entry);
    entries.Remove_Item(item);
    discard(entry, key.length);
    return S_OK;
}

HashTableEntry* CHashedCollection::find_entry(const HashKey& key) const {
    const HashIndex::Slot* slot = index.find(key);
    return slot != nullptr ? slot->first : nullptr;
}

long CHashedCollection::find(const HashKey& key, void** data, long* length) {
    CAutoSectionLock hold(current_lock(), nullptr, nullptr);
    if (!index.ready()) throw int{-1};
    const HashTableEntry* entry = find_entry(key);
    if (length != nullptr) *length = entry != nullptr ? entry->length : 0;
    if (data != nullptr) *data = entry != nullptr ? entry->data : nullptr;
    if (entry != nullptr) return S_OK;
    return key.text == nullptr ? E_INVALIDARG : ERROR_NOT_FOUND;
}

long CHashedCollection::change_key(const HashKey& old_key, const HashKey& new_key) {
    CAutoSectionLock hold(current_lock(), nullptr, nullptr);
    if (!index.ready()) throw int{-1};
    if (old_key.text == nullptr || !new_key.fits()) return E_INVALIDARG;
    if (size == 0) return E_FAIL;
    if (index.find(old_key) == nullptr) return ERROR_NOT_FOUND;
    if (!index.make_room()) return E_OUTOFMEMORY;
    HashIndex::Slot* slot = index.find(old_key);  // its slot may have moved
    HashTableEntry* entry = slot->first;
    index.remove(*slot, *entry);
    const HashKey stored = store_key(*entry, new_key);
    cut_key(*entry, new_key.length, old_key.length);
    index.append(*entry, stored);
    return S_OK;
}

long CHashedCollection::replace(const HashKey& key, void* data, long length, bool owned,
                                void** old_data) {
    CAutoSectionLock hold(current_lock(), nullptr, nullptr);
    if (index.ready() && key.text == nullptr) return E_INVALIDARG;
    HashTableEntry* entry = find_entry(key);
    if (entry == nullptr) return ERROR_NOT_FOUND;
    free_owned_data(*entry);
    if (old_data != nullptr) *old_data = entry->owned ? nullptr : entry->data;
    entry->data = data;
    entry->length = length;
    entry->owned = owned;
    return S_OK;
}

long CHashedCollection::replace_copy(const HashKey& key, void const* source, long length,
                                     void** old_data) {
    CAutoSectionLock hold(current_lock(), nullptr, nullptr);
    if (!key.fits() || length < 0) return E_INVALIDARG;
    void* copy = allocate(length);
    if (copy == nullptr) return E_OUTOFMEMORY;
    fill(copy, source, length);
    const long result = replace(key, copy, length, true, old_data);
    if (result != S_OK) ::operator delete(copy);
    return result;
}

}  // namespace tarnwillow
