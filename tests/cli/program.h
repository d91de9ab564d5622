// The built program, run by a shell.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <string>

namespace tarnwillow::test {

struct ProgramResult {
    int exit_code;
    std::string output;  ///< of both kinds
};

inline ProgramResult run_program(const std::string& arguments) {
    const std::string command = "'" TARNWILLOW_PROGRAM "' " + arguments + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    std::string output;
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe))
        output += static_cast<char>(c);
    const int state = pclose(pipe);
    return {WEXITSTATUS(state), output};
}

}  // namespace tarnwillow::test
