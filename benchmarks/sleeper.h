#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

/// Keeps the process from being one of a single thread.
class Sleeper {
public:
    ~Sleeper() {
        {
            const std::lock_guard hold(lock_);
            done_ = true;
        }
        wake_.notify_one();
        thread_.join();
    }

private:
    std::mutex lock_;
    std::condition_variable wake_;
    bool done_ = false;
    std::thread thread_{[this] {
        std::unique_lock hold(lock_);
        wake_.wait(hold, [this] { return done_; });
    }};
};
