// The command "crash".
#pragma once

namespace tarnwillow::cli {

/// The command "crash": faults inside a guard, to try what becomes of it. Without a folder the
/// fault is reported as the setting ExceptionHandlerLevel says; with one a dump is written there.
/// Prints where the dump stands; exit code 1 if there is none.
int crash_command(int argc, char** argv);

}  // namespace tarnwillow::cli
