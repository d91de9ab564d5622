#include "tarnwillow/text/scratchRing.h"

namespace tarnwillow::detail {

void* ScratchRing::take() {
    CAutoSectionLock hold(section, nullptr, nullptr);
    unsigned char* const slot = slots[next];
    next = (next + 1) % kSlots;
    return slot;
}

ScratchRing& scratch_ring() {
    static ScratchRing ring;
    return ring;
}

}  // namespace tarnwillow::detail
