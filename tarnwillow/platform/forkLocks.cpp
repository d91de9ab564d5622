#include "tarnwillow/platform/forkLocks.h"

#include <pthread.h>

#include <atomic>

namespace tarnwillow::platform {

namespace {

struct ForkLock {
    std::mutex* lock;
    void (*in_child)();
};

constexpr int kRoom = 16;
ForkLock fork_locks[kRoom];
std::atomic<int> count{0};
std::mutex noting;

void take_all() {
    noting.lock();
    for (int i = 0; i < count; ++i)
        fork_locks[i].lock->lock();
}

void give_all_back() {
    for (int i = count; i-- > 0;)
        fork_locks[i].lock->unlock();
    noting.unlock();
}

void clean_child() {
    for (int i = 0; i < count; ++i)
        if (fork_locks[i].in_child != nullptr) fork_locks[i].in_child();
    give_all_back();
}

}  // namespace

bool note_fork_lock(std::mutex& lock, void (*in_child)()) {
    static const int registered = pthread_atfork(take_all, give_all_back, clean_child);
    const std::lock_guard hold(noting);
    if (registered != 0 || count == kRoom) return false;
    fork_locks[count] = {&lock, in_child};
    ++count;
    return true;
}

}  // namespace tarnwillow::platform
