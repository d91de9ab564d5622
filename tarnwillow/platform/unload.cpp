#include "tarnwillow/platform/unload.h"

namespace tarnwillow::detail {

std::atomic<bool> library_unloading{false};

}  // namespace tarnwillow::detail
