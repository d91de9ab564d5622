// A look at every report of Handle_Exception, for tests that must see level and name.
#pragma once

#include <atomic>

#include "tarnwillow/core/diagnosticEntry.h"

namespace tarnwillow::detail {

/// Runs on the faulting thread, in a signal handler for a processor fault.
using ExceptionObserver = void (*)(ExceptionLevel level, char16_t const* name,
                                   EXCEPTION_POINTERS* pointers);

/// Null for none.
extern std::atomic<ExceptionObserver> exception_observer;

}  // namespace tarnwillow::detail
