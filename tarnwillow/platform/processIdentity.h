// Which process is meant: its number and the moment of its start. Numbers are used again; the two
// together are not.
#pragma once

#include <cstdint>

namespace tarnwillow::platform {

struct ProcessIdentity {
    std::uint32_t id = 0;       ///< 0 for none
    std::uint64_t started = 0;  ///< clock ticks since the system's start
};

/// The running process of that number; all zero if there is none. A process that has ended and is
/// only waited for by its parent does not run.
ProcessIdentity identify_process(std::uint32_t id);

ProcessIdentity current_process();

bool is_running(const ProcessIdentity& process);

}  // namespace tarnwillow::platform
