#pragma once

#include <atomic>
#include <concepts>
#include <cstddef>
#include <limits>

#include "tarnwillow/containers/CCollection.h"
#include "tarnwillow/containers/CIterator.h"
#include "tarnwillow/containers/HashTableEntry.h"
#include "tarnwillow/containers/hashIndex.h"
#include "tarnwillow/containers/protection.h"
#include "tarnwillow/containers/recordPool.h"
#include "tarnwillow/core/CAutoDeleteableObject.h"

namespace tarnwillow {

/// A number as a key. `long` comes by way of this class, and not of an overload, so that NULL,
/// which is a `long` for the compiler, is refused as a key and never taken for the number 0.
class HashNumber {
public:
    /// Any `long` is taken; which of them are keys is the table's affair.
    HashNumber(long number) : value_(number) {}  // NOLINT(google-explicit-constructor)

    /// A number beyond `long` is none that a key can be, and neither is the greatest `long`.
    template <std::integral Number>
    requires(!std::same_as<Number, long>)
        HashNumber(Number number)  // NOLINT(google-explicit-constructor)
        : value_(number > static_cast<Number>(0) &&
                         static_cast<unsigned long long>(number) > kGreatest
                     ? std::numeric_limits<long>::max()
                     : static_cast<long>(number)) {}

    /// The number as it was given.
    long value() const { return value_; }

private:
    static constexpr unsigned long long kGreatest = std::numeric_limits<long>::max();

    long value_;
};

/// Any integer but `long`, which HashNumber takes in. Literals come this way.
template <class Number>
concept HashLiteral = std::integral<Number> && !std::same_as<Number, long>;

/// Maps text keys to data pointers with a length, and keeps the entries in the order in which they
/// were added, or last sorted. Lookups cost the same however full the table is.
///
/// A key is a terminated text of at most 255 UTF-16 units, compared unit by unit, with case. UTF-8
/// keys are converted. A number from -2^31 to 2^32-1 is the text of its 32-bit pattern in
/// lower-case hexadecimal, so that 0x10 and "10" are one key. A null key and any other number give
/// E_INVALIDARG. A key that is too long gives E_INVALIDARG where it would be stored, and is not
/// found elsewhere.
///
/// A key may be there more than once: operations find the entry that was added, or moved to that
/// key, first.
///
/// Data stays the caller's, except for the copies that the Volatile operations make: those are
/// freed with operator delete when their entry is removed, replaced or reset.
///
/// A table has no lock until the first Protect. From then on every operation takes it unless its
/// comment says otherwise; before, a table belongs to one thread at a time. Operations that fail
/// change nothing.
class TARNWILLOW_API CHashedCollection : public CAutoDeleteableObject {
public:
    /// `name` is held by pointer and may be null.
    explicit CHashedCollection(char16_t const* name = nullptr);
    ~CHashedCollection() override;

    /// Copies all fields word for word, no entry is duplicated: both tables then share everything,
    /// and only one of the two may be changed or destroyed, the other one's destructor must not
    /// run. What a target of an assignment held before is not released.
    CHashedCollection(const CHashedCollection& other);
    CHashedCollection& operator=(const CHashedCollection& other);

    /// Empties the table and makes it ready. `size` is the number of locations, and of records that
    /// are allocated at a time (576 bytes each): the table goes on growing beyond it. Size 0 gives
    /// a table that is empty for good. E_INVALIDARG for a negative size and E_OUTOFMEMORY leave a
    /// table that is not initialised.
    long Initialize(int size);

    // By key. Each operation takes a UTF-16 text, a UTF-8 text or a number.

    /// Adds an entry; a key already present is not looked for. E_UNEXPECTED before Initialize,
    /// E_OUTOFMEMORY for size 0 or without memory.
    long Add(char16_t const* key, void* data, long length);
    long Add(char const* key, void* data, long length);
    long Add(HashNumber key, void* data, long length);
    long Add(HashLiteral auto key, void* data, long length) {
        return Add(HashNumber(key), data, length);
    }
    long Add(std::nullptr_t, void* data, long length) { return Add(kNoKey, data, length); }

    /// Adds an entry for a copy of `length` bytes of `source`. As Add; E_INVALIDARG also for a
    /// negative length and for a source that cannot be read.
    long Add_Volatile(char16_t const* key, void const* source, long length);
    long Add_Volatile(char const* key, void const* source, long length);
    long Add_Volatile(HashNumber key, void const* source, long length);
    long Add_Volatile(HashLiteral auto key, void const* source, long length) {
        return Add_Volatile(HashNumber(key), source, length);
    }
    long Add_Volatile(std::nullptr_t, void const* source, long length) {
        return Add_Volatile(kNoKey, source, length);
    }

    /// ERROR_NOT_FOUND if there is no such key; 0 before Initialize and for size 0.
    long Remove(char16_t const* key);
    long Remove(char const* key);
    long Remove(HashNumber key);
    long Remove(HashLiteral auto key) { return Remove(HashNumber(key)); }
    long Remove(std::nullptr_t) { return Remove(kNoKey); }

    /// Stores data and length, or null and 0 with ERROR_NOT_FOUND; either pointer may be null.
    /// Throws `int` -1 before Initialize.
    long Find(char16_t const* key, void** data, long* length);
    long Find(char const* key, void** data, long* length);
    long Find(HashNumber key, void** data, long* length);
    long Find(HashLiteral auto key, void** data, long* length) {
        return Find(HashNumber(key), data, length);
    }
    long Find(std::nullptr_t, void** data, long* length) { return Find(kNoKey, data, length); }

    /// Gives the entry another key; it comes behind those that have it already. Place in the order,
    /// data and ownership stay. ERROR_NOT_FOUND if there is no such key, E_FAIL for size 0,
    /// E_OUTOFMEMORY without memory. Throws `int` -1 before Initialize.
    long Change_Item_Key(char16_t const* old_key, char16_t const* new_key);
    long Change_Item_Key(char const* old_key, char const* new_key);
    long Change_Item_Key(HashNumber old_key, HashNumber new_key);
    template <HashLiteral OldKey, HashLiteral NewKey>
    long Change_Item_Key(OldKey old_key, NewKey new_key) {
        return Change_Item_Key(HashNumber(old_key), HashNumber(new_key));
    }
    long Change_Item_Key(std::nullptr_t, std::nullptr_t) { return Change_Item_Key(kNoKey, kNoKey); }

    /// Replaces the data of an entry. `old_data`, if given, gets what is the caller's to free: the
    /// old pointer, or null if that was a copy, which is freed. ERROR_NOT_FOUND if there is no such
    /// key, before Initialize too.
    long Replace_Data(char16_t const* key, void* data, long length, void** old_data);
    long Replace_Data(char const* key, void* data, long length, void** old_data);
    long Replace_Data(HashNumber key, void* data, long length, void** old_data);
    long Replace_Data(HashLiteral auto key, void* data, long length, void** old_data) {
        return Replace_Data(HashNumber(key), data, length, old_data);
    }
    long Replace_Data(std::nullptr_t, void* data, long length, void** old_data) {
        return Replace_Data(kNoKey, data, length, old_data);
    }

    /// The same with a copy of `length` bytes of `source`. E_INVALIDARG also for a key that is too
    /// long, for a negative length and for a null source of a positive one; E_OUTOFMEMORY without
    /// memory.
    long Replace_Data_Volatile(char16_t const* key, void const* source, long length,
                               void** old_data);
    long Replace_Data_Volatile(char const* key, void const* source, long length, void** old_data);
    long Replace_Data_Volatile(HashNumber key, void const* source, long length, void** old_data);
    long Replace_Data_Volatile(HashLiteral auto key, void const* source, long length,
                               void** old_data) {
        return Replace_Data_Volatile(HashNumber(key), source, length, old_data);
    }
    long Replace_Data_Volatile(std::nullptr_t, void const* source, long length, void** old_data) {
        return Replace_Data_Volatile(kNoKey, source, length, old_data);
    }

    // The whole.

    /// The number of entries; 0 before Initialize.
    long Get_Num_Entries();

    /// The entry at a place in the order, from 0; either pointer may be null. ERROR_NOT_FOUND, with
    /// nothing stored, out of range. Walks to the place.
    long Get_Indexed_Entry(int index, void** data, long* length);

    /// Hands over something that goes when the table is reset: `free_proc`, if not null, is called
    /// with it. What was there before is not freed. No lock.
    void Associate_Raw_Data(void* data, void (*free_proc)(void*));

    /// As for CCollection.
    long Protect(char16_t const* requestor, unsigned long timeout);
    long Unprotect();
    bool Has_Protection() const;

    // Walking in order. A handle is the address of an iterator on the heap, and each must be given
    // back. It belongs to one thread at a time, and a walk among threads is bracketed by Protect
    // and Unprotect. A number that is no handle, or no longer, has no effect, and
    // neither has a handle from before the table was initialised anew. Entries that are
    // removed in any other way than by Remove_Current_Iterator_Item must not be ones that a handle
    // stands on or comes to next.
    //
    //     long walk = table.Get_Entries_Iterator();
    //     for (void* data = table.Reset_Iterator(walk, key, &length); data != nullptr;
    //          data = table.Iterate_Next(walk, key, &length)) ...
    //     table.Return_Iterator(walk);

    /// A handle that stands on the first entry; 0 without memory.
    long Get_Entries_Iterator();

    /// Back to the first entry, or on to the following one. Gives its data and stores its key, in
    /// room for 256 units, and its length; either pointer may be null. At the end: null, the empty
    /// key, and the length is left alone. Whoever stores null data tells the end by the key. Takes
    /// no lock.
    void* Reset_Iterator(long iterator, char16_t* key, long* length);
    void* Iterate_Next(long iterator, char16_t* key, long* length);

    /// Removes the entry that the iterator stands on, be there others of its key; the following
    /// step delivers the entry behind it.
    void Remove_Current_Iterator_Item(long iterator);
    void Return_Iterator(long iterator);

    /// Calls `proc` for every entry in order, with the address of its key as a number, and its
    /// data. A fault in there ends the enumeration. The lock is not held while `proc` runs.
    void Enumerate_Key_Data_Pair(void (*proc)(long key, void* data));

    /// Sorts the order by data or by key, as CCollection::Sort does: `proc` answers 1 for a pair
    /// out of ascending order, -1 for one out of descending order. A fault in there leaves the pair
    /// as it is. Takes no lock.
    void Sort_Iteration_Results(bool ascending, int (*proc)(void*, void*, void*), void* context);
    void Sort_Iteration_Results_By_Key(bool ascending,
                                       int (*proc)(char16_t const*, char16_t const*, void*),
                                       void* context);

protected:
    /// The location of a key among `size`, by the sum of its units; -1 if there are none.
    int Determine_Location(char16_t const* key) const;

    /// The first entry of that key, or null. No lock.
    HashTableEntry* Get_Hash_Entry(char16_t const* key) const;
    HashTableEntry* Get_Hash_Entry(char const* key) const;

    /// Writes a number as a key, in room for 11 units, and gives `buffer`; null for a number that
    /// cannot be a key.
    static char16_t const* Get_Key_From_Long(long key, char16_t* buffer);

    /// A free record, zero-filled but for what is the record's for good; null without memory.
    HashTableEntry* Next_Pool_Entry();

    /// Frees the raw data and every entry. `size` stays.
    void Reset();

    /// Compares two entries for a sort by the procedure in the request.
    static int IteratorResultSortProc(HashTableEntry* a, HashTableEntry* b, void* request);

private:
    friend class CIterator;

    static constexpr char16_t const* kNoKey = nullptr;

    /// The order of the entries. It has no lock of its own.
    class EntryList : public CCollection {
    public:
        using CCollection::forget_items;
        using CCollection::GetListItem;
        using CCollection::head_item;
        using CCollection::link_last;
        using CCollection::unlink;
    };

    struct EntriesIterator;
    struct SortRequest;
    struct SortEnd;

    // The operations, once the key is measured.
    long add(const detail::HashKey& key, void* data, long length, bool owned);
    long add_copy(const detail::HashKey& key, void const* source, long length);
    long remove(const detail::HashKey& key);
    long find(const detail::HashKey& key, void** data, long* length);
    long change_key(const detail::HashKey& old_key, const detail::HashKey& new_key);
    long replace(const detail::HashKey& key, void* data, long length, bool owned, void** old_data);
    long replace_copy(const detail::HashKey& key, void const* source, long length, void** old_data);

    HashTableEntry* find_entry(const detail::HashKey& key) const;
    void discard(HashTableEntry& entry, std::size_t key_length);
    void release_raw_data();
    void release_records();
    static EntriesIterator* iterator_of(long handle);
    EntriesIterator* walk_of(long handle) const;
    void remove_under(CIterator& walk);
    void sort_entries(bool ascending, SortRequest& request);
    CEasyCriticalSection* current_lock() const { return lock.load(std::memory_order_acquire); }

    long size = 0;  ///< 0 until Initialize
    detail::HashIndex index;
    void* raw_data = nullptr;
    void (*raw_data_free_procedure)(void*) = nullptr;
    detail::RecordPool records;
    std::uint32_t resets = 0;  ///< how often the records have gone
    EntryList entries;
    char16_t const* name;
    std::atomic<CEasyCriticalSection*> lock{nullptr};
    char16_t lock_name[detail::kTextRoom];
    char16_t requestor_text[detail::kTextRoom];
};

}  // namespace tarnwillow
