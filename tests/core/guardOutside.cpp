// Faults outside any guard: they belong to the host.
#include <gtest/gtest.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include "faults.h"
#include "support/childProcess.h"
#include "tarnwillow/core/guard.h"

namespace tarnwillow {
namespace {

void no_core_dump() {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
}

void use_a_guard() {
    probe_guard([] { faults_at_O2()[0].run(); }, no_recovery);
}

void host_handler(int) { _exit(42); }
void host_handler_with_info(int, siginfo_t* info, void*) {
    _exit(info->si_addr == nullptr ? 43 : 44);
}

TARNWILLOW_CHILD(fault_with_host_handler) {
    signal(SIGSEGV, host_handler);
    use_a_guard();
    faults_at_O2()[0].run();
    return 0;
}

TARNWILLOW_CHILD(fault_with_host_handler_that_wants_details) {
    struct sigaction action {};
    action.sa_sigaction = host_handler_with_info;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGSEGV, &action, nullptr);
    use_a_guard();
    faults_at_O2()[0].run();
    return 0;
}

TARNWILLOW_CHILD(fault_without_host_handler) {
    no_core_dump();
    for (int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP})
        signal(fault, SIG_DFL);
    use_a_guard();
    for (const Fault& fault : faults_at_O0())
        if (argument == fault.name) fault.run();
    return 0;
}

struct sigaction before_the_host {};
void host_handler_that_chains(int signal, siginfo_t* info, void* context) {
    static int calls = 0;
    if (++calls > 1) _exit(46);
    before_the_host.sa_sigaction(signal, info, context);
    _exit(47);
}

TARNWILLOW_CHILD(host_handler_set_after_the_first_guard) {
    use_a_guard();
    signal(SIGSEGV, host_handler);
    Install_Fault_Handlers();
    use_a_guard();
    faults_at_O2()[0].run();
    return 0;
}

TARNWILLOW_CHILD(host_handler_set_later_that_chains) {
    signal(SIGSEGV, host_handler);
    use_a_guard();
    struct sigaction action {};
    action.sa_sigaction = host_handler_that_chains;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGSEGV, &action, &before_the_host);
    Install_Fault_Handlers();
    use_a_guard();
    faults_at_O2()[0].run();
    return 0;
}

sigjmp_buf after_the_fault;
int jumps = 0;
void host_handler_that_jumps(int) {
    ++jumps;
    siglongjmp(after_the_fault, 1);
}

TARNWILLOW_CHILD(host_handler_that_jumps) {
    signal(SIGSEGV, host_handler);
    use_a_guard();
    signal(SIGSEGV, host_handler_that_jumps);
    Install_Fault_Handlers();
    if (sigsetjmp(after_the_fault, 1) < 0 || jumps < 3) faults_at_O2()[0].run();
    return jumps;
}

TARNWILLOW_CHILD(signal_from_another_process) {
    no_core_dump();
    signal(SIGSEGV, SIG_DFL);
    probe_guard(
        [] {
            if (fork() == 0) _exit(kill(getppid(), SIGSEGV));
            for (;;)
                pause();
        },
        no_recovery);
    return 0;
}

TEST(OutsideGuards, FaultReachesTheHandlerThatTheHostHad) {
    EXPECT_EQ(test::run_child("fault_with_host_handler").exit_code, 42);
    EXPECT_EQ(test::run_child("fault_with_host_handler_that_wants_details").exit_code, 43);
}

TEST(OutsideGuards, HandlerThatTheHostSetLaterIsServedOnceTheGuardsAreInFrontAgain) {
    EXPECT_EQ(test::run_child("host_handler_set_after_the_first_guard").exit_code, 42);
    EXPECT_EQ(test::run_child("host_handler_set_later_that_chains").exit_code, 42);
    EXPECT_EQ(test::run_child("host_handler_that_jumps").exit_code, 3);
}

TEST(OutsideGuards, FaultWithoutHostHandlerEndsTheProcessByItsSignal) {
    for (const auto& [name, signal] : {std::pair{"null read", SIGSEGV}, std::pair{"int3", SIGTRAP},
                                       std::pair{"division by zero", SIGFPE}})
        EXPECT_EQ(test::run_child("fault_without_host_handler", name).signal, signal) << name;
}

TEST(OutsideGuards, SignalFromAnotherProcessIsNoFaultOfTheGuardedCode) {
    EXPECT_EQ(test::run_child("signal_from_another_process").signal, SIGSEGV);
}

}  // namespace
}  // namespace tarnwillow
