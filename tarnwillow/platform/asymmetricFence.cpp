#include "tarnwillow/platform/asymmetricFence.h"

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "tarnwillow/platform/raceChecker.h"

namespace tarnwillow::platform {

namespace {

bool membarrier(int command) { return syscall(SYS_membarrier, command, 0, 0) == 0; }

bool register_process() { return membarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED); }

}  // namespace

bool has_asymmetric_fences() {
    // The checker of races knows of no fence that another thread makes.
    static const bool has = !kRaceChecker && register_process();
    return has;
}

void heavy_fence() {
    // A forked child may have to register itself.
    if (!membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED) && register_process())
        membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED);
}

}  // namespace tarnwillow::platform
