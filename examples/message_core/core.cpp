// A whole message core, small enough to read: each line that a process logs becomes one line of a
// text file (see logFile.h), and listeners get the lines of all processes of the account.
//
// Nothing is buffered: a line is in the file when Queue_Entry returns, so the last lines of a
// process that crashes are there. One write to a file opened for appending stays whole, so the
// processes need no lock between them.
#include <unistd.h>

#include <atomic>
#include <exception>
#include <map>
#include <memory>
#include <mutex>

#include "follower.h"
#include "lineText.h"
#include "logFile.h"
#include "tarnwillow/diagnostics/messageCore.h"

namespace message_core {

namespace {

// Opened by the first Initialize, and left open for threads that may still be writing.
std::atomic<int> log_file{-1};

void append(const Line& line) {
    const int file = log_file.load(std::memory_order_relaxed);
    // A full disk costs lines; there is nobody to tell.
    if (file >= 0 && write(file, line.text(), line.length()) < 0) return;
}

/// The listeners of this process. A handle is a number, so a wrong one is only not found.
class Listeners {
public:
    void* add(std::unique_ptr<Follower> follower) {
        const std::lock_guard hold(lock_);
        followers_[++last_handle_] = std::move(follower);
        return reinterpret_cast<void*>(last_handle_);
    }

    void remove(void* handle) {
        std::unique_ptr<Follower> last;  // ends outside the lock, since its end may take a while
        const std::lock_guard hold(lock_);
        const auto found = followers_.find(reinterpret_cast<uintptr_t>(handle));
        if (found == followers_.end() || found->second->is_calling()) return;
        last = std::move(found->second);
        followers_.erase(found);
    }

private:
    std::mutex lock_;
    std::map<uintptr_t, std::unique_ptr<Follower>> followers_;
    uintptr_t last_handle_ = 0;
};

Listeners listeners;

}  // namespace

}  // namespace message_core

using namespace message_core;

int32_t Initialize() try {
    if (log_file < 0) log_file = open_log_file(log_file_path(), true);
    return log_file < 0 ? -1 : 0;
} catch (const std::exception&) {
    return -1;
}

void Queue_Entry(void const* data, int64_t size, int64_t code, int64_t kind) {
    if (kind == TARNWILLOW_BROADCAST_ENTRY)
        append(Line(code, size));
    else if (size == TARNWILLOW_RECORD_SIZE)
        append(Line(*static_cast<tarnwillow_log_record const*>(data), kind));
}

// The listener gets a line's number, the kind 8371, the text and its length. Its thread is one of
// this core. With the flag set it starts with the lines that are in the file already. The selector
// has no meaning here.
int32_t Get_Messages(int64_t, tarnwillow_listener listener, void* context, uint8_t flag,
                     void** handle) try {
    if (listener == nullptr || handle == nullptr) return -1;
    *handle =
        listeners.add(std::make_unique<Follower>(log_file_path(), listener, context, flag != 0));
    return 0;
} catch (const std::exception&) {
    return -1;
}

// Does nothing when the listener itself calls it, which cannot wait for its own end.
void Stop_Messages(void* handle) { listeners.remove(handle); }
