#include "tarnwillow/platform/asymmetricFence.h"

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tarnwillow::platform {

namespace {

bool membarrier(int command) { return syscall(SYS_membarrier, command, 0, 0) == 0; }

bool register_process() { return membarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED); }

// The thread sanitizer knows of no fence that another thread makes.
constexpr bool is_understood() {
#if defined(__SANITIZE_THREAD__)
    return false;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
    return false;
#else
    return true;
#endif
#else
    return true;
#endif
}

}  // namespace

bool has_asymmetric_fences() {
    static const bool has = is_understood() && register_process();
    return has;
}

void heavy_fence() {
    // A forked child may have to register itself.
    if (!membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED) && register_process())
        membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED);
}

}  // namespace tarnwillow::platform
