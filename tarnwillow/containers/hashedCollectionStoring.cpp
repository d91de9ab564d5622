// What CHashedCollection does with a measured key, and where its records come from.
#include <cstring>
#include <new>

#include "tarnwillow/containers/CHashedCollection.h"
#include "tarnwillow/core/guard.h"

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
bool CHashedCollection::add_record_block() {
    auto* block = new (std::nothrow) RecordBlock;
    if (block == nullptr) return false;
    void* records = ::operator new (static_cast<std::size_t>(size) * sizeof(HashTableEntry),
                                    std::align_val_t{alignof(HashTableEntry)}, std::nothrow);
    if (records == nullptr) {
        delete block;
        return false;
    }
    *block = {static_cast<HashTableEntry*>(records), blocks};
    blocks = block;
    current_block = block->records;
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
        ::operator delete (block->records, std::align_val_t{alignof(HashTableEntry)});
        delete block;
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
    HashIndex::Slot* slot = index.find(key);
    if (slot == nullptr) return ERROR_NOT_FOUND;
    HashTableEntry* entry = slot->first;
    index.remove(*slot, *entry);
    entries.Remove_Item(entry->item);
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
