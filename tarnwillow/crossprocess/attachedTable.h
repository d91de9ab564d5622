// One process's attachment to a shared table: its mutex, its memory, and what this process keeps
// for itself about it.
#pragma once

#include "tarnwillow/crossprocess/atomHints.h"
#include "tarnwillow/crossprocess/atomTable.h"
#include "tarnwillow/platform/api.h"

namespace tarnwillow::detail {

class AttachedTable {
public:
    /// Gets a walk's atom; false ends the walk.
    using Visit = bool (*)(std::int32_t index, SharedAtom& atom, void* context);

    AttachedTable() = default;
    ~AttachedTable();
    AttachedTable(const AttachedTable&) = delete;
    AttachedTable& operator=(const AttachedTable&) = delete;

    /// 0, or -1 if the mutex cannot be had. Throws `long` E_OUTOFMEMORY if the memory cannot be
    /// shared. At most once.
    long open(char const* name);

    HANDLE mutex() const { return mutex_; }

    /// Whether the table was made here.
    bool is_new() const { return is_new_; }

    // For the holder of the mutex.

    AtomTable atoms() const { return AtomTable(*view_); }

    /// By this process's hint, or else through the list; -1 if there is no such atom.
    std::int32_t find(std::int32_t type, std::int32_t id);

    std::int32_t add(std::int32_t type, std::int32_t id, void const* data, std::size_t size);

    /// Frees an atom. Walks that stand there step back.
    void release(std::int32_t index);

    /// Visits every atom of a type, oldest first. Atoms may come and go meanwhile; the walk ends at
    /// the latest behind 256 steps in which none did.
    void walk(std::int32_t type, Visit visit, void* context);

    /// The walks that are under way, and the return to them when a fault has jumped out of an inner
    /// one.
    class Walk;
    Walk* innermost_walk() const { return innermost_; }
    void return_to(Walk* walk) { innermost_ = walk; }

private:
    void visit_all(Walk& walk, std::int32_t type, Visit visit, void* context);
    void restart_step_counts();

    HANDLE mutex_ = nullptr;
    HANDLE mapping_ = nullptr;
    SharedTable* view_ = nullptr;
    bool is_new_ = false;
    Walk* innermost_ = nullptr;
    AtomHints hints_;
};

}  // namespace tarnwillow::detail
