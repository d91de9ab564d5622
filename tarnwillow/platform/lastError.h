// The thread's last error. Inner functions return their error; only exported wrappers set this.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Error number (see status.h) of the calling thread's last platform call that failed.
TARNWILLOW_API std::uint32_t GetLastError();
TARNWILLOW_API void SetLastError(std::uint32_t error);

}  // namespace tarnwillow
