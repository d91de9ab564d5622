// Runs the built program.
#pragma once

#include <functional>
#include <string>

namespace tarnwillow::test {

struct ProgramResult {
    int exit_code;
    std::string output;  ///< of both streams
};

/// `arguments` are read by the shell.
ProgramResult run_program(const std::string& arguments);

/// Whether this machine gives terminals: a bare chroot has no folder of them.
bool has_terminals();

/// The same on a terminal. `seen` is called with all that stands in the output so far, whenever
/// something has come.
ProgramResult run_program_on_terminal(const std::string& arguments,
                                      const std::function<void(const std::string&)>& seen);

}  // namespace tarnwillow::test
