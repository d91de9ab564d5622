// The guards of the calling thread, and the locks that it has entered within them: so a guard can
// leave those that a fault jumped over.
#pragma once

#include <atomic>
#include <cstdint>

#include "tarnwillow/platform/abandonableCall.h"

namespace tarnwillow::detail {

/// Leaves one entry of a lock, by its ordinary way. Runs inside a signal handler, on the thread
/// that holds the lock.
using LeaveLock = void (*)(void* lock);

/// A point in the thread's history of guards.
using LockMark = std::uint64_t;

/// One entry of a lock that is not yet left.
struct HeldEntry {
    void* lock;
    LeaveLock leave;
    LockMark mark;  ///< the latest that was set before
};

/// Stands in front of the oldest entry; no lock is null.
inline constinit HeldEntry before_all_entries{};

/// The thread's entries that were made within a guard, oldest first; no guard leaves others. Plain
/// data with no constructor, so that reaching it costs no check. The first places lie here; deep
/// nesting moves the entries to the heap.
struct HeldLocks {
    static constexpr std::uint32_t kInlinePlaces = 1 + 16;

    /// Null outside guards. Volatile, because the compiler sees no reason why a faulting load would
    /// read it.
    platform::AbandonableCall* volatile innermost_guard = nullptr;
    LockMark last_mark = 0;
    HeldEntry* latest = &before_all_entries;
    HeldEntry* last_place = &before_all_entries;
    HeldEntry* first_place = &before_all_entries;  ///< of no lock
    bool on_heap = false;
    HeldEntry inline_places[kInlinePlaces] = {};
};

extern constinit thread_local HeldLocks held_locks __attribute__((tls_model("initial-exec")));

inline void add_held_entry(HeldLocks& held, void* lock, LeaveLock leave) {
    HeldEntry* const entry = held.latest + 1;
    *entry = {lock, leave, held.last_mark};
    // A thread that is ended by force leaves its entries in between any two instructions.
    std::atomic_signal_fence(std::memory_order_release);
    held.latest = entry;
}

/// Makes room first; without memory the entry is not noted.
[[gnu::cold, gnu::noinline]] void grow_and_add_held_entry(void* lock, LeaveLock leave);

/// Forgets the latest entry of that lock, wherever it stands.
[[gnu::cold, gnu::noinline]] void forget_inner_entry(void* lock);

/// Notes one entry of a lock by this thread, unless that takes memory: false, with nothing noted.
inline bool quickly_note_lock_entered(void* lock, LeaveLock leave) {
    HeldLocks& held = held_locks;
    if (held.innermost_guard == nullptr) return true;
    if (held.latest == held.last_place) return false;
    add_held_entry(held, lock, leave);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    return true;
}

/// Notes one entry of a lock by this thread. Without memory the entry is not noted, and a guard
/// will then not leave that lock. A lock that may be left by a thread that does not hold it, which
/// does nothing, is noted ahead of the entry and forgotten behind the leave: so no thread that is
/// ended by force goes with the lock held.
inline void note_lock_entered(void* lock, LeaveLock leave) {
    if (!quickly_note_lock_entered(lock, leave)) grow_and_add_held_entry(lock, leave);
}

/// Forgets the latest entry of that lock by this thread.
inline void note_lock_left(void* lock) {
    std::atomic_signal_fence(std::memory_order_seq_cst);
    HeldLocks& held = held_locks;
    if (held.latest->lock == lock)
        --held.latest;
    else if (held.latest != held.first_place)
        forget_inner_entry(lock);
}

/// Forgets every entry of a lock that is about to go.
void forget_lock(void* lock);

/// Separates what was entered so far from what comes.
inline LockMark set_lock_mark() { return ++held_locks.last_mark; }

/// Leaves, latest first, every entry noted since the mark.
void leave_locks_since(LockMark mark);

}  // namespace tarnwillow::detail
