// Guards: a thin stretch of untrusted code (a caller's callback or pointer, an allocator, memory
// that may be gone) whose faults become a recovery.
//
// A guard catches the processor's faults (SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP) and every
// thrown value. It lets thread cancellation through. A fault leaves the stretch by a jump that runs
// no destructors: so the stretch must own nothing that needs one, except sections and mutexes of
// this library, which the guard leaves on its behalf. Guards nest; the innermost one takes the
// fault.
//
// With no guard active on the thread, a fault goes to the handler that the host had installed
// before the library's first guard, or to the default.
#pragma once

#include <cstdint>
#include <type_traits>

#include "tarnwillow/core/diagnosticEntry.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

namespace detail {

/// What a guard does when it catches something.
struct GuardForm {
    bool reports;  ///< calls Handle_Exception(level, name, pointers, 1) before the recovery
    bool filters;  ///< it is a FilterForm, whose filter is called instead
    ExceptionLevel level;
    char16_t const* name;
};

struct FilterForm : GuardForm {
    int (*filter)(void* context, EXCEPTION_POINTERS* pointers);
    void* context;
};

/// Runs `body(context)`. True if it returned, false if the guard caught something.
TARNWILLOW_API bool run_guarded(const GuardForm& form, void (*body)(void* context), void* context);

/// Leaves all guards of the thread but the outermost, which then recovers as from a fault, without
/// a report. For a thread that is ended from outside. Returns only if no guard is active.
void jump_to_outermost_guard();

/// At the end of the library's load, which uses guards: takes the handlers away again, since the
/// host has not yet had its turn to set its own.
void leave_handlers_to_host();

/// At the end of the unload: the same for good. Guards then catch thrown values only.
void end_fault_handling();

template <class Body, class Recovery>
auto guarded(const GuardForm& form, Body&& body, Recovery&& recovery) {
    using Result = std::invoke_result_t<Body&>;
    if constexpr (std::is_void_v<Result>) {
        auto call = [](void* context) {
            (*static_cast<std::remove_reference_t<Body>*>(context))();
        };
        if (!run_guarded(form, call, &body)) recovery();
    } else {
        static_assert(std::is_trivially_destructible_v<Result>, "a fault skips destructors");
        struct Frame {
            std::remove_reference_t<Body>* body;
            Result result;
        } frame{&body, {}};
        auto call = [](void* context) {
            auto* inner = static_cast<Frame*>(context);
            inner->result = (*inner->body)();
        };
        return run_guarded(form, call, &frame) ? frame.result : static_cast<Result>(recovery());
    }
}

}  // namespace detail

/// Puts the guards' signal handlers in front of whatever handlers stand there now. The first guard
/// of every thread does this by itself. A host that sets handlers of its own for SIGSEGV, SIGBUS,
/// SIGFPE, SIGILL or SIGTRAP afterwards calls it once more: guards then work again, and the host's
/// handlers get all other faults.
TARNWILLOW_API void Install_Fault_Handlers();

/// Runs `body()`. If it faults or throws, reports that under `name` and gives `recovery()` instead.
/// `name` is a literal, as a rule the operation's qualified name. About 4 ns to enter and leave.
template <class Body, class Recovery>
auto reporting_guard(ExceptionLevel level, char16_t const* name, Body&& body, Recovery&& recovery) {
    return detail::guarded({true, false, level, name}, body, recovery);
}

/// The same without a report: for tests of pointers that may well be bad.
template <class Body, class Recovery>
auto probe_guard(Body&& body, Recovery&& recovery) {
    static constexpr detail::GuardForm kProbe{false, false, ExceptionLevelHandled, nullptr};
    return detail::guarded(kProbe, body, recovery);
}

/// The same with a report of the caller's own: `filter(pointers)` runs in the place and under the
/// conditions of Handle_Exception, with the stack of a processor fault still there. Whatever it
/// gives, the recovery follows. It must not throw.
template <class Filter, class Body, class Recovery>
auto filtered_guard(Filter&& filter, Body&& body, Recovery&& recovery) {
    auto call = [](void* context, EXCEPTION_POINTERS* pointers) -> int {
        return (*static_cast<std::remove_reference_t<Filter>*>(context))(pointers);
    };
    const detail::FilterForm form{{true, true, ExceptionLevelHandled, nullptr}, call, &filter};
    return detail::guarded(form, body, recovery);
}

/// A probe whose recovery is told what was caught: a signal number, or EXCEPTION_THROWN_VALUE.
template <class Body, class Recovery>
auto coded_guard(Body&& body, Recovery&& recovery) {
    std::uint32_t code = 0;
    auto note = [&code](EXCEPTION_POINTERS* pointers) {
        code = pointers->ExceptionRecord->ExceptionCode;
        return 1;
    };
    return filtered_guard(note, body, [&] { return recovery(code); });
}

/// For a pointer from outside, inside a guard: null counts as the fault that following it would be.
/// The compiler may assume that a pointer it sees followed is not null; so null is tested first.
template <class T>
T* not_null(T* pointer) {
    if (pointer == nullptr) throw E_INVALIDARG;
    return pointer;
}

/// A recovery that has nothing to do.
inline void no_recovery() {}

}  // namespace tarnwillow
