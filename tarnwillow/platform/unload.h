// The library's end, as far as the other parts must know of it.
//
// A thread-local destructor that is registered while the library is being unloaded would run behind
// its own code's end. So from the moment the unload starts nothing registers one any more, and what
// it would have freed is not kept in the first place.
#pragma once

#include <atomic>

namespace tarnwillow::detail {

extern std::atomic<bool> library_unloading;

}  // namespace tarnwillow::detail
