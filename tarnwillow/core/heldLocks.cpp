#include "tarnwillow/core/heldLocks.h"

#include <cstdlib>
#include <cstring>

#include "tarnwillow/core/unload.h"

namespace tarnwillow::detail {

constinit thread_local HeldLocks held_locks{};

namespace {

// Frees the heap entries at the thread's end.
struct FreeAtThreadEnd {
    ~FreeAtThreadEnd() {
        std::free(held_locks.heap);
        held_locks.heap = nullptr;
        held_locks.count = 0;
    }
};

void remove_entry(std::uint32_t at) {
    HeldEntry* entries = held_locks.entries();
    --held_locks.count;
    std::memmove(entries + at, entries + at + 1, (held_locks.count - at) * sizeof(HeldEntry));
}

}  // namespace

bool grow_held_locks() {
    HeldLocks& held = held_locks;
    if (library_unloading) return false;  // nothing would free it
    const std::uint32_t room = held.room() * 2;
    auto* larger = static_cast<HeldEntry*>(std::malloc(room * sizeof(HeldEntry)));
    if (larger == nullptr) return false;
    std::memcpy(larger, held.entries(), held.count * sizeof(HeldEntry));
    std::free(held.heap);
    held.heap = larger;
    held.heap_room = room;
    // Local, so that it is registered here and not, as some compilers do, with any use of the list.
    static thread_local FreeAtThreadEnd free_at_thread_end;
    static_cast<void>(&free_at_thread_end);
    return true;
}

void forget_inner_entry(void* lock) {
    for (std::uint32_t i = held_locks.count; i-- > 0;)
        if (held_locks.entries()[i].lock == lock) return remove_entry(i);
}

void forget_lock(void* lock) {
    for (std::uint32_t i = held_locks.count; i-- > 0;)
        if (held_locks.entries()[i].lock == lock) remove_entry(i);
}

void leave_locks_since(LockMark mark) {
    while (held_locks.count > 0) {
        const HeldEntry latest = held_locks.entries()[held_locks.count - 1];
        if (latest.number <= mark) return;
        const std::uint32_t before = held_locks.count;
        latest.leave(latest.lock);  // which forgets the entry
        if (held_locks.count == before) --held_locks.count;
    }
}

}  // namespace tarnwillow::detail
