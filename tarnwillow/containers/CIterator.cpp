#include "tarnwillow/containers/CIterator.h"

#include "tarnwillow/containers/HashTableEntry.h"

namespace tarnwillow {

void CIterator::start(CCollection* list) {
    collection = list;
    position = 0;
    hashed = false;
    next = list != nullptr ? list->head : nullptr;
}

void* CIterator::deliver(const CListItem* item) const {
    if (!hashed) return item->value;
    const auto* entry = static_cast<const HashTableEntry*>(item->value);
    return entry != nullptr ? entry->data : nullptr;
}

void* CIterator::Iterate(CCollection* list) {
    start(list);
    return Next();
}

void* CIterator::Iterate(CCollection* list, void* value) {
    start(list);
    while (next != nullptr)
        if (Next() == value) return value;
    return nullptr;
}

void* CIterator::Iterate(CCollection* list, short count) {
    return Iterate(list, static_cast<long>(count));
}

void* CIterator::Iterate(CCollection* list, long count) {
    start(list);
    if (list == nullptr || count < 0 || count >= list->Entries()) return nullptr;
    for (; count > 0; --count)
        Next();
    return next != nullptr ? deliver(next) : nullptr;
}

void* CIterator::Next() {
    ++position;
    if (next == nullptr) return nullptr;
    current = next;
    next = next->next;
    return deliver(current);
}

void* CIterator::Current() const { return current != nullptr ? deliver(current) : nullptr; }

void* CIterator::Previous() {
    if (position == 0) return nullptr;
    --position;
    if (next != nullptr) {
        next = current;
        current = current != nullptr ? current->prev : nullptr;
    } else {
        const CListItem* tail = collection != nullptr ? collection->tail : nullptr;
        current = tail != nullptr ? tail->prev : nullptr;
        next = current != nullptr ? current->next : nullptr;
    }
    return Current();
}

bool CIterator::More() const {
    return collection != nullptr && collection->count != 0 && position - 1 < collection->count;
}

void CIterator::Reset() {
    if (collection == nullptr) return;
    position = 0;
    next = collection->head;
}

void* CIterator::Reset_To(void* value) {
    Reset();
    void* delivered = Next();
    while (delivered != value && delivered != nullptr)
        delivered = Next();
    return delivered;
}

void CIterator::Delete_Current() {
    if (current == nullptr || collection == nullptr) return;
    CListItem* before = current->prev;
    // The entry stays in its table, which learns from this that it is no longer in the list.
    if (hashed) current->value = nullptr;
    collection->Remove_Item(current);
    current = before;
    if (before != nullptr) {
        next = before->next;
        --position;
    } else {
        Reset();
    }
}

}  // namespace tarnwillow
