#include "tarnwillow/core/quickEntry.h"

#include "tarnwillow/platform/threadId.h"

namespace tarnwillow::detail {

// Behind the heavy fence the other thread either sees the way closed before it goes in, or is seen
// inside here. One that was ended in there, or stayed behind in the parent of a fork, never leaves.
void QuickEntry::close(std::uint32_t thread) {
    thread_.store(kClosed, std::memory_order_relaxed);
    platform::heavy_fence();
    while (inside_.load(std::memory_order_acquire) && platform::is_thread_of_process(thread))
        platform::yield_thread();
}

}  // namespace tarnwillow::detail
