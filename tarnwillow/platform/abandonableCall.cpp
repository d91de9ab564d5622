#include "tarnwillow/platform/abandonableCall.h"

namespace tarnwillow::platform {

#if defined(TARNWILLOW_OWN_JUMPS)

// The frame pointer is kept as usual, so that whoever walks the stack finds the caller by it or by
// the unwind tables.
[[gnu::naked]] bool call_abandonable(AbandonableCall&, void (*)(void*), void*,
                                     AbandonableCall* volatile*) {
    __asm__(
        "push %rbp\n"
        ".cfi_def_cfa_offset 16\n"
        ".cfi_offset %rbp, -16\n"
        "mov %rsp, %rbp\n"
        ".cfi_def_cfa_register %rbp\n"
        "push %rbx\n"
        "push %r12\n"
        "push %r13\n"
        "push %r14\n"
        "push %r15\n"
        ".cfi_offset %rbx, -24\n"
        ".cfi_offset %r12, -32\n"
        ".cfi_offset %r13, -40\n"
        ".cfi_offset %r14, -48\n"
        ".cfi_offset %r15, -56\n"
        "push %rdx\n"  // for the stack's alignment
        "mov %rsp, (%rdi)\n"
        "mov %rdi, (%rcx)\n"
        "mov %rdx, %rdi\n"
        "call *%rsi\n"
        "mov $1, %eax\n"
        "leave\n"  // the body has kept the other registers itself
        ".cfi_def_cfa %rsp, 8\n"
        "ret\n");
}

[[gnu::naked]] void abandon(AbandonableCall&) {
    __asm__(
        "mov (%rdi), %rsp\n"
        "xor %eax, %eax\n"
        "pop %rdx\n"
        "pop %r15\n"
        "pop %r14\n"
        "pop %r13\n"
        "pop %r12\n"
        "pop %rbx\n"
        "pop %rbp\n"
        "ret\n");
}

#else

bool call_abandonable(AbandonableCall& call, void (*body)(void*), void* context,
                      AbandonableCall* volatile* latest) {
    if (sigsetjmp(call.point, 0) != 0) return false;
    *latest = &call;
    body(context);
    return true;
}

void abandon(AbandonableCall& call) { siglongjmp(call.point, 1); }

#endif

}  // namespace tarnwillow::platform
