// Room for texts that a caller passes straight on: nobody frees them, and they live until the ring
// has turned over.
#pragma once

#include <cstddef>

#include "tarnwillow/core/CEasyCriticalSection.h"

namespace tarnwillow::detail {

class ScratchRing {
public:
    static constexpr std::size_t kSlots = 1024;
    static constexpr std::size_t kSlotSize = 2048;  ///< bytes

    /// The slot to write into next, aligned for text of either width. Any thread.
    void* take();

private:
    CEasyCriticalSection section{u""};
    std::size_t next = 0;
    // Never cleared: a page of the ring costs memory only from its first use on.
    alignas(16) unsigned char slots[kSlots][kSlotSize];
};

/// The ring of the process, made by the first call: the library makes it at load.
ScratchRing& scratch_ring();

}  // namespace tarnwillow::detail
