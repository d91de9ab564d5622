#include "tarnwillow/core/diagnosticEntry.h"
#include "tarnwillow/diagnostics/exceptionObserver.h"

namespace tarnwillow {

namespace detail {
std::atomic<ExceptionObserver> exception_observer{nullptr};
}

int Handle_Exception(ExceptionLevel level, char16_t const* name, EXCEPTION_POINTERS* pointers,
                     int result) {
    if (const auto observer = detail::exception_observer.load()) observer(level, name, pointers);
    return result;
}

}  // namespace tarnwillow
