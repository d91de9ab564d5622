// Makes operator new, and memory that may grow in place, fail on demand, in this thread, to see
// what a caller then gets.
#pragma once

#include <cstddef>

namespace tarnwillow::test {

/// While it lives, allocations of this thread fail: all behind the first
/// `successes`, or only those of at least `at_least` bytes.
class FailingAllocator {
public:
    explicit FailingAllocator(std::size_t successes = 0, std::size_t at_least = 0);
    ~FailingAllocator();
    FailingAllocator(const FailingAllocator&) = delete;
    FailingAllocator& operator=(const FailingAllocator&) = delete;

    /// Allocations refused so far.
    std::size_t refused() const;
};

/// Blocks, of any thread, that were not given back yet.
long live_allocations();

}  // namespace tarnwillow::test
