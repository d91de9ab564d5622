#include "tarnwillow/platform/criticalSection.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "tarnwillow/platform/threadId.h"

namespace tarnwillow {

namespace {

constexpr std::uint32_t kFree = 0;
constexpr std::uint32_t kHeld = 1;
constexpr std::uint32_t kHeldWithSleepers = 2;

void futex(std::atomic<std::uint32_t>& word, int operation, std::uint32_t value) {
    syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&word), operation | FUTEX_PRIVATE_FLAG,
            value, nullptr, nullptr, 0);
}

void relax() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

bool take_if_free(CRITICAL_SECTION& section) {
    std::uint32_t expected = kFree;
    return section.word.compare_exchange_strong(expected, kHeld, std::memory_order_acquire,
                                                std::memory_order_relaxed);
}

bool spin(CRITICAL_SECTION& section) {
    for (std::uint32_t attempt = 0; attempt < section.spin_count; ++attempt) {
        relax();
        if (section.word.load(std::memory_order_relaxed) == kFree && take_if_free(section))
            return true;
    }
    return false;
}

// Whoever has slept takes the section as "held with sleepers": it cannot know that it was the last.
void sleep_until_taken(CRITICAL_SECTION& section) {
    while (section.word.exchange(kHeldWithSleepers, std::memory_order_acquire) != kFree)
        futex(section.word, FUTEX_WAIT, kHeldWithSleepers);
}

void become_owner(CRITICAL_SECTION& section, std::uint32_t thread) {
    section.owner.store(thread, std::memory_order_relaxed);
    section.depth.store(1, std::memory_order_relaxed);
}

bool enter_again(CRITICAL_SECTION& section, std::uint32_t thread) {
    if (platform::section_owner(section) != thread) return false;
    section.depth.store(platform::section_depth(section) + 1, std::memory_order_relaxed);
    return true;
}

}  // namespace

void InitializeCriticalSectionAndSpinCount(CRITICAL_SECTION* section, std::uint32_t spin_count) {
    section->word.store(kFree, std::memory_order_relaxed);
    section->owner.store(0, std::memory_order_relaxed);
    section->depth.store(0, std::memory_order_relaxed);
    section->spin_count = spin_count;
}

void EnterCriticalSection(CRITICAL_SECTION* section) {
    const std::uint32_t thread = platform::current_thread_id();
    if (enter_again(*section, thread)) return;
    if (!take_if_free(*section) && !spin(*section)) sleep_until_taken(*section);
    become_owner(*section, thread);
}

bool TryEnterCriticalSection(CRITICAL_SECTION* section) {
    const std::uint32_t thread = platform::current_thread_id();
    if (enter_again(*section, thread)) return true;
    if (!take_if_free(*section)) return false;
    become_owner(*section, thread);
    return true;
}

void LeaveCriticalSection(CRITICAL_SECTION* section) {
    if (platform::section_owner(*section) != platform::current_thread_id()) return;
    const std::uint32_t depth = platform::section_depth(*section) - 1;
    section->depth.store(depth, std::memory_order_relaxed);
    if (depth != 0) return;
    section->owner.store(0, std::memory_order_relaxed);
    if (section->word.exchange(kFree, std::memory_order_release) == kHeldWithSleepers)
        futex(section->word, FUTEX_WAKE, 1);
}

void DeleteCriticalSection(CRITICAL_SECTION* section) {
    InitializeCriticalSectionAndSpinCount(section, 0);
}

}  // namespace tarnwillow
