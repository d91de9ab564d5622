#include "tarnwillow/text/randomNumber.h"

#include <atomic>

#include "tarnwillow/platform/status.h"
#include "tarnwillow/text/valueConversions.h"

namespace tarnwillow {

namespace detail {

namespace {

std::atomic<std::uint32_t> state{1};

std::uint32_t step(std::uint32_t from) { return from * 1664525U + 1013904223U; }

}  // namespace

void seed_random(std::uint32_t seed) { state.store(seed, std::memory_order_relaxed); }

std::uint32_t next_random() {
    std::uint32_t before = state.load(std::memory_order_relaxed);
    while (!state.compare_exchange_weak(before, step(before), std::memory_order_relaxed)) {
    }
    return step(before) >> 17;  // the high bits are the random ones
}

}  // namespace detail

long RangeRandom(long low, long high) {
    const auto first = static_cast<std::uint32_t>(low);
    const std::uint32_t numbers = static_cast<std::uint32_t>(high) - first + 1;
    const auto product = static_cast<std::int32_t>(detail::next_random() * numbers);
    return status(static_cast<std::uint32_t>(product / 32767) + first);
}

}  // namespace tarnwillow
