#pragma once

#include <unistd.h>

#include <utility>

namespace tarnwillow::platform {

/// A descriptor that closes with its scope.
class Descriptor {
public:
    explicit Descriptor(int descriptor = -1) : descriptor_(descriptor) {}
    ~Descriptor() { reset(-1); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }

    /// Gives the descriptor away.
    int release() { return std::exchange(descriptor_, -1); }

    void reset(int descriptor) {
        if (descriptor_ >= 0) close(descriptor_);
        descriptor_ = descriptor;
    }

private:
    int descriptor_;
};

}  // namespace tarnwillow::platform
