#include "cli/program.h"

#include <sys/wait.h>

#include <cstdio>

namespace tarnwillow::test {

ProgramResult run_program(const std::string& arguments) {
    const std::string command = "'" TARNWILLOW_PROGRAM "' " + arguments + " 2>&1";
    FILE* const pipe = popen(command.c_str(), "r");
    ProgramResult result{-1, {}};
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe))
        result.output += static_cast<char>(c);
    result.exit_code = WEXITSTATUS(pclose(pipe));
    return result;
}

}  // namespace tarnwillow::test
