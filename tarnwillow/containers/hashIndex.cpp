#include "tarnwillow/containers/hashIndex.h"

#include <cstring>
#include <memory>

#include "tarnwillow/platform/memoryBlock.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow::detail {

namespace {

constexpr std::size_t kFewestSlots = 8;

HashIndex::Slot* new_slots(std::size_t number) {
    auto* slots =
        static_cast<HashIndex::Slot*>(platform::allocate_block(number * sizeof(HashIndex::Slot)));
    if (slots != nullptr) std::uninitialized_value_construct_n(slots, number);
    return slots;
}

void free_slots(HashIndex::Slot* slots, std::size_t number) {
    platform::free_block(slots, number * sizeof(HashIndex::Slot));
}

// The terminator is compared too: it tells a key from a longer one that begins the same.
bool has_key(const HashTableEntry& entry, const HashKey& key) {
    return std::memcmp(entry.key, key.text, (key.length + 1) * sizeof(char16_t)) == 0;
}

// List items lie close together as a rule: the lower part of an address, and the upper part of
// another one's, make a good guess.
constexpr std::uintptr_t kItemRange = (std::uintptr_t{1} << 32) * sizeof(CListItem);

std::uint32_t item_number(std::uintptr_t item) {
    return static_cast<std::uint32_t>(item % kItemRange / sizeof(CListItem));
}

std::uintptr_t guess_item(std::uintptr_t other_item, std::uint32_t number) {
    return other_item / kItemRange * kItemRange + number * sizeof(CListItem);
}

}  // namespace

bool HashIndex::allocate(std::size_t keys) {
    std::size_t number = kFewestSlots;
    while (is_full(keys, number))
        number *= 2;
    slots_ = new_slots(number);
    mask_ = number - 1;
    used_ = 0;
    return ready();
}

void HashIndex::release() {
    free_slots(slots_, mask_ + 1);
    *this = HashIndex();
}

bool HashIndex::grow() {
    const std::size_t number = (mask_ + 1) * 2;
    Slot* wider = new_slots(number);
    if (wider == nullptr) return false;
    for (std::size_t from = 0; from <= mask_; ++from) {
        if (slots_[from].first == nullptr) continue;
        std::size_t at = slots_[from].hash & (number - 1);
        while (wider[at].first != nullptr)
            at = (at + 1) & (number - 1);
        wider[at] = slots_[from];
    }
    free_slots(slots_, mask_ + 1);
    slots_ = wider;
    mask_ = number - 1;
    return true;
}

template <class OnTheWay>
inline HashIndex::Slot* HashIndex::find_slot(const HashKey& key, OnTheWay on_the_way) const {
    if (!ready() || !key.fits()) return nullptr;
    for (std::size_t at = key.hash & mask_; slots_[at].first != nullptr; at = next(at)) {
        if (slots_[at].hash != key.hash) continue;
        on_the_way(slots_[at]);
        if (has_key(*slots_[at].first, key)) return &slots_[at];
    }
    return nullptr;
}

HashIndex::Slot* HashIndex::find(const HashKey& key) const {
    return find_slot(key, [](const Slot&) {});
}

HashIndex::Slot* HashIndex::find_to_remove(const HashKey& key) const {
    return find_slot(key, [this](const Slot& slot) {
        __builtin_prefetch(&slot.first->data, 1);
        __builtin_prefetch(reinterpret_cast<void*>(guess_item(latest_item_, slot.item)), 1);
    });
}

void HashIndex::append(HashTableEntry& entry, const HashKey& key) {
    std::size_t at = key.hash & mask_;
    while (slots_[at].first != nullptr &&
           !(slots_[at].hash == key.hash && has_key(*slots_[at].first, key)))
        at = next(at);
    entry.next = nullptr;
    if (HashTableEntry* first = slots_[at].first) {
        entry.previous = first->previous;
        first->previous->next = &entry;
        first->previous = &entry;
    } else {
        entry.previous = &entry;
        latest_item_ = reinterpret_cast<std::uintptr_t>(entry.item);
        slots_[at] = {&entry, key.hash, item_number(latest_item_)};
        ++used_;
    }
}

void HashIndex::remove(Slot& slot, const HashTableEntry& entry) {
    HashTableEntry* first = slot.first;
    if (first != &entry) {
        entry.previous->next = entry.next;
        (entry.next != nullptr ? entry.next : first)->previous = entry.previous;
    } else if (entry.next != nullptr) {
        entry.next->previous = entry.previous;
        slot.first = entry.next;
    } else {
        erase(slot);
    }
}

// Slots behind the freed one move up where that brings them nearer to their own place, so that no
// walk ends early.
void HashIndex::erase(Slot& slot) {
    auto hole = static_cast<std::size_t>(&slot - slots_);
    for (std::size_t at = next(hole); slots_[at].first != nullptr; at = next(at)) {
        const std::size_t own = slots_[at].hash & mask_;
        if (((at - own) & mask_) < ((at - hole) & mask_)) continue;
        slots_[hole] = slots_[at];
        hole = at;
    }
    slots_[hole] = {};
    --used_;
}

HashKey key_of(const HashTableEntry& entry) {
    const std::size_t length = wide::bounded_length(entry.key, kKeyRoom);
    return {entry.key, static_cast<std::uint32_t>(length), entry.hash};
}

}  // namespace tarnwillow::detail
