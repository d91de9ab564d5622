#include "tarnwillow/platform/minidumpThreads.h"

#include <sys/ptrace.h>
#include <sys/wait.h>

#include "tarnwillow/platform/childCalls.h"

namespace tarnwillow::platform::minidump {

namespace {

constexpr std::size_t kMostThreads = 16384;
constexpr std::int64_t kPatienceMilliseconds = 1000;

/// As the kernel lays out a folder's entries.
struct FolderEntry {
    std::uint64_t inode;
    std::int64_t offset;
    std::uint16_t size;
    std::uint8_t type;
    char name[1];
};
constexpr std::size_t kNameAt = 19;
static_assert(offsetof(FolderEntry, name) == kNameAt);

// 0 for what is no number.
pid_t to_id(char const* digits) {
    pid_t id = 0;
    for (; *digits >= '0' && *digits <= '9' && id < 100000000; ++digits)
        id = id * 10 + (*digits - '0');
    return *digits == 0 ? id : 0;
}

bool trace(int request, pid_t thread, long data) {
    return syscall(SYS_ptrace, request, thread, nullptr, data) == 0;
}

// Seizing leaves no trace in the thread itself: no signal is sent, and a call of the system that it
// waits in goes on afterwards.
void stop(ThreadState& thread) {
    thread.traced = trace(PTRACE_SEIZE, thread.id, 0);
    if (thread.traced) trace(PTRACE_INTERRUPT, thread.id, 0);
}

// Whether there is nothing more to wait for.
bool has_stopped(ThreadState& thread) {
    if (!thread.traced || thread.stopped) return true;
    int state = 0;
    const long found = syscall(SYS_wait4, thread.id, &state, WNOHANG | __WALL, nullptr);
    if (found == 0) return false;
    if (found < 0 || !WIFSTOPPED(state)) {
        thread.traced = false;  // it has ended
        return true;
    }
    thread.stopped = true;
    if (state >> 16 != PTRACE_EVENT_STOP) thread.signal = WSTOPSIG(state);
    return true;
}

}  // namespace

Threads::Threads(pid_t process, pid_t running)
    : states_(child::objects<ThreadState>(kMostThreads)) {
    if (states_ == nullptr) return;
    list(process);
    stop_all_but(running);
    await_stops();
    for (ThreadState& thread : *this)
        if (thread.stopped) thread.known = read_registers(thread.id, &thread.registers);
}

Threads::~Threads() {
    for (ThreadState& thread : *this)
        if (thread.traced) trace(PTRACE_DETACH, thread.id, thread.signal);
}

void Threads::add(pid_t id) {
    if (id > 0 && count_ < kMostThreads) states_[count_++].id = id;
}

void Threads::list(pid_t process) {
    const int folder = open_proc_file(process, "task");
    alignas(8) char entries[4096];
    for (;;) {
        const long size = syscall(SYS_getdents64, folder, entries, sizeof entries);
        if (size <= 0) break;
        for (long at = 0; at < size;) {
            auto const* entry = reinterpret_cast<FolderEntry const*>(entries + at);
            add(to_id(entries + at + kNameAt));
            at += entry->size;
        }
    }
    child::close_file(folder);
}

void Threads::stop_all_but(pid_t running) {
    for (ThreadState& thread : *this)
        if (thread.id != running) stop(thread);
}

void Threads::await_stops() {
    const std::int64_t end = child::milliseconds() + kPatienceMilliseconds;
    for (;;) {
        bool all = true;
        for (ThreadState& thread : *this)
            all = has_stopped(thread) && all;
        if (all || child::milliseconds() > end) return;
        child::pause_for(1);
    }
}

ThreadState* Threads::find(pid_t id) {
    for (ThreadState& thread : *this)
        if (thread.id == id) return &thread;
    return nullptr;
}

}  // namespace tarnwillow::platform::minidump
