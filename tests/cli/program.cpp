#include "cli/program.h"

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

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

bool has_terminals() {
    int terminal = -1, program = -1;
    if (openpty(&terminal, &program, nullptr, nullptr, nullptr) != 0) return false;
    close(program);
    close(terminal);
    return true;
}

ProgramResult run_program_on_terminal(const std::string& arguments,
                                      const std::function<void(const std::string&)>& seen) {
    const std::string command = "exec '" TARNWILLOW_PROGRAM "' " + arguments;
    int terminal = -1;
    const pid_t program = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (program == 0) {
        execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        _exit(127);
    }
    ProgramResult result{-1, {}};
    if (program < 0) return result;
    char bytes[1024];
    for (ssize_t count; (count = read(terminal, bytes, sizeof bytes)) > 0;) {
        result.output.append(bytes, static_cast<std::size_t>(count));
        seen(result.output);
    }
    int status = 0;
    waitpid(program, &status, 0);
    close(terminal);
    result.exit_code = WEXITSTATUS(status);
    return result;
}

}  // namespace tarnwillow::test
