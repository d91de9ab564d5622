// The reading end: a thread that waits for lines in the file and hands them to one listener.
#pragma once

#include <string>
#include <thread>

#include "tarnwillow/diagnostics/messageRecord.h"

namespace message_core {

class Follower {
public:
    /// Starts with the lines that are there already, or only with those that come. Throws
    /// std::system_error.
    Follower(const std::string& path, tarnwillow_listener listener, void* context, bool from_start);

    /// The listener is not called any more once this has returned.
    ~Follower();
    Follower(const Follower&) = delete;
    Follower& operator=(const Follower&) = delete;

    /// Whether the calling thread is the one that runs the listener.
    bool is_calling() const { return std::this_thread::get_id() == thread_.get_id(); }

private:
    void run();
    void deliver_new_lines();
    void deliver(std::string& line);
    bool wait_for_change();

    const tarnwillow_listener listener_;
    void* const context_;
    int file_ = -1;
    int changes_ = -1;  // tells of writes to the file
    int stop_ = -1;     // tells the thread to end
    uint64_t lines_ = 0;
    std::string rest_;  // the start of a line whose end has not come
    std::thread thread_;
};

}  // namespace message_core
