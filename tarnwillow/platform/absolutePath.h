#pragma once

#include <string>

namespace tarnwillow::platform {

/// The one spelling of a path by which two names of one file meet: absolute, without links, "." and
/// "..", as far as its folders exist by now; the rest as it is spelled. Takes both separators.
/// Empty for null and for a path that is too long for the system. Throws std::bad_alloc.
std::string absolute_path(char const* path);

}  // namespace tarnwillow::platform
