// Where the process last saw a key. A hint may be wrong at any time: whoever follows one looks at
// the atom itself, and goes through the list where the hint leads to another.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace tarnwillow::detail {

/// Any thread may ask while another notes: a hint read in halves is just a wrong one.
class AtomHints {
public:
    /// The atom that the key stood in, or -1.
    std::int32_t find(std::int32_t type, std::int32_t id) const {
        for (std::size_t step = 0; step < kProbes; ++step) {
            const Hint& hint = hints_[place(type, id, step)];
            if (hint.has(type, id)) return get(hint.index_and_one) - 1;
        }
        return -1;
    }

    /// In the key's own place, a free one, or else the first in the place of another. For the
    /// holder of the table's mutex.
    void note(std::int32_t type, std::int32_t id, std::int32_t index) {
        Hint* place_of_key = &hints_[place(type, id, 0)];
        for (std::size_t step = 0; step < kProbes; ++step) {
            Hint& hint = hints_[place(type, id, step)];
            if (!hint.has(type, id) && get(hint.index_and_one) != 0) continue;
            place_of_key = &hint;
            break;
        }
        set(place_of_key->type, type);
        set(place_of_key->id, id);
        set(place_of_key->index_and_one, index + 1);
    }

private:
    using Word = std::atomic<std::int32_t>;

    static std::int32_t get(const Word& word) { return word.load(std::memory_order_relaxed); }
    static void set(Word& word, std::int32_t value) {
        word.store(value, std::memory_order_relaxed);
    }

    struct Hint {
        Word type{0};
        Word id{0};
        Word index_and_one{0};  // 0 for none

        bool has(std::int32_t of_type, std::int32_t of_id) const {
            return get(type) == of_type && get(id) == of_id;
        }
    };

    static constexpr int kBits = 9;  // twice as many places as a table has atoms
    static constexpr std::size_t kProbes = 8;

    static std::size_t place(std::int32_t type, std::int32_t id, std::size_t step) {
        const std::uint64_t key =
            (static_cast<std::uint64_t>(static_cast<std::uint32_t>(type)) << 32) |
            static_cast<std::uint32_t>(id);
        const std::uint64_t mixed = key * 0x9E3779B97F4A7C15ULL;
        return (static_cast<std::size_t>(mixed >> (64 - kBits)) + step) % (std::size_t{1} << kBits);
    }

    Hint hints_[std::size_t{1} << kBits];
};

}  // namespace tarnwillow::detail
