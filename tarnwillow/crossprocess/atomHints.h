// Where the process last saw a key. A hint may be wrong at any time: whoever follows one looks at
// the atom itself, and goes through the list where the hint leads to another.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "tarnwillow/crossprocess/atomTable.h"

namespace tarnwillow::detail {

/// Any thread may ask while another notes: a hint read in halves is just a wrong one.
class AtomHints {
public:
    /// The atom that the key stood in, or -1.
    std::int32_t find(AtomKey key) const {
        for (std::size_t step = 0; step < kProbes; ++step) {
            const Hint& hint = hints_[place(key, step)];
            if (get(hint.key) == key) return get(hint.index_and_one) - 1;
        }
        return -1;
    }

    /// In the key's own place, a free one, or else the first in the place of another. For the
    /// holder of the table's mutex.
    void note(AtomKey key, std::int32_t index) {
        Hint* place_of_key = &hints_[place(key, 0)];
        for (std::size_t step = 0; step < kProbes; ++step) {
            Hint& hint = hints_[place(key, step)];
            if (get(hint.key) != key && get(hint.index_and_one) != 0) continue;
            place_of_key = &hint;
            break;
        }
        set(place_of_key->key, key);
        set(place_of_key->index_and_one, index + 1);
    }

private:
    template <class Number>
    static Number get(const std::atomic<Number>& word) {
        return word.load(std::memory_order_relaxed);
    }
    template <class Number>
    static void set(std::atomic<Number>& word, Number value) {
        word.store(value, std::memory_order_relaxed);
    }

    struct Hint {
        std::atomic<AtomKey> key{0};
        std::atomic<std::int32_t> index_and_one{0};  // 0 for none
    };

    static constexpr int kBits = 9;  // twice as many places as a table has atoms
    static constexpr std::size_t kProbes = 8;

    static std::size_t place(AtomKey key, std::size_t step) {
        // Ids that follow one another, as most do, come to lie far apart.
        const AtomKey mixed = key * 0x7F4A7C159E3779B9ULL;
        return (static_cast<std::size_t>(mixed >> (64 - kBits)) + step) % (std::size_t{1} << kBits);
    }

    Hint hints_[std::size_t{1} << kBits];
};

}  // namespace tarnwillow::detail
