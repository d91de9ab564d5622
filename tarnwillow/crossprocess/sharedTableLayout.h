// The bytes of a shared table, as all processes see them: little-endian, links by index, no
// pointers. Records of a count, a list in order of creation and a list of free records.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace tarnwillow::detail {

static_assert(std::endian::native == std::endian::little, "the shared layouts are little-endian");

inline constexpr std::int32_t kAtoms = 256;
inline constexpr std::int32_t kNoAtom = -1;

struct SharedAtom {
    static constexpr std::size_t kDataSize = 512;

    std::int32_t index;     ///< its own
    std::int32_t in_use;    ///< 1 or 0
    std::int32_t previous;  ///< the atom created just before this one, or -1
    std::int32_t next;      ///< the atom created just behind this one, or -1
    std::int32_t type;      ///< the key's first half; stays when the atom is deleted
    std::int32_t id;        ///< the key's second half
    std::int32_t reserved;  ///< 0
    unsigned char data[kDataSize];
};
static_assert(sizeof(SharedAtom) == 540);
static_assert(offsetof(SharedAtom, in_use) == 4 && offsetof(SharedAtom, previous) == 8 &&
              offsetof(SharedAtom, next) == 12 && offsetof(SharedAtom, type) == 16 &&
              offsetof(SharedAtom, id) == 20 && offsetof(SharedAtom, reserved) == 24 &&
              offsetof(SharedAtom, data) == 28);

struct SharedTable {
    std::int32_t count;  ///< atoms in use; negative while one process changes the table
    std::int32_t head;   ///< the oldest atom, or -1
    std::int32_t tail;   ///< the newest atom, or -1
    std::int32_t free_atoms[kAtoms];  ///< the first 256 - count are live
    SharedAtom atoms[kAtoms];
};
static_assert(sizeof(SharedTable) == 139276);
static_assert(offsetof(SharedTable, head) == 4 && offsetof(SharedTable, tail) == 8 &&
              offsetof(SharedTable, free_atoms) == 12 && offsetof(SharedTable, atoms) == 1036);

}  // namespace tarnwillow::detail
