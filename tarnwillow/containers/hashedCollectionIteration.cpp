// Walking, sorting and enumerating the entries of a CHashedCollection in their order.
#include <new>

#include "tarnwillow/containers/CHashedCollection.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

HashTableEntry* as_entry(void* value) { return static_cast<HashTableEntry*>(value); }

void* hand_out(const HashTableEntry* entry, char16_t* key, long* length) {
    if (key != nullptr) wide::copy(key, detail::kKeyRoom, entry != nullptr ? entry->key : u"");
    if (length != nullptr && entry != nullptr) *length = entry->length;
    return entry != nullptr ? entry->data : nullptr;
}

void* no_data() { return nullptr; }

}  // namespace

/// What a handle is the address of. The tag tells one from any other memory; a reset of the table
/// ends its handles.
struct CHashedCollection::EntriesIterator : CIterator {
    std::uint32_t tag = kTagAlive;
    std::uint32_t resets;
};

// Null for what is no handle. Runs inside a guard: the address may be a wild one.
CHashedCollection::EntriesIterator* CHashedCollection::iterator_of(long handle) {
    if (handle == 0 || handle % static_cast<long>(alignof(EntriesIterator)) != 0) return nullptr;
    auto* walk = reinterpret_cast<EntriesIterator*>(handle);
    const std::uint32_t tag = *static_cast<volatile std::uint32_t*>(&walk->tag);
    return tag == kTagAlive ? walk : nullptr;
}

CHashedCollection::EntriesIterator* CHashedCollection::walk_of(long handle) const {
    EntriesIterator* const walk = iterator_of(handle);
    return walk != nullptr && walk->resets == resets ? walk : nullptr;
}

void* CIterator::Iterate(CHashedCollection* table) {
    start(table != nullptr ? &table->entries : nullptr);
    hashed = true;
    return Next();
}

long CHashedCollection::Get_Entries_Iterator() {
    CAutoSectionLock hold(current_lock(), nullptr, nullptr);
    auto* walk = new (std::nothrow) EntriesIterator;
    if (walk != nullptr) {
        walk->resets = resets;
        walk->Iterate(&entries);
    }
    return reinterpret_cast<long>(walk);
}

void* CHashedCollection::Reset_Iterator(long iterator, char16_t* key, long* length) {
    return reporting_guard(
        ExceptionLevelHandled, u"CHashedCollection::Reset_Iterator",
        [&] {
            EntriesIterator* walk = walk_of(iterator);
            if (walk != nullptr) walk->Reset();
            return hand_out(walk != nullptr ? as_entry(walk->Next()) : nullptr, key, length);
        },
        no_data);
}

void* CHashedCollection::Iterate_Next(long iterator, char16_t* key, long* length) {
    return reporting_guard(
        ExceptionLevelHandled, u"CHashedCollection::Iterate_Next",
        [&] {
            EntriesIterator* walk = walk_of(iterator);
            return hand_out(walk != nullptr ? as_entry(walk->Next()) : nullptr, key, length);
        },
        no_data);
}

void CHashedCollection::Remove_Current_Iterator_Item(long iterator) {
    reporting_guard(
        ExceptionLevelHandled, u"CHashedCollection::Remove_Current_Iterator_Item",
        [&] {
            CAutoSectionLock hold(current_lock(), nullptr, nullptr);
            EntriesIterator* walk = walk_of(iterator);
            if (walk != nullptr) remove_under(*walk);
        },
        no_recovery);
}

// The record must know the list item that led to it: an item that was removed in another way, and
// may be in use elsewhere by now, leads to none.
void CHashedCollection::remove_under(CIterator& walk) {
    if (walk.collection != &entries) return;
    HashTableEntry* entry = as_entry(walk.Current());
    if (entry == nullptr || entry->item != walk.current) return;
    const detail::HashKey key = detail::key_of(*entry);
    detail::HashIndex::Slot* const slot = index.find(records, key);
    if (slot == nullptr) return;
    index.remove(*slot, detail::HashIndex::first_of(records, *slot), *entry);
    walk.Delete_Current();
    discard(*entry, key.length);
}

void CHashedCollection::Return_Iterator(long iterator) {
    reporting_guard(
        ExceptionLevelHandled, u"CHashedCollection::Return_Iterator",
        [&] {
            EntriesIterator* walk = iterator_of(iterator);
            if (walk == nullptr) return;
            // Volatile: only who comes with the handle again reads it.
            *static_cast<volatile std::uint32_t*>(&walk->tag) = kTagDestroyed;
            delete walk;
        },
        no_recovery);
}

void CHashedCollection::Enumerate_Key_Data_Pair(void (*proc)(long key, void* data)) {
    const long iterator = Get_Entries_Iterator();
    if (iterator == 0) return;
    auto* walk = reinterpret_cast<EntriesIterator*>(iterator);
    reporting_guard(
        ExceptionLevelHandled, u"CHashedCollection::Enumerate_Key_Data_Pair",
        [&] {
            for (void* entry = walk->Current(); entry != nullptr; entry = walk->Next())
                proc(reinterpret_cast<long>(entry), as_entry(entry)->data);
        },
        no_recovery);
    Return_Iterator(iterator);
}

// Sorting.

struct CHashedCollection::SortRequest {
    CHashedCollection* collection;
    int (*data_procedure)(void* data_a, void* data_b, void* context);
    int (*key_procedure)(char16_t const* key_a, char16_t const* key_b, void* context);
    void* context;
};

void CHashedCollection::Sort_Iteration_Results(bool ascending, int (*proc)(void*, void*, void*),
                                               void* context) {
    SortRequest request{this, proc, nullptr, context};
    sort_entries(ascending, request);
}

void CHashedCollection::Sort_Iteration_Results_By_Key(
    bool ascending, int (*proc)(char16_t const*, char16_t const*, void*), void* context) {
    SortRequest request{this, nullptr, proc, context};
    sort_entries(ascending, request);
}

// Also when the thread is cancelled in a callback: a sort moves values between items.
struct CHashedCollection::SortEnd {
    EntryList& entries;
    ~SortEnd() {
        entries.Set_Sort_Callback(nullptr, nullptr);
        for (CListItem* item = entries.head_item(); item != nullptr; item = item->next)
            as_entry(item->value)->item = item;
    }
};

void CHashedCollection::sort_entries(bool ascending, SortRequest& request) {
    const SortEnd end{entries};
    entries.Set_Sort_Callback(
        [](void* a, void* b, void* context) {
            return IteratorResultSortProc(as_entry(a), as_entry(b), context);
        },
        &request);
    entries.Sort(ascending);
}

int CHashedCollection::IteratorResultSortProc(HashTableEntry* a, HashTableEntry* b, void* request) {
    return reporting_guard(
        ExceptionLevelHandled, u"CHashedCollection::IteratorResultSortProc",
        [&] {
            const auto& order = *static_cast<const SortRequest*>(request);
            if (order.data_procedure != nullptr)
                return order.data_procedure(a->data, b->data, order.context);
            if (order.key_procedure != nullptr)
                return order.key_procedure(a->key, b->key, order.context);
            return static_cast<int>(0xDEADBEEF);
        },
        [] { return 0; });
}

}  // namespace tarnwillow
