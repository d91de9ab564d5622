// What the tables that processes share have in common.
#pragma once

#include <atomic>
#include <cstdint>

namespace tarnwillow::detail {

/// For the wait for a table's mutex.
inline constexpr long kWaitForEver = -1;

/// Set in a table's count while its holder changes more than one word. Whoever takes the mutex and
/// finds the mark knows that a holder has died in there.
inline constexpr auto kChanging = static_cast<std::int32_t>(0x80000000U);

// Stores in an order that holds even for a process that is killed between them: what other
// processes then find is what was stored up to there.

/// In memory before anything that is stored later.
template <class Word>
void store_first(Word& word, Word value) {
    std::atomic_ref(word).exchange(value, std::memory_order_acq_rel);
}

/// In memory behind all that was stored before.
template <class Word>
void store_last(Word& word, Word value) {
    std::atomic_ref(word).store(value, std::memory_order_release);
}

}  // namespace tarnwillow::detail
