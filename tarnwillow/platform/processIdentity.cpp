#include "tarnwillow/platform/processIdentity.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace tarnwillow::platform {

namespace {

/// The process's line of numbers behind its program's name, which may hold anything.
char const* numbers_of(std::uint32_t id, char (&line)[1024]) {
    char path[32];
    std::snprintf(path, sizeof path, "/proc/%" PRIu32 "/stat", id);
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) return nullptr;
    const ssize_t length = read(file, line, sizeof line - 1);
    close(file);
    line[length > 0 ? length : 0] = 0;
    char const* const end_of_name = std::strrchr(line, ')');
    return end_of_name != nullptr ? end_of_name + 1 : nullptr;
}

}  // namespace

ProcessIdentity identify_process(std::uint32_t id) {
    char line[1024];
    char const* const numbers = numbers_of(id, line);
    char state = 0;
    std::uint64_t started = 0;
    constexpr char kStateAndStart[] =
        " %c %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %*s %" SCNu64;
    if (numbers == nullptr || std::sscanf(numbers, kStateAndStart, &state, &started) != 2)
        return {};
    const bool ended = state == 'Z' || state == 'X' || state == 'x';
    return ended ? ProcessIdentity{} : ProcessIdentity{id, started};
}

// Asked once; a forked child is another process.
ProcessIdentity current_process() {
    static std::atomic<std::uint32_t> known{0};
    static std::atomic<std::uint64_t> started{0};
    const auto id = static_cast<std::uint32_t>(getpid());
    if (known.load(std::memory_order_acquire) != id) {
        started.store(identify_process(id).started, std::memory_order_relaxed);
        known.store(id, std::memory_order_release);
    }
    return {id, started.load(std::memory_order_relaxed)};
}

bool is_running(const ProcessIdentity& process) {
    if (process.id == 0) return false;
    const bool is_self = process.id == static_cast<std::uint32_t>(getpid());
    const ProcessIdentity now = is_self ? current_process() : identify_process(process.id);
    return now.id == process.id && now.started == process.started;
}

}  // namespace tarnwillow::platform
