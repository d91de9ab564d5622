// A call that a signal handler, or anyone further up its stack, can end as if it had returned: by a
// jump that runs no destructors. It costs half of what the C library's jumps do, since it is one
// call for the compiler and saves no more than a called function must keep.
#pragma once

#include "tarnwillow/platform/raceChecker.h"

// The sanitizers follow the C library's jumps only. So do shadow stacks, and other processors have
// no form of their own.
#if defined(__x86_64__) && !defined(__CET__) && !defined(__SANITIZE_ADDRESS__) && \
    !defined(TARNWILLOW_RACE_CHECKER)
#define TARNWILLOW_OWN_JUMPS 1
#endif
#if defined(TARNWILLOW_OWN_JUMPS) && defined(__has_feature)
#if __has_feature(address_sanitizer)
#undef TARNWILLOW_OWN_JUMPS
#endif
#endif

#if !defined(TARNWILLOW_OWN_JUMPS)
#include <setjmp.h>
#endif

namespace tarnwillow::platform {

/// A call that is under way. Lies on the stack of the thread that calls.
struct AbandonableCall {
#if defined(TARNWILLOW_OWN_JUMPS)
    void* stack;  ///< where the callee's registers are kept
#else
    sigjmp_buf point;
#endif
};

/// Runs `body(context)`. True if it returned, false if it was abandoned. What it throws, and thread
/// cancellation, pass through. `*latest` becomes `&call` once the call can be abandoned; the caller
/// sets it back.
bool call_abandonable(AbandonableCall& call, void (*body)(void* context), void* context,
                      AbandonableCall* volatile* latest);

/// Ends a call of this thread that is under way, with all that it has called. The signal mask stays
/// as it is.
[[noreturn]] void abandon(AbandonableCall& call);

}  // namespace tarnwillow::platform
