#include "tarnwillow/platform/processes.h"

#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <new>

#include "tarnwillow/platform/forcedEnd.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/systemError.h"
#include "tarnwillow/platform/waitable.h"

namespace tarnwillow {

namespace {

class Process : public platform::Waitable {
public:
    explicit Process(std::uint32_t id)
        : Waitable(platform::ObjectKind::process),
          id_(id),
          file_(static_cast<int>(syscall(SYS_pidfd_open, static_cast<pid_t>(id), 0))) {}
    ~Process() override {
        if (file_ >= 0) close(file_);
    }

    bool is_open() const { return file_ >= 0; }
    std::uint32_t id() const { return id_; }

    platform::Taken take() override {
        pollfd ended{file_, POLLIN, 0};
        return poll(&ended, 1, 0) > 0 ? platform::Taken::yes : platform::Taken::no;
    }
    bool watch(platform::Waiter& waiter) override { return waiter.add_file(file_); }
    void unwatch(platform::Waiter&) override {}

    // The child stays for its parent to wait for.
    bool exit_code(std::uint32_t& code) {
        siginfo_t state{};
        if (take() == platform::Taken::no) {
            code = STILL_ACTIVE;
            return true;
        }
        if (waitid(P_PIDFD, static_cast<id_t>(file_), &state, WEXITED | WNOHANG | WNOWAIT) != 0)
            return false;
        const auto status = static_cast<std::uint32_t>(state.si_status);
        code = state.si_code == CLD_EXITED ? status : 128 + status;
        return true;
    }

private:
    const std::uint32_t id_;
    const int file_;
};

std::shared_ptr<Process> find_process(HANDLE handle) {
    auto process = std::static_pointer_cast<Process>(
        platform::find_object(handle, platform::ObjectKind::process));
    if (process == nullptr) SetLastError(ERROR_INVALID_HANDLE);
    return process;
}

}  // namespace

std::uint32_t GetCurrentProcessId() { return static_cast<std::uint32_t>(getpid()); }

HANDLE OpenProcess(std::uint32_t, bool, std::uint32_t process_id) {
    const platform::ForcedEndPause pause;
    std::uint32_t error = ERROR_NOT_ENOUGH_MEMORY;
    try {
        const auto process = std::make_shared<Process>(process_id);
        if (!process->is_open())
            error = platform::error_from_errno(errno);
        else if (const HANDLE handle = platform::open_handle(process))
            return handle;
    } catch (const std::bad_alloc&) {
        error = ERROR_NOT_ENOUGH_MEMORY;
    }
    SetLastError(error);
    return nullptr;
}

bool GetExitCodeProcess(HANDLE handle, std::uint32_t* code) {
    const platform::ForcedEndPause pause;
    const auto process = find_process(handle);
    if (process == nullptr) return false;
    if (code != nullptr && process->exit_code(*code)) return true;
    SetLastError(static_cast<std::uint32_t>(code != nullptr ? ERROR_ACCESS_DENIED
                                                            : ERROR_INVALID_PARAMETER));
    return false;
}

std::uint32_t GetProcessId(HANDLE handle) {
    const platform::ForcedEndPause pause;
    const auto process = find_process(handle);
    return process != nullptr ? process->id() : 0;
}

}  // namespace tarnwillow
