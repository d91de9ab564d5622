#include "tarnwillow/containers/hashIndex.h"

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
        if (slots_[from].first == 0) continue;
        std::size_t at = slots_[from].hash & (number - 1);
        while (wider[at].first != 0)
            at = (at + 1) & (number - 1);
        wider[at] = slots_[from];
    }
    free_slots(slots_, mask_ + 1);
    slots_ = wider;
    mask_ = number - 1;
    return true;
}

// Slots behind the freed one move up where that brings them nearer to their own place, so that no
// walk ends early.
void HashIndex::erase(Slot& slot) {
    auto hole = static_cast<std::size_t>(&slot - slots_);
    for (std::size_t at = next(hole); slots_[at].first != 0; at = next(at)) {
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
