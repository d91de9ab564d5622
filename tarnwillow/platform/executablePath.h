#pragma once

#include <string>

namespace tarnwillow::platform {

/// Absolute path of the running program's file; empty if the system does not tell it. Throws
/// std::bad_alloc.
std::string executable_path();

}  // namespace tarnwillow::platform
