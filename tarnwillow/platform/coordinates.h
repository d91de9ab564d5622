// Arithmetic on coordinates that may come from a settings store or a stranger's window: it wraps
// around, as two's complement does, and never overflows.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/windowTypes.h"

namespace tarnwillow::platform {

constexpr std::int32_t sum(std::int32_t one, std::int32_t other) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(one) +
                                     static_cast<std::uint32_t>(other));
}

constexpr std::int32_t difference(std::int32_t one, std::int32_t other) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(one) -
                                     static_cast<std::uint32_t>(other));
}

constexpr std::int32_t width_of(const RECT& rectangle) {
    return difference(rectangle.right, rectangle.left);
}

constexpr std::int32_t height_of(const RECT& rectangle) {
    return difference(rectangle.bottom, rectangle.top);
}

}  // namespace tarnwillow::platform
