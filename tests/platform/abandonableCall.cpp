#include "tarnwillow/platform/abandonableCall.h"

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>

namespace {

using namespace tarnwillow::platform;

struct Call : AbandonableCall {
    AbandonableCall* volatile latest = nullptr;
    int steps = 0;
};

// Leaves nothing as it was in the registers that a function keeps for its caller.
void spoil_registers() {
#if defined(__x86_64__)
    __asm__ volatile(
        "xor %%ebx, %%ebx\nxor %%r12d, %%r12d\nxor %%r13d, %%r13d\nxor %%r14d, %%r14d\n"
        "xor %%r15d, %%r15d" ::
            : "rbx", "r12", "r13", "r14", "r15");
#endif
}

int dig_and_abandon(Call& call, int depth) {
    volatile int below = depth;
    ++call.steps;
    spoil_registers();
    if (depth == 0) abandon(*call.latest);
    if (depth < 0) return 0;
    return dig_and_abandon(call, depth - 1) + below;
}

bool run(Call& call, void (*body)(void*)) {
    return call_abandonable(call, body, &call, &call.latest);
}

TEST(AbandonableCall, GivesTheCallerItsRegistersBack) {
    volatile int one = 1;
    for (int round = 0; round < 3; ++round) {
        std::array<int, 8> kept{};
        for (int& value : kept)
            value = one + round + static_cast<int>(&value - kept.data());
        const int a = one + 1, b = one + 2, c = one + 3, d = one + 4, e = one + 5, f = one + 6;
        Call call;
        EXPECT_FALSE(run(call, [](void* of) { dig_and_abandon(*static_cast<Call*>(of), 20); }));
        EXPECT_EQ(call.steps, 21);
        EXPECT_EQ(call.latest, &call);
        EXPECT_EQ(a + b + c + d + e + f, 27);
        for (int& value : kept)
            EXPECT_EQ(value, 1 + round + (&value - kept.data()));
    }
}

TEST(AbandonableCall, LetsReturnsAndExceptionsThrough) {
    Call call;
    EXPECT_TRUE(run(call, [](void* of) { ++static_cast<Call*>(of)->steps; }));
    EXPECT_EQ(call.steps, 1);
    EXPECT_THROW(run(call, [](void*) { throw std::runtime_error("through"); }), std::runtime_error);
}

}  // namespace
