// A named child of the test binary that runs beside the test: the two talk in lines, and the test
// may kill it at any moment.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

namespace tarnwillow::test {

/// Another program, started with one argument.
struct Program {
    std::string path;
    std::string argument;
};

class RunningChild {
public:
    /// Starts the child of that name (see childProcess.h).
    explicit RunningChild(std::string_view name, std::string_view argument = {});

    explicit RunningChild(const Program& program);

    /// Kills the child if it still runs.
    ~RunningChild();
    RunningChild(const RunningChild&) = delete;
    RunningChild& operator=(const RunningChild&) = delete;

    pid_t id() const { return id_; }

    /// The next line that the child has written to its standard output, without its end; "<end>" at
    /// the end of the output or after a minute.
    std::string line();

    /// Writes a line to the child's standard input, and gives its answer.
    std::string ask(std::string_view request);

    /// Ends the child by SIGKILL and waits for that.
    void kill();

    /// Closes the child's standard input and waits for it; its exit code, -1 for a signal.
    int finish();

private:
    void start(std::vector<std::string> arguments);
    int reap();

    pid_t id_ = -1;
    int input_ = -1;   // the child's
    int output_ = -1;  // the child's
    std::string read_;
};

/// For a child: the next line of its standard input, false at its end; and an answer.
bool read_request(std::string* line);
void answer(std::string_view line);

}  // namespace tarnwillow::test
