#include "tarnwillow/crossprocess/attachedTable.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "tarnwillow/core/CAutoMutex.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/core/publicMutex.h"
#include "tarnwillow/crossprocess/sharedState.h"
#include "tarnwillow/platform/codepage.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/sharedMemory.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::detail {

/// Where a walk stands. Walks nest where a visit begins another.
class AttachedTable::Walk {
public:
    explicit Walk(AttachedTable& table)
        : cursor(table.atoms().head()), outer(table.progress_.innermost_walk), table_(table) {
        table.progress_.innermost_walk = this;
    }
    ~Walk() { table_.progress_.innermost_walk = outer; }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

    std::int32_t cursor;
    int steps = 0;
    Walk* const outer;

private:
    AttachedTable& table_;
};

/// While one lives, readers keep to the mutex.
class AttachedTable::Change {
public:
    explicit Change(AttachedTable& table) : table_(table) {
        if (table_.progress_.changes++ == 0) table_.version_.begin_change();
    }
    ~Change() {
        if (--table_.progress_.changes == 0) table_.version_.end_change();
    }
    Change(const Change&) = delete;
    Change& operator=(const Change&) = delete;

private:
    AttachedTable& table_;
};

AttachedTable::~AttachedTable() {
    if (mutex_ != nullptr) CloseHandle(mutex_);
    if (view_ != nullptr) UnmapViewOfFile(view_);
    if (mapping_ != nullptr) CloseHandle(mapping_);
}

// Whoever makes the memory holds the mutex until the table is one: the next comer finds it made.
long AttachedTable::open(char const* name) {
    char mutex_name[300];
    std::snprintf(mutex_name, sizeof mutex_name, "QV7162-%s-ATOM_TABLE_MUTEX", name);
    mutex_ = CreatePublicMutex(mutex_name);
    const CAutoMutex hold(mutex_, kWaitForEver);
    if (!hold.Is_Held()) return -1;
    lock_ = std::static_pointer_cast<platform::MutexObject>(
        platform::find_object(mutex_, platform::ObjectKind::mutex));
    if (lock_ == nullptr || !open_version(name)) throw E_OUTOFMEMORY;
    holder_ = &lock_->holder_word();
    view_ = static_cast<SharedTable*>(CreateSharedMemory(sizeof(SharedTable), name, &mapping_));
    is_new_ = GetLastError() == 0;
    if (is_new_ && !format()) throw E_OUTOFMEMORY;
    return 0;
}

/// False if somebody takes the memory away meanwhile.
bool AttachedTable::format() {
    return probe_guard(
        [&] {
            Change change(*this);
            atoms().format();
            return true;
        },
        [] { return false; });
}

bool AttachedTable::open_version(char const* name) {
    char16_t wide[kNameRoom] = {};
    platform::narrow_to_wide(name, std::strlen(name), wide, kNameRoom - 1);
    try {
        return version_.open(wide);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void AttachedTable::settle() {
    if (progress_.changes > 0) return;
    if (!TableVersion::is_changing(version_.now()) && atoms().is_settled()) return;
    Change change(*this);
    atoms().settle();
}

void AttachedTable::return_to(const Progress& progress) {
    if (progress_.changes > 0 && progress.changes == 0) version_.end_change();
    progress_ = progress;
}

std::int32_t AttachedTable::find(std::int32_t type, std::int32_t id) {
    const AtomTable table = atoms();
    const std::int32_t hint = hints_.find(atom_key(type, id));
    if (table.has_key(hint, atom_key(type, id))) return hint;
    const std::int32_t index = table.find(type, id);
    if (index != kNoAtom) hints_.note(atom_key(type, id), index);
    return index;
}

std::int32_t AttachedTable::add(std::int32_t type, std::int32_t id, void const* data,
                                std::size_t size) {
    Change change(*this);
    const std::int32_t index = atoms().add(type, id, data, size);
    if (index != kNoAtom) hints_.note(atom_key(type, id), index);
    restart_step_counts();
    return index;
}

void AttachedTable::set_data(std::int32_t index, void const* data, std::size_t size) {
    Change change(*this);
    if (data != nullptr) std::memcpy(atoms().atom(index).data, data, size);
}

void AttachedTable::release(std::int32_t index) {
    Change change(*this);
    const std::int32_t previous = atoms().previous_of(index);
    atoms().release(index);
    restart_step_counts();
    for (Walk* walk = progress_.innermost_walk; walk != nullptr; walk = walk->outer)
        if (walk->cursor == index) walk->cursor = previous;
}

void AttachedTable::restart_step_counts() {
    for (Walk* walk = progress_.innermost_walk; walk != nullptr; walk = walk->outer)
        walk->steps = 0;
}

void AttachedTable::walk(std::int32_t type, Visit visit, void* context) {
    Change change(*this);
    Walk walk(*this);
    visit_all(walk, type, visit, context);
}

// A cursor that stepped back from the first atom stands in front of the list.
void AttachedTable::visit_all(Walk& walk, std::int32_t type, Visit visit, void* context) {
    while (walk.cursor != kNoAtom && walk.steps++ < kAtoms) {
        SharedAtom& atom = atoms().atom(walk.cursor);
        if (atom.type == type && !visit(walk.cursor, atom, context)) return;
        walk.cursor = walk.cursor != kNoAtom ? atoms().next_of(walk.cursor) : atoms().head();
    }
}

}  // namespace tarnwillow::detail
