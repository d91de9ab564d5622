// The library's own small generator, so that the host's sequence stays the host's.
#pragma once

#include <cstdint>

namespace tarnwillow::detail {

/// Starts the sequence anew. The library does so once, when it loads.
void seed_random(std::uint32_t seed);

/// The next number, 0 to 32767. Any thread.
std::uint32_t next_random();

}  // namespace tarnwillow::detail
