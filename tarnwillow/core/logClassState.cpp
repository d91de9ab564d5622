#include "tarnwillow/core/logClassState.h"

namespace tarnwillow::detail {

constinit std::atomic<LogClassState> log_class_states[kLogClassCount] = {};

constinit std::atomic<bool> log_held_back{false};

}  // namespace tarnwillow::detail
