// The locks that the calling thread holds, so that a guard can leave those that a fault jumped
// over.
#pragma once

#include <cstdint>

namespace tarnwillow::detail {

/// Leaves one entry of a lock, by its ordinary way. Runs inside a signal handler, on the thread
/// that holds the lock.
using LeaveLock = void (*)(void* lock);

/// A point in the thread's history of entries.
using LockMark = std::uint64_t;

/// One entry of a lock that is not yet left.
struct HeldEntry {
    void* lock;
    LeaveLock leave;
    LockMark number;  ///< counts the thread's entries from 1
};

/// The thread's entries, oldest first. Plain data with no constructor, so that reaching it costs no
/// check. The first places lie here; deep nesting moves the entries to the heap.
struct HeldLocks {
    static constexpr std::uint32_t kInlineEntries = 16;

    LockMark last_number;
    std::uint32_t count;
    std::uint32_t heap_room;
    HeldEntry* heap;
    HeldEntry inline_entries[kInlineEntries];

    HeldEntry* entries() { return heap != nullptr ? heap : inline_entries; }
    std::uint32_t room() const { return heap != nullptr ? heap_room : kInlineEntries; }
};

extern constinit thread_local HeldLocks held_locks __attribute__((tls_model("initial-exec")));

/// Makes room for more entries; false without memory.
bool grow_held_locks();

/// Forgets the latest entry of that lock, wherever it stands.
void forget_inner_entry(void* lock);

/// Notes one entry of a lock by this thread, behind the entry itself. Without memory the entry is
/// not noted, and a guard will then not leave that lock.
inline void note_lock_entered(void* lock, LeaveLock leave) {
    HeldLocks& held = held_locks;
    ++held.last_number;
    if (held.count == held.room() && !grow_held_locks()) return;
    held.entries()[held.count++] = {lock, leave, held.last_number};
}

/// Forgets the latest entry of that lock by this thread, ahead of leaving it.
inline void note_lock_left(void* lock) {
    HeldLocks& held = held_locks;
    if (held.count > 0 && held.entries()[held.count - 1].lock == lock)
        --held.count;
    else
        forget_inner_entry(lock);
}

/// Forgets every entry of a lock that is about to go.
void forget_lock(void* lock);

/// The mark that separates what was entered so far from what comes.
inline LockMark lock_mark() { return held_locks.last_number; }

/// Leaves, latest first, every entry noted since the mark.
void leave_locks_since(LockMark mark);

}  // namespace tarnwillow::detail
