// The program and its libraries, in a dump.
#pragma once

#include "tarnwillow/platform/minidumpFile.h"
#include "tarnwillow/platform/minidumpProcess.h"

namespace tarnwillow::platform::minidump {

/// Adds the list of modules: what is mapped from ELF files and has code, the program first. Each
/// carries the build-id of its notes, by which a debugger knows the right file again.
void write_modules(File& file, const Process& process);

}  // namespace tarnwillow::platform::minidump
