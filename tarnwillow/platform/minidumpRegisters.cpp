#include "tarnwillow/platform/minidumpRegisters.h"

#if defined(__x86_64__)

#include <cpuid.h>
#include <sys/ptrace.h>
#include <sys/user.h>

#include <cstring>

#include "tarnwillow/platform/childCalls.h"

namespace tarnwillow::platform::minidump {

namespace {

constexpr std::uint32_t kEverything =
    kContextX86_64 | kContextControl | kContextInteger | kContextSegments;

std::uint64_t number(greg_t value) { return static_cast<std::uint64_t>(value); }

// Four selectors in one number, as the kernel stores them: code, gs, fs, stack.
void split_selectors(std::uint64_t selectors, Registers* to) {
    to->cs = static_cast<std::uint16_t>(selectors);
    to->gs = static_cast<std::uint16_t>(selectors >> 16);
    to->fs = static_cast<std::uint16_t>(selectors >> 32);
    to->ss = static_cast<std::uint16_t>(selectors >> 48);
}

void store_floating_point(void const* state, Registers* to) {
    constexpr std::size_t kMxcsrAt = 24;
    std::memcpy(to->floating_point, state, sizeof to->floating_point);
    std::memcpy(&to->mxcsr, to->floating_point + kMxcsrAt, sizeof to->mxcsr);
    to->flags |= kContextFloatingPoint;
}

bool trace(int request, pid_t thread, void* data) {
    return syscall(SYS_ptrace, request, thread, nullptr, data) == 0;
}

}  // namespace

bool registers_known() { return true; }

void read_registers(ucontext_t const& context, Registers* to) {
    auto const& from = context.uc_mcontext.gregs;
    *to = {};
    to->flags = kEverything;
    to->eflags = static_cast<std::uint32_t>(from[REG_EFL]);
    split_selectors(number(from[REG_CSGSFS]), to);
    to->rax = number(from[REG_RAX]);
    to->rbx = number(from[REG_RBX]);
    to->rcx = number(from[REG_RCX]);
    to->rdx = number(from[REG_RDX]);
    to->rsi = number(from[REG_RSI]);
    to->rdi = number(from[REG_RDI]);
    to->rbp = number(from[REG_RBP]);
    to->rsp = number(from[REG_RSP]);
    to->r8 = number(from[REG_R8]);
    to->r9 = number(from[REG_R9]);
    to->r10 = number(from[REG_R10]);
    to->r11 = number(from[REG_R11]);
    to->r12 = number(from[REG_R12]);
    to->r13 = number(from[REG_R13]);
    to->r14 = number(from[REG_R14]);
    to->r15 = number(from[REG_R15]);
    to->rip = number(from[REG_RIP]);
    static_assert(sizeof(*context.uc_mcontext.fpregs) == sizeof to->floating_point);
    if (context.uc_mcontext.fpregs != nullptr) store_floating_point(context.uc_mcontext.fpregs, to);
}

bool read_registers(pid_t thread, Registers* to) {
    user_regs_struct from{};
    if (!trace(PTRACE_GETREGS, thread, &from)) return false;
    *to = {};
    to->flags = kEverything;
    to->eflags = static_cast<std::uint32_t>(from.eflags);
    to->cs = static_cast<std::uint16_t>(from.cs);
    to->ds = static_cast<std::uint16_t>(from.ds);
    to->es = static_cast<std::uint16_t>(from.es);
    to->fs = static_cast<std::uint16_t>(from.fs);
    to->gs = static_cast<std::uint16_t>(from.gs);
    to->ss = static_cast<std::uint16_t>(from.ss);
    to->rax = from.rax;
    to->rbx = from.rbx;
    to->rcx = from.rcx;
    to->rdx = from.rdx;
    to->rsi = from.rsi;
    to->rdi = from.rdi;
    to->rbp = from.rbp;
    to->rsp = from.rsp;
    to->r8 = from.r8;
    to->r9 = from.r9;
    to->r10 = from.r10;
    to->r11 = from.r11;
    to->r12 = from.r12;
    to->r13 = from.r13;
    to->r14 = from.r14;
    to->r15 = from.r15;
    to->rip = from.rip;
    user_fpregs_struct floating_point{};
    static_assert(sizeof floating_point == sizeof to->floating_point);
    if (trace(PTRACE_GETFPREGS, thread, &floating_point)) store_floating_point(&floating_point, to);
    return true;
}

void describe_processor(SystemInfo* info) {
    unsigned a = 0, b = 0, c = 0, d = 0;
    info->architecture = kArchitectureX86_64;
    if (__get_cpuid(0, &a, &b, &c, &d) != 0) {
        info->vendor[0] = b;
        info->vendor[1] = d;
        info->vendor[2] = c;
    }
    if (__get_cpuid(1, &a, &b, &c, &d) != 0) {
        info->version_information = a;
        info->features = d;
        info->level = static_cast<std::uint16_t>((a >> 8 & 0xF) + (a >> 20 & 0xFF));
        info->revision =
            static_cast<std::uint16_t>((a >> 16 & 0xF) << 12 | (a >> 4 & 0xF) << 8 | (a & 0xF));
    }
    if (__get_cpuid(0x80000001, &a, &b, &c, &d) != 0) info->extended_features = d;
}

}  // namespace tarnwillow::platform::minidump

#else

namespace tarnwillow::platform::minidump {

bool registers_known() { return false; }
void read_registers(ucontext_t const&, Registers* registers) { *registers = {}; }
bool read_registers(pid_t, Registers*) { return false; }
void describe_processor(SystemInfo*) {}

}  // namespace tarnwillow::platform::minidump

#endif
