// A recursive lock within one process, with a spin phase and a view of its holder.
#pragma once

#include <atomic>
#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Zero bytes are a free section with no spin phase, so one in static storage needs no constructor.
/// The fields are the operations' own; other code reads through section_owner and section_depth.
struct CRITICAL_SECTION {
    std::atomic<std::uint32_t> word{0};   ///< 0 free, 1 held, 2 held and someone sleeps
    std::atomic<std::uint32_t> owner{0};  ///< kernel thread id of the holder, 0 if free
    std::atomic<std::uint32_t> depth{0};  ///< entries of the holder that are not yet left
    std::uint32_t spin_count = 0;         ///< attempts before the caller sleeps
};

/// Makes a free section. The attempts before a sleep cost some 10 to 40 ns each.
TARNWILLOW_API void InitializeCriticalSectionAndSpinCount(CRITICAL_SECTION* section,
                                                          std::uint32_t spin_count);

/// Waits until the calling thread holds the section. Recursive: every entry needs a leave.
TARNWILLOW_API void EnterCriticalSection(CRITICAL_SECTION* section);

/// Enters if that takes no waiting; tells whether it did.
TARNWILLOW_API bool TryEnterCriticalSection(CRITICAL_SECTION* section);

/// Undoes one entry. A thread that does not hold the section changes nothing.
TARNWILLOW_API void LeaveCriticalSection(CRITICAL_SECTION* section);

/// Ends the section's life. Nobody may hold it or wait for it.
TARNWILLOW_API void DeleteCriticalSection(CRITICAL_SECTION* section);

namespace platform {

/// Thread id of the holder, 0 if the section is free. May be stale when it arrives.
inline std::uint32_t section_owner(const CRITICAL_SECTION& section) {
    return section.owner.load(std::memory_order_relaxed);
}

/// How often the holder has entered. Exact for the holder, a hint for everyone else.
inline std::uint32_t section_depth(const CRITICAL_SECTION& section) {
    return section.depth.load(std::memory_order_relaxed);
}

}  // namespace platform
}  // namespace tarnwillow
