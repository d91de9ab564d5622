#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "tarnwillow/containers/itemPool.h"
#include "tarnwillow/containers/protection.h"
#include "tarnwillow/core/CEasyCriticalSection.h"
#include "tarnwillow/core/frame.h"

namespace tarnwillow {

class CIterator;

/// A doubly linked list of pointers: list, stack and queue in one, and the base of the other
/// containers. Its nodes come from a process-wide pool, so that adding a plain value costs no heap
/// allocation.
///
/// A plain value stays the caller's business. The Volatile operations store a private copy that the
/// list owns and frees.
///
/// A list has no lock until the first Protect. From then on every operation takes it, unless its
/// comment says otherwise; before, a list belongs to one thread at a time. Indexes count from 0 at
/// the head. Operations that add and cannot get memory throw `long` E_OUTOFMEMORY and leave the
/// list as it was.
class TARNWILLOW_API CCollection {
public:
    /// `name` is held by pointer; null is "UNKNOWN". Throws `long` E_OUTOFMEMORY if it is the first
    /// list and the pool cannot be made.
    explicit CCollection(char16_t const* name = nullptr);

    /// Frees owned copies and gives the items back; plain values stay the caller's.
    ~CCollection();

    /// A copy would share items without either list knowing.
    CCollection(const CCollection&) = delete;

    /// Copies all fields word for word: both lists then share items and lock, and only one of the
    /// two may be changed or destroyed. What the target held before is not released.
    CCollection& operator=(const CCollection& other);

    // Adding. True, or `long` thrown.

    /// Behind the tail. The number forms store the number as the value.
    bool Add(void* value);
    bool Add(int value);
    bool Add(long value);
    bool Add(unsigned value);
    bool Add(unsigned long value);
    bool Add(std::nullptr_t) { return Add(static_cast<void*>(nullptr)); }

    /// Behind the item at `index`; past the end means behind the tail, below 0 before the head. On
    /// an empty list the value becomes the only one.
    bool Insert(void* value, long index);

    /// Before the head.
    bool Push(void* value);
    bool Push(int value);
    bool Push(long value);
    bool Push(unsigned value);
    bool Push(unsigned long value);
    bool Push(std::nullptr_t) { return Push(static_cast<void*>(nullptr)); }

    /// Adds a copy of `size` bytes of `source`, from the allocation procedure. Gives the copy; null
    /// if it could not be had, for a null `source`, or for a `size` below 0 or beyond 31 bits.
    void* Add_Volatile(void const* source, long size);

    /// The same before the head; false where Add_Volatile gives null.
    bool Push_Volatile(void const* source, long size);

    /// A Volatile add or push of a text with its terminator.
    bool Add_String(char const* text);
    bool Add_String(char16_t const* text);
    bool Push_String(char const* text);
    bool Push_String(char16_t const* text);

    // Removing. An owned copy goes with its item, and the result is then null.

    /// Removes the head and gives its value; null on an empty list.
    void* Pop();

    /// Moves an owned copy at the head into `buffer`, at most `size` bytes, stores the number moved
    /// in `copied` if that is not null, and removes the item. False, with nothing changed, on an
    /// empty list or for a plain value.
    bool Pop_Volatile(void* buffer, int size, int* copied);

    /// Removes the first item with that very pointer and gives the pointer; null if there is none.
    void* Remove(void* value);

    /// Removes the first item that holds the value at `index`.
    void* Remove_Indexed_Item(long index);

    /// Removes the first equal text. Every value must be a text of that width, or null.
    bool Remove_String(char const* text);
    bool Remove_String(char16_t const* text);

    /// Empties the list. Plain values stay the caller's.
    void Clear();

    /// Empties the list and gives every plain value that is not null to the free procedure. A fault
    /// in there costs that one value. Takes the lock for each value, not for the whole.
    void Clear_List_As_Pointers();

    // Reading. Null, -1 or false where nothing is found.

    /// The number of values.
    long Entries();
    /// The value at the head; it stays there.
    void* Peek();
    void* Get_Tail_Value() const;  ///< takes no lock
    /// The value at `index`.
    void* Get_Indexed_Entry(long index);
    /// Index of the first item with that very pointer.
    long Contains(void* value);
    /// Whether a text like it is there. Every value must be a text of that width, or null.
    bool Contains_String(char const* text);
    bool Contains_String(char16_t const* text);

    /// The first value for which `proc` gives other than 0. The lock is held while `proc` runs.
    void* Contains_Ex(unsigned long (*proc)(void* value, unsigned long data), void* data);

    // Copying.

    /// A new list with copies of exactly `size` bytes of each value, as plain values from
    /// operator new; a null value stays null. Null without memory, or for a `size` below 0. The
    /// caller deletes it, after Clear_List_As_Pointers.
    CCollection* Clone(long size);

    /// A new list of the same values, as plain values; null without memory. The caller deletes it.
    CCollection* ShallowClone();

    /// Appends the values to `target` as plain values.
    void ShallowClone(CCollection& target);

    // Memory, order and protection.

    /// Replaces the procedures for copies made from now on; present copies are not moved. No lock.
    void Set_Mem_Procs(AllocationProc allocate, FreeProc free);

    /// Moves the owned copies to memory that a COM client may free, and takes new ones from there.
    /// Throws `int` -1 if a copy cannot be had; those already moved stay moved, the others stay.
    void Use_COM_Memory();

    /// How two values stand: see Sort. `context` is Set_Sort_Callback's.
    using SortProc = int (*)(void* a, void* b, void* context);

    /// No lock.
    void Set_Sort_Callback(SortProc proc, void* context);

    /// Sorts stably by the callback, which answers 1 for a pair out of ascending order and -1 for a
    /// pair out of descending order. Any other answer counts as in order. The lock is held while
    /// the callback runs. Does nothing without a callback.
    void Sort(bool ascending);

    /// Holds the list for the calling thread until the matching Unprotect; calls nest. With another
    /// thread holding it: E_FAIL at once for a `timeout` of 0, else up to `timeout` attempts, one
    /// millisecond apart, and then WAIT_TIMEOUT. E_OUTOFMEMORY if the first call cannot make a
    /// lock.
    long Protect(char16_t const* requestor, unsigned long timeout);

    /// E_UNEXPECTED unless the calling thread holds the list; else 0.
    long Unprotect();

    /// Whether the list has a lock: true from the first Protect on. No lock.
    bool Has_Protection() const;

    /// Whether the pointer leads to a living list. Any pointer may be given.
    static bool Validate_Object(CCollection* collection);

protected:
    /// Unlinks the item and deletes it.
    void Remove_Item(CListItem* item);

    /// The item at `index`, or null.
    CListItem* GetListItem(long index);

    /// The address of the value at `index`, to replace it in place; null out of range.
    void* contentsOfItem(short index);

    /// A new item; with `prev`, linked behind it, and in the second form, which takes no lock, in
    /// front of `next`.
    CListItem* CreateNewItem(void* value, CListItem* prev, long flags, long size);
    CListItem* CreateNewItem(void* value, CListItem* prev, CListItem* next, long flags, long size);

    /// Frees an owned copy and gives the item back; null is ignored.
    void DeleteItem(CListItem* item);

    /// The start of the chain, for the containers built on this one. No lock.
    CListItem* head_item() const { return head; }

    /// For lists whose items are not the pool's: links an item with that value behind the last one,
    /// takes one out, and drops all. No lock.
    void link_last(CListItem* item, void* value) {
        *item = {tail, value, nullptr, 0, 0};
        (tail != nullptr ? tail->next : head) = item;
        tail = item;
        ++count;
    }
    void unlink(CListItem* item) {
        (item->prev != nullptr ? item->prev->next : head) = item->next;
        (item->next != nullptr ? item->next->prev : tail) = item->prev;
        --count;
    }
    void forget_items() {
        head = tail = nullptr;
        count = 0;
    }

private:
    friend class CIterator;

    void append(void* value, long flags, long size);
    void prepend(void* value, long flags, long size);
    using Link = void (CCollection::*)(void* value, long flags, long size);
    void* link_copy(void const* source, long size, Link link);
    CCollection* clone_values(std::size_t bytes) const;
    CListItem* find_item(void* value) const;
    template <class Char>
    CListItem* find_text(Char const* text) const;
    void* take_out(CListItem* item);
    void free_copy(const CListItem* item);
    bool move_copy(CListItem* item);
    CEasyCriticalSection* current_lock() const { return lock.load(std::memory_order_acquire); }
    bool sort_by_merging(int wanted, long settled);
    struct PassResult {
        bool changed;  ///< a pair was exchanged
        bool unusual;  ///< an answer other than 1, 0 and -1 came
    };
    PassResult sort_pass(const CListItem* end, int wanted);

    std::uint32_t tag = kTagAlive;
    CListItem* head = nullptr;
    CListItem* tail = nullptr;
    long count = 0;
    SortProc sort_procedure = nullptr;
    AllocationProc allocation_procedure = Default_Allocation_ProcPtr;
    FreeProc free_procedure = Default_Free_ProcPtr;
    /// Of the copies that Use_COM_Memory could not move.
    FreeProc former_free_procedure = Default_Free_ProcPtr;
    void* sort_context = nullptr;
    std::atomic<CEasyCriticalSection*> lock{nullptr};
    char16_t lock_name[detail::kTextRoom];
    char16_t requestor_text[detail::kTextRoom];
    char16_t const* name;
};

}  // namespace tarnwillow
