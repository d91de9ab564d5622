// What Protect and Unprotect of the containers share: taking a section for a sequence of
// operations.
#pragma once

#include <cstddef>

#include "tarnwillow/core/CEasyCriticalSection.h"

namespace tarnwillow::detail {

/// Holds the section in the name of `requestor`. With another thread holding it: E_FAIL at once for
/// a `timeout` of 0, else up to `timeout` attempts a millisecond apart, and then WAIT_TIMEOUT. With
/// nobody or the calling thread holding it: waits as long as it takes.
long take_for_protect(CEasyCriticalSection& section, char16_t const* requestor,
                      unsigned long timeout);

/// For the holder: moves the requestor into the container's own buffer and empties that, so that
/// the section shows an empty requestor from then on.
void publish_requestor(CEasyCriticalSection& section, char16_t const* requestor, char16_t* buffer,
                       std::size_t room);

/// E_UNEXPECTED for a null section or one that another thread holds; else leaves it and gives 0.
long leave_protected(CEasyCriticalSection* section);

}  // namespace tarnwillow::detail
