#include "tarnwillow/crossprocess/attachedTable.h"

#include <cstdio>

#include "tarnwillow/core/CAutoMutex.h"
#include "tarnwillow/core/publicMutex.h"
#include "tarnwillow/crossprocess/sharedState.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/sharedMemory.h"

namespace tarnwillow::detail {

/// Where a walk stands. Walks nest where a visit begins another.
class AttachedTable::Walk {
public:
    explicit Walk(AttachedTable& table)
        : cursor(table.atoms().head()), outer(table.innermost_), table_(table) {
        table.innermost_ = this;
    }
    ~Walk() { table_.innermost_ = outer; }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

    std::int32_t cursor;
    int steps = 0;
    Walk* const outer;

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
    view_ = static_cast<SharedTable*>(CreateSharedMemory(sizeof(SharedTable), name, &mapping_));
    is_new_ = GetLastError() == 0;
    if (is_new_) atoms().format();
    return 0;
}

std::int32_t AttachedTable::find(std::int32_t type, std::int32_t id) {
    const AtomTable table = atoms();
    const std::int32_t hint = hints_.find(type, id);
    if (table.has_key(hint, type, id)) return hint;
    const std::int32_t index = table.find(type, id);
    if (index != kNoAtom) hints_.note(type, id, index);
    return index;
}

std::int32_t AttachedTable::add(std::int32_t type, std::int32_t id, void const* data,
                                std::size_t size) {
    const std::int32_t index = atoms().add(type, id, data, size);
    if (index != kNoAtom) hints_.note(type, id, index);
    restart_step_counts();
    return index;
}

void AttachedTable::release(std::int32_t index) {
    const std::int32_t previous = atoms().previous_of(index);
    atoms().release(index);
    restart_step_counts();
    for (Walk* walk = innermost_; walk != nullptr; walk = walk->outer)
        if (walk->cursor == index) walk->cursor = previous;
}

void AttachedTable::restart_step_counts() {
    for (Walk* walk = innermost_; walk != nullptr; walk = walk->outer)
        walk->steps = 0;
}

void AttachedTable::walk(std::int32_t type, Visit visit, void* context) {
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
