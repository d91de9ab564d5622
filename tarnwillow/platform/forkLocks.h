// Locks that must be usable in a forked child.
//
// The child has one thread. A lock that another thread of the parent held at the fork would stay
// held in the child for ever; so a fork first takes every lock noted here.
#pragma once

#include <mutex>

namespace tarnwillow::platform {

/// Notes a lock for the rest of the process's life; false if there is no place left. A thread that
/// holds it must not wait for another one noted here. `in_child`, which may be null, runs in every
/// forked child while the child still holds all the locks, and may call only what is safe there.
bool note_fork_lock(std::mutex& lock, void (*in_child)());

}  // namespace tarnwillow::platform
