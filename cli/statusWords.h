#pragma once

#include <string>

namespace tarnwillow::cli {

/// "NAME: text" of a status in the list, else "status 0x" and eight digits.
std::string status_words(long status);

}  // namespace tarnwillow::cli
