#include "support/runningChild.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <utility>

extern char** environ;

namespace tarnwillow::test {

namespace {

constexpr int kPatienceMilliseconds = 60000;

struct Pipe {
    int ends[2];
    Pipe() {
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    }
};

pid_t spawn(std::vector<std::string> arguments, int input, int output) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    pid_t child = -1;
    const int error = posix_spawn(&child, pointers[0], &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? child : -1;
}

}  // namespace

RunningChild::RunningChild(std::string_view name, std::string_view argument) {
    start({"/proc/self/exe", "--child", std::string(name), std::string(argument)});
}

RunningChild::RunningChild(const Program& program) { start({program.path, program.argument}); }

void RunningChild::start(std::vector<std::string> arguments) {
    const Pipe to;
    const Pipe from;
    id_ = spawn(std::move(arguments), to.ends[0], from.ends[1]);
    close(to.ends[0]);
    close(from.ends[1]);
    input_ = to.ends[1];
    output_ = from.ends[0];
}

RunningChild::~RunningChild() {
    kill();
    if (input_ >= 0) close(input_);
    close(output_);
}

std::string RunningChild::line() {
    for (;;) {
        const std::size_t end = read_.find('\n');
        if (end != std::string::npos) {
            const std::string first = read_.substr(0, end);
            read_.erase(0, end + 1);
            return first;
        }
        pollfd wait{output_, POLLIN, 0};
        if (poll(&wait, 1, kPatienceMilliseconds) <= 0) return "<end>";
        char bytes[4096];
        const ssize_t count = read(output_, bytes, sizeof bytes);
        if (count <= 0) return "<end>";
        read_.append(bytes, static_cast<std::size_t>(count));
    }
}

std::string RunningChild::ask(std::string_view request) {
    const std::string whole = std::string(request) + "\n";
    if (write(input_, whole.data(), whole.size()) != static_cast<ssize_t>(whole.size()))
        return "<end>";
    return line();
}

void RunningChild::kill() {
    if (id_ <= 0) return;
    ::kill(id_, SIGKILL);
    reap();
}

int RunningChild::finish() {
    close(input_);
    input_ = -1;
    return reap();
}

int RunningChild::reap() {
    int state = 0;
    while (waitpid(id_, &state, 0) < 0 && errno == EINTR) {
    }
    id_ = -1;
    return WIFEXITED(state) ? WEXITSTATUS(state) : -1;
}

bool read_request(std::string* line) { return static_cast<bool>(std::getline(std::cin, *line)); }

void answer(std::string_view line) {
    std::printf("%.*s\n", static_cast<int>(line.size()), line.data());
    std::fflush(stdout);
}

}  // namespace tarnwillow::test
