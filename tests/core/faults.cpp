#include "faults.h"

#include <signal.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "tarnwillow/platform/exceptions.h"

namespace {

// Reaches the procedures at run time only, so that the optimiser cannot see the fault coming.
volatile std::uintptr_t null_address = 0;
volatile std::uintptr_t wild_address = 0x7FFFFFFFF123;
volatile int zero = 0;
volatile int dividend = 100;
volatile int sink;

int* at(std::uintptr_t address) { return reinterpret_cast<int*>(address); }

void null_read() { sink = *at(null_address); }
void null_write() { *at(null_address) = 1; }
void wild_read() { sink = *at(wild_address); }
void wild_write() { *at(wild_address) = 1; }
void call_null() { reinterpret_cast<void (*)()>(null_address)(); }
void fault_in_strlen() {
    sink = static_cast<int>(std::strlen(reinterpret_cast<char const*>(wild_address)));
}
void fault_in_free() { std::free(reinterpret_cast<void*>(wild_address & ~std::uintptr_t{15})); }
int overflow(int depth) {
    volatile char frame[4096];
    frame[depth % 4096] = 1;
    return overflow(depth + 1) + frame[0];
}
void stack_overflow() { sink = overflow(0); }
void breakpoint() {
#if defined(__x86_64__)
    __asm__ volatile("int3");
#else
    raise(SIGTRAP);
#endif
}
void division_by_zero() { sink = dividend / zero; }
void throw_long() { throw long{-2147024882}; }
void throw_int() { throw int{-1}; }
void throw_bad_alloc() { throw std::bad_alloc(); }

constexpr unsigned kThrown = tarnwillow::EXCEPTION_THROWN_VALUE;

const Fault table[] = {
    {"null read", null_read, SIGSEGV, false},
    {"null write", null_write, SIGSEGV, false},
    {"wild read", wild_read, SIGSEGV, false},
    {"wild write", wild_write, SIGSEGV, false},
    {"call through null", call_null, SIGSEGV, false},
    {"strlen of a wild pointer", fault_in_strlen, SIGSEGV, true},
    {"free of a wild pointer", fault_in_free, SIGSEGV, true},
    {"stack overflow", stack_overflow, SIGSEGV, false},
    {"int3", breakpoint, SIGTRAP, false},
    {"division by zero", division_by_zero, SIGFPE, false},
    {"thrown long", throw_long, kThrown, false},
    {"thrown int", throw_int, kThrown, false},
    {"thrown bad_alloc", throw_bad_alloc, kThrown, false},
};

}  // namespace

std::span<const Fault> FAULTS_TABLE() { return table; }
