#include "tarnwillow/crossprocess/atomTable.h"

#include <algorithm>
#include <cstring>

#include "tarnwillow/crossprocess/sharedState.h"

namespace tarnwillow::detail {

namespace {

bool is_count(std::int32_t count) { return count >= 0 && count <= kAtoms; }

bool is_link(std::int32_t link) { return link == kNoAtom || is_atom_index(link); }

}  // namespace

/// Marks the table as being changed. Whoever takes the mutex and finds the mark knows that its
/// holder died in here.
class AtomTable::Change {
public:
    explicit Change(SharedTable& table)
        : table_(table), count_(std::clamp(read(table.count), 0, kAtoms)) {
        store_first(table_.count, count_ | kChanging);
    }
    ~Change() { store_last(table_.count, count_); }
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;

    void set_count(std::int32_t count) { count_ = count; }
    std::int32_t count() const { return count_; }

private:
    SharedTable& table_;
    std::int32_t count_;
};

void AtomTable::format() {
    Change change(table_);
    std::memset(&table_.head, 0, sizeof table_ - offsetof(SharedTable, head));
    change.set_count(0);
    rebuild_list();
    rebuild_free_list();
}

bool AtomTable::is_settled() const {
    return is_count(count()) && is_link(read(table_.head)) && is_link(read(table_.tail));
}

std::int32_t AtomTable::find(std::int32_t type, std::int32_t id) const {
    std::int32_t at = head();
    for (int steps = 0; at != kNoAtom && steps < kAtoms; ++steps, at = next_of(at))
        if (table_.atoms[at].type == type && table_.atoms[at].id == id) return at;
    return kNoAtom;
}

// Adding and freeing. An atom's in-use word is stored last when it comes and first when it goes: so
// a holder that dies leaves it whole or not at all.

/// The free atom whose turn it is, or -1 if the lists do not fit together.
std::int32_t AtomTable::first_free() const {
    const std::int32_t first = read(table_.free_atoms[0]);
    const bool empty = checked(read(table_.tail)) == kNoAtom;
    return is_atom_index(first) && !is_in_use(first) && (count() == 0) == empty ? first : kNoAtom;
}

std::int32_t AtomTable::add(std::int32_t type, std::int32_t id, void const* data,
                            std::size_t size) {
    if (count() < kAtoms && first_free() == kNoAtom) rebuild();
    const std::int32_t index = first_free();
    if (count() >= kAtoms || index == kNoAtom) return kNoAtom;
    SharedAtom& atom = table_.atoms[index];
    Change change(table_);
    change.set_count(change.count() + 1);
    std::copy_n(table_.free_atoms + 1, kAtoms - change.count(), table_.free_atoms);
    atom.type = type;
    atom.id = id;
    if (data != nullptr) std::memcpy(atom.data, data, std::min(size, sizeof atom.data));
    append(index);
    store_last(atom.in_use, 1);
    return index;
}

/// Behind the newest atom.
void AtomTable::append(std::int32_t index) {
    SharedAtom& atom = table_.atoms[index];
    atom.previous = checked(read(table_.tail));
    atom.next = kNoAtom;
    if (atom.previous != kNoAtom) table_.atoms[atom.previous].next = index;
    table_.tail = index;
    if (table_.head == kNoAtom) table_.head = index;
}

void AtomTable::release(std::int32_t index) {
    if (!is_in_use(index)) return;
    if (count() == 0) rebuild();
    SharedAtom& atom = table_.atoms[index];
    Change change(table_);
    store_first(atom.in_use, 0);
    change.set_count(std::max(change.count() - 1, 0));
    table_.free_atoms[kAtoms - 1 - change.count()] = index;
    std::memset(atom.data, 0, sizeof atom.data);
    unlink(index);
}

void AtomTable::unlink(std::int32_t index) {
    const std::int32_t previous = previous_of(index);
    const std::int32_t next = next_of(index);
    if (next != kNoAtom) table_.atoms[next].previous = previous;
    if (previous != kNoAtom) table_.atoms[previous].next = next;
    if (table_.head == index) table_.head = next;
    if (table_.tail == index) table_.tail = previous;
}

// Putting right.

void AtomTable::rebuild() {
    Change change(table_);
    rebuild_list();
    rebuild_free_list();
    change.set_count(static_cast<std::int32_t>(
        std::count_if(std::begin(table_.atoms), std::end(table_.atoms),
                      [](const SharedAtom& atom) { return atom.in_use == 1; })));
}

/// Atoms that the old list still reaches keep their order; the others follow it.
void AtomTable::rebuild_list() {
    std::int32_t order[kAtoms];
    bool listed[kAtoms] = {};
    int atoms = 0;
    const auto list = [&](std::int32_t index) {
        if (!is_in_use(index) || listed[index]) return false;
        listed[index] = true;
        order[atoms++] = index;
        return true;
    };
    for (std::int32_t at = head(); list(at); at = next_of(at)) {
    }
    for (std::int32_t i = 0; i < kAtoms; ++i)
        list(i);
    table_.head = table_.tail = kNoAtom;
    for (int i = 0; i < atoms; ++i)
        append(order[i]);
}

/// A free atom's data are zeros, on which the next user relies.
void AtomTable::rebuild_free_list() {
    std::int32_t* place = table_.free_atoms;
    for (std::int32_t i = 0; i < kAtoms; ++i) {
        SharedAtom& atom = table_.atoms[i];
        atom.index = i;
        if (atom.in_use == 1) continue;
        atom.in_use = 0;
        std::memset(atom.data, 0, sizeof atom.data);
        *place++ = i;
    }
}

}  // namespace tarnwillow::detail
