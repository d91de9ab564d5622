// Memory of the process, in a dump.
#pragma once

#include "tarnwillow/platform/minidumpFile.h"
#include "tarnwillow/platform/minidumpProcess.h"

namespace tarnwillow::platform::minidump {

/// Tells the one who waits for the child that it comes on.
using Progress = void (*)(void* context);

/// The ranges of the list of memory, which thread records also refer to.
class MemoryList {
public:
    MemoryList(File& file, const Process& process);

    /// Adds the used part of the stack that the pointer is in, at most `limit` bytes. A pointer
    /// into the unreadable pages below a stack, as an overflow leaves it, counts for that stack. An
    /// empty range if there is none.
    MemoryRange add_stack(std::uint64_t pointer, std::uint64_t limit);

    /// Adds what is readable in the `size` bytes around the address, if anything is.
    void add_around(std::uint64_t address, std::uint64_t size);

    /// Adds the list itself.
    void write();

private:
    MemoryRange add(std::uint64_t start, std::uint64_t size);

    File& file_;
    const Process& process_;
    MemoryRange* const ranges_;
    std::size_t count_ = 0;
};

/// Adds all memory that the process may read, but for devices, what the process has marked as not
/// for dumps, and private memory around which nothing was ever used. It ends the file: nothing is
/// added behind it.
void write_all_memory(File& file, const Process& process, Progress progress, void* context);

}  // namespace tarnwillow::platform::minidump
