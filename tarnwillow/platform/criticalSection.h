// A recursive lock within one process, with a spin phase and a view of its holder.
#pragma once

#include <sys/single_threaded.h>

#include <atomic>
#include <cstdint>

#include "tarnwillow/platform/api.h"
#include "tarnwillow/platform/asymmetricFence.h"

namespace tarnwillow {

/// Zero bytes are a free section with no spin phase, so one in static storage needs no constructor.
/// The fields are the operations' own; other code reads through section_owner and section_depth.
struct CRITICAL_SECTION {
    std::atomic<std::uint32_t> owner{0};   ///< kernel thread id of the holder, 0 if free
    std::atomic<std::uint32_t> nested{0};  ///< entries of the holder beyond its first
    std::uint32_t spin_count = 0;          ///< attempts before the caller sleeps
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

/// Whether the holder has entered more than once. For the holder.
inline bool is_nested(const CRITICAL_SECTION& section) {
    return section.nested.load(std::memory_order_relaxed) != 0;
}

/// How many threads sleep, counted by the address of their section. Apart from the sections, since
/// one may be gone as soon as it is free.
inline constexpr std::uint32_t kSleeperCounts = 256;
extern std::atomic<std::uint32_t> sleeper_counts[kSleeperCounts];

inline std::atomic<std::uint32_t>& sleepers_for(const CRITICAL_SECTION& section) {
    const auto address = reinterpret_cast<std::uintptr_t>(&section);
    return sleeper_counts[(address >> 4 ^ address >> 12) % kSleeperCounts];
}

/// Whether whoever is about to sleep makes the heavy fence, so that a leave needs none.
extern std::atomic<bool> sleepers_make_fences;

// What is rare lies in functions of its own: in the common ones it would cost registers to save.

/// Waits until the section is held; the spin phase comes first.
[[gnu::cold, gnu::noinline]] void wait_and_enter(CRITICAL_SECTION& section, std::uint32_t thread);

/// Wakes one thread that sleeps on the section.
[[gnu::cold, gnu::noinline]] void wake_section(CRITICAL_SECTION& section);

/// The operations above for the library's own locks, which cannot spare a call.

inline void add_nested(CRITICAL_SECTION& section, std::int32_t change) {
    const std::uint32_t before = section.nested.load(std::memory_order_relaxed);
    section.nested.store(before + static_cast<std::uint32_t>(change), std::memory_order_relaxed);
}

/// One entry more, if the thread holds the section already.
inline bool enter_again(CRITICAL_SECTION& section, std::uint32_t thread) {
    if (section_owner(section) != thread) return false;
    add_nested(section, 1);
    return true;
}

/// Whether no other thread can look on: then no locked instruction is needed. A thread that starts
/// later sees what was stored before.
inline bool is_only_thread() { return __libc_single_threaded != 0; }

/// The outermost entry, if nobody holds the section.
inline bool take(CRITICAL_SECTION& section, std::uint32_t thread) {
    std::uint32_t nobody = 0;
    if (is_only_thread()) {
        if (section_owner(section) != nobody) return false;
        section.owner.store(thread, std::memory_order_relaxed);
        return true;
    }
    return section.owner.compare_exchange_strong(nobody, thread, std::memory_order_acquire,
                                                 std::memory_order_relaxed);
}

inline bool try_enter(CRITICAL_SECTION& section, std::uint32_t thread) {
    return enter_again(section, thread) || take(section, thread);
}

/// Either the sleeper's count is seen behind this, or the sleeper sees that the section is free.
inline void free_section(CRITICAL_SECTION& section) {
    if (sleepers_make_fences.load(std::memory_order_relaxed)) {
        section.owner.store(0, std::memory_order_release);
        light_fence();
    } else {
        section.owner.exchange(0, std::memory_order_seq_cst);
    }
}

/// For the holder alone: leaves an entry that is not its outermost.
inline bool leave_nested(CRITICAL_SECTION& section) {
    if (!is_nested(section)) return false;
    add_nested(section, -1);
    return true;
}

/// For the holder alone: leaves the outermost entry.
inline void give_up(CRITICAL_SECTION& section) {
    // Once it is free the section may be gone: only its address is used any more.
    const std::atomic<std::uint32_t>& sleepers = sleepers_for(section);
    free_section(section);
    if (sleepers.load(std::memory_order_seq_cst) != 0) wake_section(section);
}

inline void leave(CRITICAL_SECTION& section) {
    if (!leave_nested(section)) give_up(section);
}

}  // namespace platform
}  // namespace tarnwillow
