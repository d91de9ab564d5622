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

/// The states of a section's word.
inline constexpr std::uint32_t kSectionFree = 0;
inline constexpr std::uint32_t kSectionHeld = 1;
inline constexpr std::uint32_t kSectionHeldWithSleepers = 2;

// What is rare lies in functions of its own: in the common ones it would cost registers to save.

/// Waits until the section is held; the spin phase comes first.
[[gnu::cold, gnu::noinline]] void wait_and_enter(CRITICAL_SECTION& section, std::uint32_t thread);

/// Wakes one thread that sleeps on the section.
[[gnu::cold, gnu::noinline]] void wake_section(CRITICAL_SECTION& section);

/// The operations above for the library's own locks, which cannot spare a call.

inline bool try_enter(CRITICAL_SECTION& section, std::uint32_t thread) {
    if (section_owner(section) == thread) {
        section.depth.store(section_depth(section) + 1, std::memory_order_relaxed);
        return true;
    }
    std::uint32_t expected = kSectionFree;
    if (!section.word.compare_exchange_strong(expected, kSectionHeld, std::memory_order_acquire,
                                              std::memory_order_relaxed))
        return false;
    section.owner.store(thread, std::memory_order_relaxed);
    section.depth.store(1, std::memory_order_relaxed);
    return true;
}

/// For the holder alone.
inline void leave(CRITICAL_SECTION& section) {
    const std::uint32_t depth = section_depth(section) - 1;
    section.depth.store(depth, std::memory_order_relaxed);
    if (depth != 0) return;
    section.owner.store(0, std::memory_order_relaxed);
    // Behind the exchange the section may be gone: only its address is used any more.
    if (section.word.exchange(kSectionFree, std::memory_order_release) == kSectionHeldWithSleepers)
        wake_section(section);
}

}  // namespace platform
}  // namespace tarnwillow
