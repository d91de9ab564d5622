// What the child that writes a dump is told, and its work.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>

#include "tarnwillow/platform/minidumpRegisters.h"

namespace tarnwillow::platform::minidump {

/// What a dump tells of the fault.
struct Fault {
    bool there;
    bool has_registers;
    pid_t thread;
    std::uint32_t code;
    std::uint64_t address;  ///< the memory asked for if the signal tells it, else the instruction
    std::uint64_t instruction;
    Registers registers;
};

/// Seen by both sides.
struct Request {
    pid_t process;
    pid_t caller;  ///< the thread that waits for the child, and keeps still meanwhile
    int file;
    bool full;
    std::uint32_t time;
    Fault fault;
    ucontext_t caller_context;

    alignas(4) std::uint32_t may_begin;  ///< the process has allowed the child to trace it
    alignas(4) std::uint32_t progress;   ///< changes as long as the child comes on
    alignas(4) std::uint32_t finished;
};

/// True if a whole dump stands in the file. Uses no heap, no lock and nothing of the C library that
/// does.
bool write_dump(Request& request);

}  // namespace tarnwillow::platform::minidump
