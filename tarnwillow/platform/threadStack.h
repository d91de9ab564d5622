// What another thread of this process is doing, for a person to read.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarnwillow::platform {

/// Stores the addresses of the calls that the thread is in, the innermost first; gives how many.
/// The thread is asked by a signal, and answers in the middle of what it does; calls of the system
/// go on, but a sleep or a wait for files may end early (EINTR), as with any signal. 0 if the
/// thread does not answer within 200 ms, for instance because it keeps signals away, or if the host
/// has taken the signal (SIGRTMIN + 10).
std::size_t thread_stack(std::uint32_t thread_id, void** frames, std::size_t room);

/// A line for one such address: function and offset, as far as the function's name is exported, and
/// the module with the offset in it.
std::size_t describe_frame(void* frame, char* out, std::size_t size);

}  // namespace tarnwillow::platform
