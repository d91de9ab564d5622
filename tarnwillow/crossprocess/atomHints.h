// Where the process last saw a key. A hint may be wrong at any time: whoever follows one looks at
// the atom itself, and goes through the list where the hint leads to another.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarnwillow::detail {

class AtomHints {
public:
    /// The atom that the key stood in, or -1.
    std::int32_t find(std::int32_t type, std::int32_t id) const {
        for (std::size_t step = 0; step < kProbes; ++step) {
            const Hint& hint = hints_[place(type, id, step)];
            if (hint.type == type && hint.id == id) return hint.index_and_one - 1;
        }
        return -1;
    }

    /// In the key's own place, a free one, or else the first in the place of another.
    void note(std::int32_t type, std::int32_t id, std::int32_t index) {
        for (std::size_t step = 0; step < kProbes; ++step) {
            Hint& hint = hints_[place(type, id, step)];
            const bool own = hint.type == type && hint.id == id;
            if (own || hint.index_and_one == 0) {
                hint = {type, id, index + 1};
                return;
            }
        }
        hints_[place(type, id, 0)] = {type, id, index + 1};
    }

private:
    struct Hint {
        std::int32_t type;
        std::int32_t id;
        std::int32_t index_and_one;  // 0 for none
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

    Hint hints_[std::size_t{1} << kBits] = {};
};

}  // namespace tarnwillow::detail
