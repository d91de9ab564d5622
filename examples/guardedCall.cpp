// Calls a producer that may be wrong.
#include <tarnwillow/core/guard.h>
#include <tarnwillow/platform/status.h>

#include <cstdio>

using namespace tarnwillow;

long load(long (*producer)(int const* data), int const* data) {
    const long result = reporting_guard(
        ExceptionLevelHandled, u"load",    // who reports a fault, and how serious it is
        [&] { return producer(data); },    // the guarded stretch
        [] { return DISP_E_EXCEPTION; });  // what it gives after a fault
    return result;
}

int main() {
    const auto producer = [](int const* data) -> long { return *data; };
    const int good = 0;
    std::printf("%ld %d\n", load(producer, &good), load(producer, nullptr) == DISP_E_EXCEPTION);
}
