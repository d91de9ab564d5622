#include "tarnwillow/platform/caughtFaults.h"

#include "tarnwillow/core/guard.h"

namespace tarnwillow::platform {

bool run_catching_faults(void (*body)(void* context), void* context) {
    return probe_guard(
        [=] {
            body(context);
            return true;
        },
        [] { return false; });
}

}  // namespace tarnwillow::platform
