#include "support/childProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <map>

extern char** environ;

namespace tarnwillow::test {

namespace {

constexpr char kChildFlag[] = "--child";
constexpr int kPatienceMilliseconds = 60000;

std::map<std::string, ChildBody, std::less<>>& children() {
    static std::map<std::string, ChildBody, std::less<>> registered;
    return registered;
}

std::string read_to_end(int file, pid_t child) {
    std::string text;
    char bytes[4096];
    for (;;) {
        pollfd wait{file, POLLIN, 0};
        const int ready = poll(&wait, 1, kPatienceMilliseconds);
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) kill(child, SIGKILL);
        const ssize_t count = read(file, bytes, sizeof bytes);
        if (count <= 0) return text;
        text.append(bytes, static_cast<std::size_t>(count));
    }
}

pid_t spawn(std::string program, std::string name, std::string argument, int output) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
    std::string flag = kChildFlag;
    char* arguments[] = {program.data(), flag.data(), name.data(), argument.data(), nullptr};
    pid_t child = -1;
    const int error = posix_spawn(&child, program.c_str(), &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? child : -1;
}

}  // namespace

ChildRegistration::ChildRegistration(std::string_view name, ChildBody body) {
    children().emplace(name, body);
}

ChildResult run_child(std::string_view name, std::string_view argument) {
    return run_child_of("/proc/self/exe", name, argument);
}

ChildResult run_child_of(const std::string& program, std::string_view name,
                         std::string_view argument) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return {-1, 0, "no pipe"};
    const pid_t child = spawn(program, std::string(name), std::string(argument), ends[1]);
    close(ends[1]);
    ChildResult result{-1, 0, {}};
    if (child > 0) {
        result.output = read_to_end(ends[0], child);
        int state = 0;
        while (waitpid(child, &state, 0) < 0 && errno == EINTR) {
        }
        if (WIFEXITED(state)) result.exit_code = WEXITSTATUS(state);
        if (WIFSIGNALED(state)) result.signal = WTERMSIG(state);
    }
    close(ends[0]);
    return result;
}

bool run_named_child(int argc, char** argv, int* exit_code) {
    if (argc < 3 || std::string_view(argv[1]) != kChildFlag) return false;
    const auto child = children().find(std::string_view(argv[2]));
    *exit_code = child != children().end() ? child->second(argc > 3 ? argv[3] : "") : 127;
    return true;
}

}  // namespace tarnwillow::test
