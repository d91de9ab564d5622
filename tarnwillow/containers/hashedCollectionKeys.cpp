// The forms of CHashedCollection's keys, each brought to the measured wide form.
#include "tarnwillow/containers/CHashedCollection.h"

namespace tarnwillow {

using detail::HashKey;
using detail::measure_key;
using detail::NarrowHashKey;

namespace {

/// A number's key, with the text that it points to.
class NumberHashKey {
public:
    explicit NumberHashKey(HashNumber number)
        : measured_(measure_key(detail::write_number(number.value(), units_))) {}
    operator HashKey() const { return measured_; }  // NOLINT(google-explicit-constructor)
    NumberHashKey(const NumberHashKey&) = delete;
    NumberHashKey& operator=(const NumberHashKey&) = delete;

private:
    char16_t units_[detail::kNumberRoom];
    HashKey measured_;
};

}  // namespace

long CHashedCollection::Add(char16_t const* key, void* data, long length) {
    return add(measure_key(key), data, length, false);
}

long CHashedCollection::Add(char const* key, void* data, long length) {
    return add(NarrowHashKey(key), data, length, false);
}

long CHashedCollection::Add(HashNumber key, void* data, long length) {
    return add(NumberHashKey(key), data, length, false);
}

long CHashedCollection::Add_Volatile(char16_t const* key, void const* source, long length) {
    return add_copy(measure_key(key), source, length);
}

long CHashedCollection::Add_Volatile(char const* key, void const* source, long length) {
    return add_copy(NarrowHashKey(key), source, length);
}

long CHashedCollection::Add_Volatile(HashNumber key, void const* source, long length) {
    return add_copy(NumberHashKey(key), source, length);
}

long CHashedCollection::Remove(char16_t const* key) { return remove(measure_key(key)); }

long CHashedCollection::Remove(char const* key) { return remove(NarrowHashKey(key)); }

long CHashedCollection::Remove(HashNumber key) { return remove(NumberHashKey(key)); }

long CHashedCollection::Find(char16_t const* key, void** data, long* length) {
    return find(measure_key(key), data, length);
}

long CHashedCollection::Find(char const* key, void** data, long* length) {
    return find(NarrowHashKey(key), data, length);
}

long CHashedCollection::Find(HashNumber key, void** data, long* length) {
    return find(NumberHashKey(key), data, length);
}

long CHashedCollection::Change_Item_Key(char16_t const* old_key, char16_t const* new_key) {
    return change_key(measure_key(old_key), measure_key(new_key));
}

long CHashedCollection::Change_Item_Key(char const* old_key, char const* new_key) {
    return change_key(NarrowHashKey(old_key), NarrowHashKey(new_key));
}

long CHashedCollection::Change_Item_Key(HashNumber old_key, HashNumber new_key) {
    return change_key(NumberHashKey(old_key), NumberHashKey(new_key));
}

long CHashedCollection::Replace_Data(char16_t const* key, void* data, long length,
                                     void** old_data) {
    return replace(measure_key(key), data, length, false, old_data);
}

long CHashedCollection::Replace_Data(char const* key, void* data, long length, void** old_data) {
    return replace(NarrowHashKey(key), data, length, false, old_data);
}

long CHashedCollection::Replace_Data(HashNumber key, void* data, long length, void** old_data) {
    return replace(NumberHashKey(key), data, length, false, old_data);
}

long CHashedCollection::Replace_Data_Volatile(char16_t const* key, void const* source, long length,
                                              void** old_data) {
    return replace_copy(measure_key(key), source, length, old_data);
}

long CHashedCollection::Replace_Data_Volatile(char const* key, void const* source, long length,
                                              void** old_data) {
    return replace_copy(NarrowHashKey(key), source, length, old_data);
}

long CHashedCollection::Replace_Data_Volatile(HashNumber key, void const* source, long length,
                                              void** old_data) {
    return replace_copy(NumberHashKey(key), source, length, old_data);
}

// For derived classes.

int CHashedCollection::Determine_Location(char16_t const* key) const {
    if (size == 0 || key == nullptr) return -1;
    std::uint32_t sum = 0;
    for (; *key != 0; ++key)
        sum += *key;
    return static_cast<int>(sum % static_cast<std::uint32_t>(size));
}

HashTableEntry* CHashedCollection::Get_Hash_Entry(char16_t const* key) const {
    return find_entry(measure_key(key));
}

HashTableEntry* CHashedCollection::Get_Hash_Entry(char const* key) const {
    return find_entry(NarrowHashKey(key));
}

char16_t const* CHashedCollection::Get_Key_From_Long(long key, char16_t* buffer) {
    return detail::write_number(key, buffer);
}

}  // namespace tarnwillow
