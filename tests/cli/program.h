// Runs the built program.
#pragma once

#include <string>

namespace tarnwillow::test {

struct ProgramResult {
    int exit_code;
    std::string output;  ///< of both streams
};

/// `arguments` are read by the shell.
ProgramResult run_program(const std::string& arguments);

}  // namespace tarnwillow::test
