// A pair of fences for two sides of which one passes all the time and the other hardly ever: the
// light one costs nothing, the heavy one a few microseconds. Together they order memory as two full
// fences would.
#pragma once

#include <atomic>

namespace tarnwillow::platform {

/// Whether the system has them. The first call asks; any thread.
bool has_asymmetric_fences();

/// For the frequent side: keeps the compiler from moving accesses across it.
inline void light_fence() { std::atomic_signal_fence(std::memory_order_seq_cst); }

/// For the rare side: every running thread of the process passes a full fence before this returns.
/// Only where has_asymmetric_fences.
void heavy_fence();

}  // namespace tarnwillow::platform
