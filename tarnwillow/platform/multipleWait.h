// The one loop behind every wait for objects.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/waitable.h"
#include "tarnwillow/platform/waits.h"

namespace tarnwillow::platform {

/// `objects` stay alive during the wait.
struct WaitRequest {
    Waitable* const* objects;
    std::uint32_t count;
    bool all;  ///< all at once, else the first of them that can be had
    std::uint32_t milliseconds;
    MessagePump const* pump;  ///< null, or a waiting message ends the wait too
};

/// `taken` is no if the time was up or, with `message` set, if a message is waiting.
struct WaitOutcome {
    Taken taken;
    std::uint32_t index;  ///< of the object taken; of an abandoned one, if any was, for all
    bool message;
};

WaitOutcome wait_for_objects(const WaitRequest& request);

}  // namespace tarnwillow::platform
