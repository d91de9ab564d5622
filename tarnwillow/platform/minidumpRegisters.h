// Registers of a thread in the layout of a dump, from the three places where they are found. Each
// processor has one source with these functions; elsewhere registers_known() is false.
#pragma once

#include <sys/types.h>
#include <ucontext.h>

#include "tarnwillow/platform/minidumpFormat.h"

namespace tarnwillow::platform::minidump {

using Registers = ContextX86_64;

/// Whether this processor's registers have a layout here.
bool registers_known();

/// Those that the kernel handed to a signal handler, or that getcontext stored.
void read_registers(ucontext_t const& context, Registers* registers);

/// Those of a stopped thread that the caller traces. False if they cannot be read.
bool read_registers(pid_t thread, Registers* registers);

inline std::uint64_t stack_pointer(Registers const& registers) { return registers.rsp; }
inline std::uint64_t instruction_pointer(Registers const& registers) { return registers.rip; }

/// The processor in the system's record.
void describe_processor(SystemInfo* info);

}  // namespace tarnwillow::platform::minidump
