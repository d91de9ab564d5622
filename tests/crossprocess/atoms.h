// What a shared table's bytes must agree on, read without the library's own operations.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "tarnwillow/crossprocess/sharedTableLayout.h"

namespace tarnwillow::test {

/// The indexes of the list in order; cut at the first link that leads nowhere.
inline std::vector<std::int32_t> listed(const detail::SharedTable& table) {
    std::vector<std::int32_t> indexes;
    for (std::int32_t at = table.head; at >= 0 && at < 256 && indexes.size() < 300;
         at = table.atoms[at].next)
        indexes.push_back(at);
    return indexes;
}

inline bool is_zero(const unsigned char (&data)[512]) {
    for (unsigned char byte : data)
        if (byte != 0) return false;
    return true;
}

/// What is wrong with the list and its links; empty if nothing is.
inline std::string list_fault(const detail::SharedTable& table) {
    std::int32_t previous = -1;
    std::set<std::int64_t> keys;
    for (std::int32_t index : listed(table)) {
        const detail::SharedAtom& atom = table.atoms[index];
        if (atom.in_use != 1) return "a listed atom is not in use";
        if (atom.previous != previous) return "a link back is wrong";
        if (!keys.insert((std::int64_t{atom.type} << 32) + atom.id).second) return "a key twice";
        previous = index;
    }
    return table.tail == previous ? "" : "the tail is not the last";
}

/// What is wrong with the table; empty if nothing is.
inline std::string fault_of(const detail::SharedTable& table) {
    std::set<std::int32_t> places;
    for (std::int32_t i = 0; i < 256 - table.count; ++i)
        places.insert(table.free_atoms[i]);
    const std::vector<std::int32_t> in_list = listed(table);
    if (static_cast<std::int32_t>(in_list.size()) != table.count) return "count and list differ";
    if (static_cast<std::int32_t>(places.size()) != 256 - table.count) return "a free atom twice";
    places.insert(in_list.begin(), in_list.end());
    if (places.size() != 256 || *places.begin() != 0 || *places.rbegin() != 255)
        return "an atom is both free and in use, or neither";
    for (std::int32_t i = 0; i < 256; ++i) {
        if (table.atoms[i].index != i) return "an atom's own index";
        if (table.atoms[i].in_use == 0 && !is_zero(table.atoms[i].data)) return "data left behind";
    }
    return list_fault(table);
}

}  // namespace tarnwillow::test
