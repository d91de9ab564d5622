#include "tarnwillow/core/heldLocks.h"

#include <cstdlib>
#include <cstring>

#include "tarnwillow/core/unload.h"

namespace tarnwillow::detail {

constinit thread_local HeldLocks held_locks{};

namespace {

void use_places(HeldEntry* first, std::size_t count) {
    held_locks.first_place = first;
    held_locks.last_place = first + count - 1;
    held_locks.latest = first;
}

// Frees the entries on the heap at the thread's end.
struct FreeAtThreadEnd {
    ~FreeAtThreadEnd() {
        if (held_locks.on_heap) std::free(held_locks.first_place);
        held_locks.on_heap = false;
        use_places(held_locks.inline_places, HeldLocks::kInlinePlaces);
    }
};

void remove_entry(HeldEntry* entry) {
    std::memmove(entry, entry + 1,
                 static_cast<std::size_t>(held_locks.latest - entry) * sizeof *entry);
    --held_locks.latest;
}

bool move_to_heap() {
    HeldLocks& held = held_locks;
    if (library_unloading) return false;  // nothing would free it
    HeldEntry* const old = held.first_place;
    const auto count = static_cast<std::size_t>(held.last_place - old) + 1;
    auto* larger = static_cast<HeldEntry*>(std::malloc(2 * count * sizeof(HeldEntry)));
    if (larger == nullptr) return false;
    std::memcpy(larger, old, count * sizeof(HeldEntry));
    use_places(larger, 2 * count);
    held.latest = larger + count - 1;
    if (held.on_heap) std::free(old);
    held.on_heap = true;
    // Local, so that it is registered here and not, as some compilers do, with any use of the list.
    static thread_local FreeAtThreadEnd free_at_thread_end;
    static_cast<void>(&free_at_thread_end);
    return true;
}

bool make_room() {
    if (held_locks.first_place != &before_all_entries) return move_to_heap();
    use_places(held_locks.inline_places, HeldLocks::kInlinePlaces);
    return true;
}

}  // namespace

void grow_and_add_held_entry(void* lock, LeaveLock leave) {
    if (make_room()) add_held_entry(held_locks, lock, leave);
}

void forget_inner_entry(void* lock) {
    for (HeldEntry* entry = held_locks.latest; entry != held_locks.first_place; --entry)
        if (entry->lock == lock) return remove_entry(entry);
}

void forget_lock(void* lock) {
    for (HeldEntry* entry = held_locks.latest; entry != held_locks.first_place; --entry)
        if (entry->lock == lock) remove_entry(entry);
}

void leave_locks_since(LockMark mark) {
    while (held_locks.latest != held_locks.first_place) {
        HeldEntry* const latest = held_locks.latest;
        if (latest->mark < mark) return;
        latest->leave(latest->lock);  // which forgets the entry
        if (held_locks.latest == latest) --held_locks.latest;
    }
}

}  // namespace tarnwillow::detail
