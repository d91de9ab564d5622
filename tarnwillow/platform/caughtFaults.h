// Work on memory that another process may take away at any moment: a fault in there ends it.
#pragma once

#include <type_traits>

namespace tarnwillow::platform {

/// Runs `body(context)`; false if it faulted, which nobody is told of. Then no destructor in there
/// has run: what it held is the caller's to give back. The guards, which lie above, do it.
bool run_catching_faults(void (*body)(void* context), void* context);

/// The same for anything that can be called.
template <class Body>
bool without_fault(Body&& body) {
    using Kind = std::remove_reference_t<Body>;
    return run_catching_faults([](void* context) { (*static_cast<Kind*>(context))(); }, &body);
}

}  // namespace tarnwillow::platform
