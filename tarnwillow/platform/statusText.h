// The texts of the list in status.h.
#pragma once

#include <cstddef>

#include "tarnwillow/platform/api.h"

namespace tarnwillow::platform {

/// Stores the text of a status, ASCII with a terminator, cut to fit `size` units; gives its length.
/// An error number is known by itself and as HRESULT_FROM_WIN32 makes it. A code that is not in the
/// list reads "Error 0x" and eight digits. Size 0 stores nothing.
TARNWILLOW_API std::size_t describe_status(long code, char16_t* buffer, std::size_t size);

}  // namespace tarnwillow::platform
