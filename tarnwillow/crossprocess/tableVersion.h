// How often a shared table was changed, in memory beside the table that all its users share: by it
// a reader without the mutex sees whether what it read was whole.
#pragma once

#include <atomic>
#include <cstdint>

#include "tarnwillow/platform/namedObject.h"

namespace tarnwillow::detail {

class TableVersion {
public:
    /// False if the memory cannot be shared. Throws std::bad_alloc.
    bool open(char16_t const* table_name);

    /// An odd number while the table is being changed, or since a process died over that.
    std::uint64_t now() const { return word_->load(std::memory_order_acquire); }

    static bool is_changing(std::uint64_t version) { return version % 2 != 0; }

    // For the holder of the mutex. What is stored between the two is seen between the two.

    void begin_change() { word_->exchange(now() | 1, std::memory_order_acq_rel); }
    void end_change() { word_->store((now() | 1) + 1, std::memory_order_release); }

private:
    using Word = std::atomic<std::uint64_t>;
    static_assert(Word::is_always_lock_free && sizeof(Word) == 8);

    platform::NamedObject object_;
    Word* word_ = nullptr;
};

}  // namespace tarnwillow::detail
