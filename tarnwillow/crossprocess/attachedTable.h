// One process's attachment to a shared table: its mutex, its memory, and what this process keeps
// for itself about it.
#pragma once

#include <memory>

#include "tarnwillow/crossprocess/atomHints.h"
#include "tarnwillow/crossprocess/atomTable.h"
#include "tarnwillow/crossprocess/tableVersion.h"
#include "tarnwillow/platform/api.h"
#include "tarnwillow/platform/mutexObject.h"
#include "tarnwillow/platform/readFence.h"
#include "tarnwillow/platform/shortCopy.h"

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

    /// Copies from the atom of that key without the mutex, where this process knows its place and
    /// nobody holds the mutex meanwhile. False says nothing but that the mutex is needed.
    bool read_freely(AtomKey key, void* out, std::size_t size) const;

    // For the holder of the mutex.

    /// Puts right what a dead holder has left behind. To be called first by every holder.
    void settle();

    AtomTable atoms() const { return AtomTable(*view_); }

    /// By this process's hint, or else through the list; -1 if there is no such atom.
    std::int32_t find(std::int32_t type, std::int32_t id);

    std::int32_t add(std::int32_t type, std::int32_t id, void const* data, std::size_t size);
    void set_data(std::int32_t index, void const* data, std::size_t size);

    /// Frees an atom. Walks that stand there step back.
    void release(std::int32_t index);

    /// Visits every atom of a type, oldest first, and lets the visit write. Atoms may come and go
    /// meanwhile; the walk ends at the latest behind 256 steps in which none did.
    void walk(std::int32_t type, Visit visit, void* context);

    /// What is under way in this process: a return to it ends what a fault has jumped out of.
    class Walk;
    struct Progress {
        Walk* innermost_walk;
        int changes;
    };
    Progress progress() const { return progress_; }
    void return_to(const Progress& progress);

private:
    class Change;
    static constexpr std::size_t kNameRoom = 256;

    bool open_version(char const* name);
    bool format();

    bool is_free() const { return __atomic_load_n(holder_, __ATOMIC_ACQUIRE) == 0; }
    void visit_all(Walk& walk, std::int32_t type, Visit visit, void* context);
    void restart_step_counts();

    HANDLE mutex_ = nullptr;
    HANDLE mapping_ = nullptr;
    SharedTable* view_ = nullptr;
    bool is_new_ = false;
    TableVersion version_;
    std::shared_ptr<platform::MutexObject> lock_;  // keeps the word
    std::int32_t const* holder_ = nullptr;         // 0 while nobody holds the mutex
    Progress progress_{};
    AtomHints hints_;
};

// Atoms are read as they stand; only if nobody can have written meanwhile is that what they held.
inline bool AttachedTable::read_freely(AtomKey key, void* out, std::size_t size) const {
    if constexpr (!platform::kReadersMayRace) return false;
    const std::uint64_t version = version_.now();
    AtomTable table = atoms();
    const std::int32_t hint = hints_.find(key);
    if (TableVersion::is_changing(version) || !table.has_key(hint, key)) return false;
    if (out != nullptr) platform::copy_short(out, table.atom(hint).data, size);
    platform::read_fence();
    return version_.now() == version && is_free();
}

}  // namespace tarnwillow::detail
