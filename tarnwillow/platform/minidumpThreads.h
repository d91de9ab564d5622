// The threads of the process, stopped for as long as its dump is written.
#pragma once

#include <sys/types.h>

#include "tarnwillow/platform/minidumpProcess.h"
#include "tarnwillow/platform/minidumpRegisters.h"

namespace tarnwillow::platform::minidump {

struct ThreadState {
    pid_t id;
    bool traced;   ///< by the caller
    bool stopped;  ///< waits for its release
    bool known;    ///< the registers were read
    int signal;    ///< what it was about to receive when it stopped; 0 for nothing
    Registers registers;
};

class Threads {
public:
    /// Lists the threads, stops all but `running` and reads the registers of those that stopped in
    /// time. Threads beyond the first 16,384 are not seen.
    Threads(pid_t process, pid_t running);

    /// Lets them go on, as the end of the caller would.
    ~Threads();
    Threads(const Threads&) = delete;
    Threads& operator=(const Threads&) = delete;

    /// Null if there is no such thread.
    ThreadState* find(pid_t id);

    ThreadState* begin() { return states_; }
    ThreadState* end() { return states_ + count_; }
    std::size_t size() const { return count_; }

private:
    void list(pid_t process);
    void add(pid_t id);
    void stop_all_but(pid_t running);
    void await_stops();

    ThreadState* states_;
    std::size_t count_ = 0;
};

}  // namespace tarnwillow::platform::minidump
