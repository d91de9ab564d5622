#include "tarnwillow/platform/processStart.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <mutex>
#include <new>

namespace tarnwillow::platform {

namespace {

constexpr char kOpener[] = "xdg-open";

// A killed process that is not gone by then waits for a device, and is left to itself.
constexpr std::uint32_t kDeathMilliseconds = 5000;

/// Takes the end of a process without waiting for it; true once it has ended, whoever took that.
bool collected(int descriptor) {
    siginfo_t end{};
    int result = 0;
    do {
        result = waitid(P_PIDFD, static_cast<id_t>(descriptor), &end, WEXITED | WNOHANG);
    } while (result != 0 && errno == EINTR);
    return result != 0 || end.si_pid != 0;
}

/// Processes that nobody waits for: each start takes the ends that came meanwhile, so that they do
/// not pile up among the system's dead.
class Leftovers {
public:
    static Leftovers& instance() {
        static Leftovers leftovers;
        return leftovers;
    }

    void add(int descriptor) {
        const std::lock_guard hold(lock_);
        try {
            running_.push_back(descriptor);
        } catch (const std::bad_alloc&) {
            close(descriptor);  // stays among the dead until this process ends
        }
    }

    void collect_ended() {
        const std::lock_guard hold(lock_);
        const auto ended = [](int descriptor) {
            return collected(descriptor) && close(descriptor) == 0;
        };
        running_.erase(std::remove_if(running_.begin(), running_.end(), ended), running_.end());
    }

private:
    std::mutex lock_;
    std::vector<int> running_;
};

class SpawnAttributes {
public:
    SpawnAttributes() {
        posix_spawnattr_init(&attributes_);
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK);
    }
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;
    posix_spawnattr_t const* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_;
};

std::vector<char*> argument_list(char const* program, const std::vector<std::string>& arguments) {
    std::vector<char*> list;
    list.reserve(arguments.size() + 2);
    list.push_back(const_cast<char*>(program));
    for (const std::string& argument : arguments)
        list.push_back(const_cast<char*>(argument.c_str()));
    list.push_back(nullptr);
    return list;
}

int spawn(char const* program, const std::vector<std::string>& arguments, pid_t* child) {
    const SpawnAttributes attributes;
    const std::vector<char*> list = argument_list(program, arguments);
    const int error = posix_spawnp(child, program, nullptr, attributes.get(), list.data(), environ);
    if (error != ENOENT || std::strchr(program, '/') != nullptr) return error;
    const std::string here = std::string("./") + program;
    return posix_spawn(child, here.c_str(), nullptr, attributes.get(), list.data(), environ);
}

bool is_document(char const* path, int start_error) {
    struct stat about {};
    return (start_error == EACCES || start_error == ENOEXEC) && stat(path, &about) == 0 &&
           (S_ISREG(about.st_mode) || S_ISDIR(about.st_mode));
}

}  // namespace

StartedProcess::~StartedProcess() {
    if (descriptor_ >= 0) Leftovers::instance().add(descriptor_);
}

int StartedProcess::start(char const* program, const std::vector<std::string>& arguments) {
    Leftovers::instance().collect_ended();
    try {
        pid_t child = -1;
        const int error = spawn(program, arguments, &child);
        // A host that ignores its children's ends may have lost this one already.
        if (error == 0) descriptor_ = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
        return error;
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}

ProcessWait StartedProcess::wait(std::uint32_t milliseconds) {
    using Clock = std::chrono::steady_clock;
    const auto until = Clock::now() + std::chrono::milliseconds(milliseconds);
    while (descriptor_ >= 0) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
        pollfd process{descriptor_, POLLIN, 0};
        const int ready =
            poll(&process, 1, static_cast<int>(std::clamp<long>(left.count(), 0, 1 << 30)));
        if (ready > 0) collect();
        if (ready == 0 && Clock::now() >= until) return ProcessWait::timed_out;
    }
    return ProcessWait::ended;
}

void StartedProcess::kill() {
    if (descriptor_ < 0) return;
    syscall(SYS_pidfd_send_signal, descriptor_, SIGKILL, nullptr, 0);
    wait(kDeathMilliseconds);
}

void StartedProcess::collect() {
    if (!collected(descriptor_)) return;
    close(descriptor_);
    descriptor_ = -1;
}

bool open_file(const SystemPath& file, const std::vector<std::string>& arguments,
               StartedProcess* process) {
    if (file.empty()) return false;
    const int error = process->start(file.c_str(), arguments);
    if (!is_document(file.c_str(), error)) return error == 0;
    try {
        return process->start(kOpener, {file.c_str()}) == 0;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace tarnwillow::platform
