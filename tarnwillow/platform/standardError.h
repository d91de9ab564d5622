// Bytes and text for standard error, past all buffers.
#pragma once

#include <cstddef>

namespace tarnwillow::platform {

/// Writes all the bytes, or as many as the stream takes; `errno` stays as it was. Keeps off the
/// heap; safe in a signal handler.
void write_standard_error(char const* bytes, std::size_t length);

/// The same for `length` units of UTF-16, as UTF-8.
void write_standard_error(char16_t const* text, std::size_t length);

}  // namespace tarnwillow::platform
