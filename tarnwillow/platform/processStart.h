// Programs that this process starts, by the system's own call and never through a shell.
//
// A started program gets this process's environment, working directory and standard streams, and no
// blocked signals. Every other descriptor of the library is closed to it. It is a child of this
// process: one that is not waited for to its end is collected by a later start.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tarnwillow/platform/filePath.h"

namespace tarnwillow::platform {

/// How a wait for a process came to its end.
enum class ProcessWait { ended, timed_out };

/// One started process. An object belongs to one thread at a time; nothing here throws.
class StartedProcess {
public:
    StartedProcess() = default;
    /// A process that still runs goes on running.
    ~StartedProcess();
    StartedProcess(const StartedProcess&) = delete;
    StartedProcess& operator=(const StartedProcess&) = delete;

    /// Starts `program` with these arguments behind its name. A plain name is looked for in $PATH,
    /// then in the working directory. 0, or the `errno` of what went wrong. Only for an object that
    /// has not started anything.
    int start(char const* program, const std::vector<std::string>& arguments);

    /// Waits at most so long for the end, by the monotonic clock, and collects the process. At once
    /// `ended` if nothing was started or it was collected before.
    ProcessWait wait(std::uint32_t milliseconds);

    /// Ends the process by force and collects it.
    void kill();

private:
    void collect();

    int descriptor_ = -1;  // the process's pidfd, while it is this object's to collect
};

/// Does what a double click does: starts the program at `file`, or has the desktop's own opener
/// (xdg-open) open a file that is no program. False if neither could be started; a document needs a
/// system with that opener.
bool open_file(const SystemPath& file, const std::vector<std::string>& arguments,
               StartedProcess* process);

}  // namespace tarnwillow::platform
