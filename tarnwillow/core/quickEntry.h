// A way into an object that is guarded by a section, for the one thread that mostly uses it.
//
// The thread that made the object passes by two plain stores, as long as no other thread has come.
// The first other one closes this way for good: from then on all threads go by the section. Where
// the system lacks the fences for it, the way is closed from the start.
#pragma once

#include <atomic>
#include <cstdint>

#include "tarnwillow/platform/asymmetricFence.h"
#include "tarnwillow/platform/threadId.h"

namespace tarnwillow::detail {

class QuickEntry {
public:
    QuickEntry()
        : thread_(platform::has_asymmetric_fences() ? platform::current_thread_id() : kClosed) {}
    QuickEntry(const QuickEntry&) = delete;
    QuickEntry& operator=(const QuickEntry&) = delete;

    /// Whether the caller is in now, alone, without the section. If so it must leave soon: it may
    /// do nothing that can fault, wait or enter again.
    bool try_enter() {
        const std::uint32_t thread = platform::current_thread_id();
        if (thread_.load(std::memory_order_relaxed) != thread) return false;
        inside_.store(true, std::memory_order_relaxed);
        platform::light_fence();
        if (thread_.load(std::memory_order_relaxed) == thread) return true;
        leave();
        return false;
    }
    void leave() { inside_.store(false, std::memory_order_release); }

    /// For the holder of the section, before it touches the object: closes the quick way if it is
    /// another thread's, and waits until that is out.
    void close_for_others() {
        const std::uint32_t thread = thread_.load(std::memory_order_relaxed);
        if (thread != kClosed && thread != platform::current_thread_id()) close(thread);
    }

private:
    static constexpr std::uint32_t kClosed = 0;  // no thread's number

    void close(std::uint32_t thread);

    std::atomic<std::uint32_t> thread_;
    std::atomic<bool> inside_{false};
};

}  // namespace tarnwillow::detail
