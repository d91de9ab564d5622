// What Protect and Unprotect of the containers share: taking a section for a sequence of
// operations.
#pragma once

#include <atomic>
#include <cstddef>

#include "tarnwillow/core/CEasyCriticalSection.h"

namespace tarnwillow::detail {

/// Units of a container's texts, with the terminator.
inline constexpr std::size_t kTextRoom = 256;

/// What a container is protected by.
struct Protection {
    std::atomic<CEasyCriticalSection*>& lock;  ///< null until the first protect
    char16_t const* lock_name;                 ///< the lock's, held by pointer
    char16_t const* prefix;                    ///< stands in front of the requestor
    char16_t* requestor_buffer;                ///< kTextRoom units; empty again behind protect
};

/// Holds the container's lock, made if it has none yet, in the name of `requestor`; null is
/// "UNKNOWN REQUESTOR". With another thread holding it: E_FAIL at once for a `timeout` of 0, else
/// up to `timeout` attempts a millisecond apart, and then WAIT_TIMEOUT. With nobody or the calling
/// thread holding it: waits as long as it takes. E_OUTOFMEMORY if the lock cannot be made.
long protect(const Protection& protection, char16_t const* requestor, unsigned long timeout);

/// E_UNEXPECTED for a null section or one that another thread holds; else leaves it and gives 0.
long leave_protected(CEasyCriticalSection* section);

}  // namespace tarnwillow::detail
