#include "tarnwillow/core/logClassState.h"

namespace tarnwillow::detail {

std::atomic<std::uint32_t> enabled_log_classes{0};

}  // namespace tarnwillow::detail
