// The operations on a shared table's bytes, for the holder of its mutex.
//
// Nothing in the table is believed: another process may have written it, or died while it did. So
// every index is tested before it is followed, and no walk takes more steps than there are atoms.
// Where the lists are found broken they are made anew from the atoms' in-use words.
#pragma once

#include <atomic>
#include <cstring>

#include "tarnwillow/crossprocess/sharedTableLayout.h"

namespace tarnwillow::detail {

constexpr bool is_atom_index(long index) { return index >= 0 && index < kAtoms; }

/// Both halves of an atom's key, as they stand in the table.
using AtomKey = std::uint64_t;

constexpr AtomKey atom_key(std::int32_t type, std::int32_t id) {
    return static_cast<std::uint32_t>(type) | (AtomKey{static_cast<std::uint32_t>(id)} << 32);
}

class AtomTable {
public:
    explicit AtomTable(SharedTable& shared) : table_(shared) {}

    /// Makes an empty table of whatever bytes stand there.
    void format();

    /// Whether no process has died while it changed the lists, as far as the count tells: one test.
    bool is_settled() const;

    /// Puts the lists right if one has. To be called first by every holder of the mutex.
    void settle() {
        if (!is_settled()) rebuild();
    }

    std::int32_t count() const { return read(table_.count); }

    /// The oldest atom, or -1.
    std::int32_t head() const { return checked(read(table_.head)); }

    /// Whether that is the index of an atom in use.
    bool is_in_use(long index) const {
        return is_atom_index(index) && read(table_.atoms[index].in_use) == 1;
    }

    bool has_key(long index, AtomKey key) const {
        return is_in_use(index) && key_of(table_.atoms[index]) == key;
    }

    /// The first atom of the list with that key, or -1.
    std::int32_t find(std::int32_t type, std::int32_t id) const;

    /// A new atom at the end of the list, with the first `size` bytes of its data set; -1 if the
    /// table is full. The key must be new.
    std::int32_t add(std::int32_t type, std::int32_t id, void const* data, std::size_t size);

    /// Frees an atom in use.
    void release(std::int32_t index);

    /// The neighbours of an atom; -1 where there is none.
    std::int32_t next_of(std::int32_t index) const {
        return checked(read(table_.atoms[index].next));
    }
    std::int32_t previous_of(std::int32_t index) const {
        return checked(read(table_.atoms[index].previous));
    }

    SharedAtom& atom(std::int32_t index) { return table_.atoms[index]; }

private:
    class Change;

    // Once: what is tested is what is used, even if someone writes without the mutex.
    static std::int32_t read(const std::int32_t& word) {
        return std::atomic_ref(const_cast<std::int32_t&>(word)).load(std::memory_order_relaxed);
    }

    static AtomKey key_of(const SharedAtom& atom) {
        static_assert(offsetof(SharedAtom, id) == offsetof(SharedAtom, type) + 4);
        AtomKey key;
        std::memcpy(&key, reinterpret_cast<char const*>(&atom) + offsetof(SharedAtom, type),
                    sizeof key);
        return key;
    }

    std::int32_t checked(std::int32_t link) const { return is_in_use(link) ? link : kNoAtom; }
    std::int32_t first_free() const;
    void rebuild();
    void rebuild_list();
    void rebuild_free_list();
    void append(std::int32_t index);
    void unlink(std::int32_t index);

    SharedTable& table_;
};

}  // namespace tarnwillow::detail
