#include "tarnwillow/platform/criticalSection.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

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
        if (section.word.load(std::memory_order_relaxed) == platform::kSectionFree &&
            platform::try_enter(section, thread))
            return true;
    }
    return false;
}

// Whoever has slept takes the section as "held with sleepers": it cannot know that it was the last.
void sleep_until_taken(CRITICAL_SECTION& section, std::uint32_t thread) {
    using platform::kSectionHeldWithSleepers;
    while (section.word.exchange(kSectionHeldWithSleepers, std::memory_order_acquire) !=
           platform::kSectionFree)
        futex(section.word, FUTEX_WAIT, kSectionHeldWithSleepers);
    section.owner.store(thread, std::memory_order_relaxed);
    section.depth.store(1, std::memory_order_relaxed);
}

}  // namespace

namespace platform {

void wait_and_enter(CRITICAL_SECTION& section, std::uint32_t thread) {
    if (!spin(section, thread)) sleep_until_taken(section, thread);
}

void wake_section(CRITICAL_SECTION& section) { futex(section.word, FUTEX_WAKE, 1); }

}  // namespace platform

void InitializeCriticalSectionAndSpinCount(CRITICAL_SECTION* section, std::uint32_t spin_count) {
    section->word.store(platform::kSectionFree, std::memory_order_relaxed);
    section->owner.store(0, std::memory_order_relaxed);
    section->depth.store(0, std::memory_order_relaxed);
    section->spin_count = spin_count;
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
