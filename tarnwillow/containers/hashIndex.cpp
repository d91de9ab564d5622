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

HashIndex::Slot* HashIndex::find(const HashKey& key) const {
    if (!ready() || !key.fits()) return nullptr;
    for (std::size_t at = key.hash & mask_; slots_[at].first != nullptr; at = next(at))
        if (slots_[at].hash == key.hash && has_key(*slots_[at].first, key)) return &slots_[at];
    return nullptr;
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
        slots_[at] = {&entry, key.hash};
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
    slots_[hole] = {nullptr, 0};
    --used_;
}

HashKey key_of(const HashTableEntry& entry) {
    const std::size_t length = wide::bounded_length(entry.key, kKeyRoom);
    return {entry.key, static_cast<std::uint32_t>(length), entry.hash};
}

}  // namespace tarnwillow::detail
