#pragma once

#include <cstddef>

#include "tarnwillow/containers/CCollection.h"

namespace tarnwillow {

class CHashedCollection;

/// Walks a CCollection from head to tail, steps back, and deletes the item under it. A plain value:
/// it holds no lock and copies nothing of the list. An iterator survives only its own
/// Delete_Current; a walk among threads is bracketed by Protect and Unprotect of the list.
///
/// The usual loop:
///
///     CIterator walk;
///     for (void* value = walk.Iterate(&list); walk.More(); value = walk.Next()) ...
///
/// More, not a null value, tells the end: lists may hold nulls.
class TARNWILLOW_API CIterator {
public:
    CIterator() = default;

    /// Starts at the head and delivers the first value; null on an empty or null list.
    void* Iterate(CCollection* list);

    /// The same over the entries of a hash table, delivering each entry's data.
    void* Iterate(CHashedCollection* table);

    /// Starts at the head and walks to the first item with that very value, which must not be null.
    /// Null if the end comes first.
    void* Iterate(CCollection* list, void* value);
    void* Iterate(CCollection* list, std::nullptr_t) {
        return Iterate(list, static_cast<void*>(nullptr));
    }

    /// Starts in front of the item at position `count` from 0, which the following Next delivers
    /// too, and gives its value. Null if there is no such item.
    void* Iterate(CCollection* list, short count);
    void* Iterate(CCollection* list, int count) { return Iterate(list, static_cast<long>(count)); }
    void* Iterate(CCollection* list, long count);

    /// Moves on and delivers. At the end: null, and Current stays.
    void* Next();

    /// What was delivered last; null if nothing was.
    void* Current() const;

    /// Steps back and delivers; null in front of the first item.
    void* Previous();

    /// Whether the last Next found an item.
    bool More() const;

    /// Back to the start; Current stays what it was.
    void Reset();

    /// Reset, then Next until it delivers `value`; null at the end.
    void* Reset_To(void* value);

    /// Removes the item last delivered. The following Next delivers the item behind it.
    void Delete_Current();

private:
    friend class CHashedCollection;

    void start(CCollection* list);
    void* deliver(const CListItem* item) const;

    CCollection* collection = nullptr;
    CListItem* next = nullptr;
    CListItem* current = nullptr;
    long position = 0;
    bool hashed = false;
};

}  // namespace tarnwillow
