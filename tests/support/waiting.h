// Short words for tests of waits: handles that close themselves, and a thread that holds a mutex.
#pragma once

#include <semaphore>
#include <thread>
#include <utility>

#include "tarnwillow/platform/events.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/mutexes.h"
#include "tarnwillow/platform/waits.h"

namespace tarnwillow::test {

/// Longer than anything that comes at all takes to come.
inline constexpr std::uint32_t kPatience = 30000;

/// Long enough to see that something does not come.
inline constexpr std::uint32_t kMoment = 20;

class Handle {
public:
    explicit Handle(HANDLE handle = nullptr) : handle_(handle) {}
    Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    ~Handle() { close(); }
    Handle& operator=(const Handle&) = delete;

    operator HANDLE() const { return handle_; }  // NOLINT(google-explicit-constructor)
    void close() {
        if (handle_ != nullptr) CloseHandle(handle_);
        handle_ = nullptr;
    }

private:
    HANDLE handle_;
};

inline Handle manual_event(bool set = false) {
    return Handle(CreateEventW(nullptr, true, set, nullptr));
}
inline Handle automatic_event(bool set = false) {
    return Handle(CreateEventW(nullptr, false, set, nullptr));
}
inline Handle mutex(char16_t const* name = nullptr) {
    return Handle(CreateMutexW(nullptr, false, name));
}

inline std::uint32_t wait(HANDLE handle, std::uint32_t milliseconds = kPatience) {
    return WaitForSingleObject(handle, milliseconds);
}
inline std::uint32_t look(HANDLE handle) { return WaitForSingleObject(handle, 0); }

/// A thread that has waited for a mutex. It releases it when told so, or ends without.
class Holder {
public:
    explicit Holder(HANDLE mutex)
        : thread_([this, mutex] {
              result_ = wait(mutex);
              held_.release();
              go_on_.acquire();
              if (releases_) ReleaseMutex(mutex);
          }) {
        held_.acquire();
    }
    ~Holder() {
        if (thread_.joinable()) release();
    }
    std::uint32_t result() const { return result_; }
    void release() { end(true); }
    void abandon() { end(false); }

private:
    void end(bool releases) {
        releases_ = releases;
        go_on_.release();
        thread_.join();
    }

    std::uint32_t result_ = WAIT_FAILED;
    bool releases_ = true;
    std::binary_semaphore held_{0};
    std::binary_semaphore go_on_{0};
    std::thread thread_;
};

/// Leaves the mutex behind as a thread that ended while it held it does.
inline void abandon(HANDLE mutex) { Holder(mutex).abandon(); }

}  // namespace tarnwillow::test
