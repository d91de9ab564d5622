#include "tarnwillow/platform/criticalSection.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "tarnwillow/platform/forcedEnd.h"
#include "tarnwillow/platform/threadId.h"

namespace tarnwillow {

namespace {

void futex(std::atomic<std::uint32_t>& word, int operation, std::uint32_t value) {
    syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&word), operation | FUTEX_PRIVATE_FLAG,
            value, nullptr, nullptr, 0);
}

void relax() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

bool spin(CRITICAL_SECTION& section, std::uint32_t thread) {
    for (std::uint32_t attempt = 0; attempt < section.spin_count; ++attempt) {
        relax();
        if (platform::section_owner(section) == 0 && platform::take(section, thread)) return true;
    }
    return false;
}

// False if the thread is to end instead: behind this, as no sleeper any more. The wake-up that may
// have come to it goes on to another one.
bool sleep_until_taken(CRITICAL_SECTION& section, std::uint32_t thread) {
    const platform::ForcedEndPause pause;
    std::atomic<std::uint32_t>& sleepers = platform::sleepers_for(section);
    sleepers.fetch_add(1, std::memory_order_seq_cst);
    if (platform::has_asymmetric_fences()) platform::heavy_fence();
    bool taken = platform::take(section, thread);
    while (!taken && !platform::ends_behind_this_pause()) {
        const std::uint32_t holder = platform::section_owner(section);
        if (holder != 0) futex(section.owner, FUTEX_WAIT, holder);
        taken = platform::take(section, thread);
    }
    sleepers.fetch_sub(1, std::memory_order_relaxed);
    if (!taken) platform::wake_section(section);
    return taken;
}

}  // namespace

namespace platform {

constinit std::atomic<std::uint32_t> sleeper_counts[kSleeperCounts] = {};

constinit std::atomic<bool> sleepers_make_fences{false};

void wait_and_enter(CRITICAL_SECTION& section, std::uint32_t thread) {
    if (spin(section, thread)) return;
    while (!sleep_until_taken(section, thread)) {
    }
}

void wake_section(CRITICAL_SECTION& section) { futex(section.owner, FUTEX_WAKE, 1); }

}  // namespace platform

void InitializeCriticalSectionAndSpinCount(CRITICAL_SECTION* section, std::uint32_t spin_count) {
    section->owner.store(0, std::memory_order_relaxed);
    section->nested.store(0, std::memory_order_relaxed);
    section->spin_count = spin_count;
    if (platform::has_asymmetric_fences())
        platform::sleepers_make_fences.store(true, std::memory_order_relaxed);
}

void EnterCriticalSection(CRITICAL_SECTION* section) {
    const std::uint32_t thread = platform::current_thread_id();
    if (!platform::try_enter(*section, thread)) platform::wait_and_enter(*section, thread);
}

bool TryEnterCriticalSection(CRITICAL_SECTION* section) {
    return platform::try_enter(*section, platform::current_thread_id());
}

void LeaveCriticalSection(CRITICAL_SECTION* section) {
    if (platform::section_owner(*section) == platform::current_thread_id())
        platform::leave(*section);
}

void DeleteCriticalSection(CRITICAL_SECTION* section) {
    InitializeCriticalSectionAndSpinCount(section, 0);
}

}  // namespace tarnwillow
