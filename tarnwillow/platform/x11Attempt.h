// An attempt to reach an X server, by a thread of its own: the library of the protocol waits for a
// server without a bound.
#pragma once

#include <cstdint>
#include <memory>
#include <thread>

#include "tarnwillow/platform/x11Connection.h"

namespace tarnwillow::platform::x11 {

/// For one thread at a time. One that is still under way is left to itself when the object goes.
class Attempt {
public:
    /// Null without memory or without another thread.
    static std::unique_ptr<Attempt> start(char const* display);

    ~Attempt();
    Attempt(const Attempt&) = delete;
    Attempt& operator=(const Attempt&) = delete;

    /// Whether it has ended, if need be after so long.
    bool has_ended(std::uint32_t milliseconds);

    /// Once it has ended: the connection, or null if the server was not reached.
    std::unique_ptr<Connection> take();

private:
    struct Outcome;

    explicit Attempt(std::shared_ptr<Outcome> outcome) : outcome_(std::move(outcome)) {}

    std::shared_ptr<Outcome> outcome_;
    std::thread thread_;
    bool keeps_library_ = false;
};

}  // namespace tarnwillow::platform::x11
