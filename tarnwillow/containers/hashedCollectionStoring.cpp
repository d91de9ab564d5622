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

// Both lie anywhere in memory: they come at the same time, and while the index is at work.
void prefetch_neighbours(const CListItem& item) {
    __builtin_prefetch(item.prev, 1);
    __builtin_prefetch(item.next, 1);
}

// A hashed walk may have taken its item out of the list already.
bool is_listed(const HashTableEntry& entry) { return entry.item->value == &entry; }

void free_owned_data(const HashTableEntry& entry) {
    if (entry.owned) ::operator delete(entry.data);
}

void* allocate(long length) {
    return ::operator new(static_cast<std::size_t>(length), std::nothrow);
}

void fill(void* copy, void const* source, long length) {
    if (length > 0) std::memcpy(copy, not_null(source), static_cast<std::size_t>(length));
}

}  // namespace

// Records.

HashTableEntry* CHashedCollection::Next_Pool_Entry() { return records.take(); }

void CHashedCollection::discard(HashTableEntry& entry, std::size_t key_length) {
    free_owned_data(entry);
    records.put_back(entry, key_length);
}

void CHashedCollection::release_records() {
    for (const CListItem* item = entries.head_item(); item != nullptr; item = item->next)
        free_owned_data(*static_cast<const HashTableEntry*>(item->value));
    entries.forget_items();
    records.release();
    ++resets;
}

// Operations.

long CHashedCollection::add(const HashKey& key, void* data, long length, bool owned) {
    CAutoSectionLock hold(current_lock(), nullptr, nullptr);
    if (!index.ready()) return E_UNEXPECTED;
    if (!key.fits()) return E_INVALIDARG;
    if (size == 0 || !index.make_room()) return E_OUTOFMEMORY;
    HashTableEntry* const entry = records.take();
    if (entry == nullptr) return E_OUTOFMEMORY;
    entries.link_last(entry->item, entry);
    entry->data = data;
    entry->length = length;
    entry->owned = owned;
    index.append(records, *entry, store_key(*entry, key));
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
    HashIndex::Slot* const slot = index.find<HashIndex::Purpose::removal>(records, key);
    if (slot == nullptr) return ERROR_NOT_FOUND;
    HashTableEntry& entry = HashIndex::first_of(records, *slot);
    prefetch_neighbours(*entry.item);
    index.remove(*slot, entry, entry);
    if (is_listed(entry)) entries.unlink(entry.item);
    discard(entry, key.length);
    return S_OK;
}

HashTableEntry* CHashedCollection::find_entry(const HashKey& key) const {
    const HashIndex::Slot* const slot = index.find(records, key);
    return slot != nullptr ? &HashIndex::first_of(records, *slot) : nullptr;
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
    if (index.find(records, old_key) == nullptr) return ERROR_NOT_FOUND;
    if (!index.make_room()) return E_OUTOFMEMORY;
    HashIndex::Slot* const slot = index.find(records, old_key);  // which may have moved
    HashTableEntry& entry = HashIndex::first_of(records, *slot);
    index.remove(*slot, entry, entry);
    const HashKey stored = store_key(entry, new_key);
    cut_key(entry, new_key.length, old_key.length);
    index.append(records, entry, stored);
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
    if (!key.fits() || length < 0 || (source == nullptr && length > 0)) return E_INVALIDARG;
    void* copy = allocate(length);
    if (copy == nullptr) return E_OUTOFMEMORY;
    fill(copy, source, length);
    const long result = replace(key, copy, length, true, old_data);
    if (result != S_OK) ::operator delete(copy);
    return result;
}

}  // namespace tarnwillow
