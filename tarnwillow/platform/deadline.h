// A moment of the monotonic clock at which a wait gives up.
#pragma once

#include <time.h>

#include <cstdint>

namespace tarnwillow {

/// A time-out that never comes.
inline constexpr std::uint32_t INFINITE = 0xFFFFFFFF;

namespace platform {

/// Reads the clock when made, so that it is made only once there is something to wait for.
class Deadline {
public:
    explicit Deadline(std::uint32_t milliseconds) : never_(milliseconds == INFINITE), at_{} {
        if (never_) return;
        clock_gettime(CLOCK_MONOTONIC, &at_);
        at_.tv_sec += milliseconds / 1000;
        at_.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
        if (at_.tv_nsec < kSecond) return;
        at_.tv_nsec -= kSecond;
        ++at_.tv_sec;
    }

    bool never() const { return never_; }

    /// The moment, or null for never, as the system's waits take it.
    timespec const* moment() const { return never_ ? nullptr : &at_; }

    /// What is left of it, in nanoseconds; 0 once it has passed. Not for one that is never.
    std::int64_t left() const {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        const std::int64_t left = (at_.tv_sec - now.tv_sec) * kSecond + at_.tv_nsec - now.tv_nsec;
        return left > 0 ? left : 0;
    }
    bool passed() const { return !never_ && left() == 0; }

private:
    static constexpr std::int64_t kSecond = 1000000000;

    bool never_;
    timespec at_;
};

}  // namespace platform
}  // namespace tarnwillow
