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

/// Notes one entry of a lock by this thread, behind the entry itself.
void note_lock_entered(void* lock, LeaveLock leave);

/// Forgets the latest entry of that lock by this thread, ahead of leaving it.
void note_lock_left(void* lock);

/// Forgets every entry of a lock that is about to go.
void forget_lock(void* lock);

/// The mark that separates what was entered so far from what comes.
LockMark lock_mark();

/// Leaves, latest first, every entry noted since the mark.
void leave_locks_since(LockMark mark);

}  // namespace tarnwillow::detail
