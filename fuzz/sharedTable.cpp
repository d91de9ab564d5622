// The bytes of a shared table as another process may have left them, and then a few operations:
// none may touch anything outside, and the lists are in order behind them.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "tarnwillow/crossprocess/atomTable.h"

namespace {

using namespace tarnwillow::detail;

/// Pieces of the input scattered over the table: an offset of two bytes, a length of one, the
/// bytes.
void scatter(SharedTable& table, std::uint8_t const*& at, std::uint8_t const* end) {
    auto* const bytes = reinterpret_cast<std::uint8_t*>(&table);
    while (end - at > 3) {
        const std::size_t place = (at[0] | std::size_t{at[1]} << 8) * 4 % sizeof table;
        const std::size_t wanted = at[2] % 32;
        at += 3;
        if (wanted == 0) return;
        const std::size_t length =
            std::min({wanted, static_cast<std::size_t>(end - at), sizeof table - place});
        std::memcpy(bytes + place, at, length);
        at += length;
    }
}

void operate(AtomTable& table, std::uint8_t operation, std::uint8_t key) {
    switch (operation % 4) {
        case 0:
            if (table.find(0, key) == kNoAtom) table.add(0, key, &key, 1);
            break;
        case 1:
            table.release(table.find(0, key));
            break;
        case 2:
            table.release(key);
            break;
        default:
            for (std::int32_t at = table.head(), steps = 0; at != kNoAtom && steps < kAtoms;
                 ++steps)
                at = table.next_of(at);
    }
}

/// Whether every atom is in just one of the two lists.
bool is_in_order(const SharedTable& table) {
    int listed = 0;
    for (std::int32_t at = table.head; at != kNoAtom; at = table.atoms[at].next, ++listed)
        if (!is_atom_index(at) || table.atoms[at].in_use != 1 || listed == kAtoms) return false;
    for (int i = 0; i < kAtoms - table.count; ++i)
        if (!is_atom_index(table.free_atoms[i]) || table.atoms[table.free_atoms[i]].in_use != 0)
            return false;
    return listed == table.count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const auto shared = std::make_unique<SharedTable>();
    AtomTable table(*shared);
    table.format();
    std::uint8_t const* at = bytes;
    std::uint8_t const* const end = bytes + size;
    scatter(*shared, at, end);
    table.settle();
    for (; end - at >= 2; at += 2)
        operate(table, at[0], at[1]);
    shared->count = -1;
    table.settle();
    if (!is_in_order(*shared)) std::abort();
    return 0;
}
