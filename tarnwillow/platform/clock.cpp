#include "tarnwillow/platform/clock.h"

#include <time.h>

#include <cerrno>

namespace tarnwillow {

namespace {

std::uint32_t milliseconds_of(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    const auto milliseconds = static_cast<std::uint64_t>(now.tv_sec) * 1000 +
                              static_cast<std::uint64_t>(now.tv_nsec) / 1000000;
    return static_cast<std::uint32_t>(milliseconds);
}

}  // namespace

std::uint32_t GetTickCount() { return milliseconds_of(CLOCK_MONOTONIC); }

std::uint32_t platform::coarse_tick_count() { return milliseconds_of(CLOCK_MONOTONIC_COARSE); }

void Sleep(std::uint32_t milliseconds) {
    timespec left{static_cast<time_t>(milliseconds / 1000),
                  static_cast<long>(milliseconds % 1000) * 1000000};
    while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
    }
}

}  // namespace tarnwillow
