#include "tarnwillow/core/heldLocks.h"

#include <cstdlib>
#include <cstring>

#include "tarnwillow/core/unload.h"

namespace tarnwillow::detail {

namespace {

struct Entry {
    void* lock;
    LeaveLock leave;
    LockMark number;  // counts the thread's entries from 1
};

constexpr std::uint32_t kInlineEntries = 16;

// Plain data with no constructor, so that reaching it costs no check. Deep nesting moves the
// entries to the heap; without memory the entry is not noted, and a guard will then not leave that
// lock.
struct HeldLocks {
    LockMark last_number;
    std::uint32_t count;
    std::uint32_t heap_room;
    Entry* heap;
    Entry inline_entries[kInlineEntries];

    Entry* entries() { return heap != nullptr ? heap : inline_entries; }
    std::uint32_t room() const { return heap != nullptr ? heap_room : kInlineEntries; }
};

[[gnu::tls_model("initial-exec")]] thread_local HeldLocks held;

// Frees the heap entries at the thread's end.
struct FreeAtThreadEnd {
    ~FreeAtThreadEnd() {
        std::free(held.heap);
        held.heap = nullptr;
        held.count = 0;
    }
};

bool grow() {
    if (library_unloading) return false;  // nothing would free it
    const std::uint32_t room = held.room() * 2;
    auto* larger = static_cast<Entry*>(std::malloc(room * sizeof(Entry)));
    if (larger == nullptr) return false;
    std::memcpy(larger, held.entries(), held.count * sizeof(Entry));
    std::free(held.heap);
    held.heap = larger;
    held.heap_room = room;
    // Local, so that it is registered here and not, as some compilers do, with any use of `held`.
    static thread_local FreeAtThreadEnd free_at_thread_end;
    static_cast<void>(&free_at_thread_end);
    return true;
}

void remove_entry(std::uint32_t at) {
    Entry* entries = held.entries();
    --held.count;
    std::memmove(entries + at, entries + at + 1, (held.count - at) * sizeof(Entry));
}

}  // namespace

void note_lock_entered(void* lock, LeaveLock leave) {
    ++held.last_number;
    if (held.count == held.room() && !grow()) return;
    held.entries()[held.count++] = {lock, leave, held.last_number};
}

void note_lock_left(void* lock) {
    const Entry* entries = held.entries();
    for (std::uint32_t i = held.count; i-- > 0;)
        if (entries[i].lock == lock) return remove_entry(i);
}

void forget_lock(void* lock) {
    for (std::uint32_t i = held.count; i-- > 0;)
        if (held.entries()[i].lock == lock) remove_entry(i);
}

LockMark lock_mark() { return held.last_number; }

void leave_locks_since(LockMark mark) {
    while (held.count > 0) {
        const Entry latest = held.entries()[held.count - 1];
        if (latest.number <= mark) return;
        const std::uint32_t before = held.count;
        latest.leave(latest.lock);  // which forgets the entry
        if (held.count == before) --held.count;
    }
}

}  // namespace tarnwillow::detail
