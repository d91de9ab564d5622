// A request to stop that wakes whoever waits.
#pragma once

#include <atomic>

namespace tarnwillow::platform {

/// Cancelled once and for all. A copy has the state of its source and from then on one of its own.
class HttpCancellation {
public:
    HttpCancellation();
    HttpCancellation(const HttpCancellation& other);
    HttpCancellation& operator=(const HttpCancellation& other);
    ~HttpCancellation();

    /// From any thread. Ends every wait that uses wake_descriptor.
    void cancel();
    bool cancelled() const { return cancelled_.load(std::memory_order_acquire); }

    /// Readable from the cancellation on; -1 if the system had none to give. A wait without one has
    /// to look at `cancelled` now and then.
    int wake_descriptor() const { return descriptor_; }

private:
    std::atomic<bool> cancelled_{false};
    int descriptor_;
};

}  // namespace tarnwillow::platform
