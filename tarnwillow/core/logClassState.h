// Which log classes are on, in a form that a lock can afford to ask.
#pragma once

#include <atomic>
#include <cstdint>

namespace tarnwillow::detail {

/// Bit n is set while class n is on. Written by diagnostics/ alone.
extern std::atomic<std::uint32_t> enabled_log_classes;

inline bool class_enabled(int log_class) {
    return ((enabled_log_classes.load(std::memory_order_relaxed) >> log_class) & 1U) != 0;
}

}  // namespace tarnwillow::detail
