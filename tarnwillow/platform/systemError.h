// The one place where an error of the system's calls becomes an error number of status.h.
#pragma once

#include <cstdint>

namespace tarnwillow::platform {

/// For a value of `errno`; 0 stays 0.
std::uint32_t error_from_errno(int error);

}  // namespace tarnwillow::platform
