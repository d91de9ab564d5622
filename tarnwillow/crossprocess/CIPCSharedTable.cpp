#include "tarnwillow/crossprocess/CIPCSharedTable.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>

#include "tarnwillow/core/CAutoMutex.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/crossprocess/attachedTable.h"
#include "tarnwillow/crossprocess/sharedState.h"
#include "tarnwillow/text/characterSets.h"

namespace tarnwillow {

using detail::kNoAtom;
using detail::SharedAtom;

namespace {

constexpr char kDefaultName[] = "QV7162-GENERIC_ATOM_TABLE";
constexpr char16_t kGuardName[] = u"CIPCSharedTable";
constexpr long kKeyExists = -ERROR_ALREADY_EXISTS;

bool fits(long number) { return number == static_cast<std::int32_t>(number); }

std::int32_t narrowed(long number) { return static_cast<std::int32_t>(number); }

std::size_t data_size(long size) {
    return static_cast<std::size_t>(std::clamp<long>(size, 0, SharedAtom::kDataSize));
}

void copy_data(void* dest, void const* source, long size) {
    if (dest != nullptr && source != nullptr) std::memcpy(dest, source, data_size(size));
}

/// Runs `body(attached)` for the holder of the table's mutex, with the table's lists in order. A
/// fault in there, such as memory that another process took away, is reported and gives `failure`,
/// as does a mutex that cannot be had.
template <class Result, class Body>
Result with_table(detail::AttachedTable* attached, Result failure, Body body) {
    if (attached == nullptr) return failure;
    const CAutoMutex hold(attached->mutex(), detail::kWaitForEver);
    if (!hold.Is_Held()) return failure;
    const auto progress = attached->progress();
    return reporting_guard(
        ExceptionLevelHandled, kGuardName,
        [&]() -> Result {
            attached->settle();
            return body(*attached);
        },
        [&] {
            attached->return_to(progress);
            return failure;
        });
}

/// Whether the atom was read without the mutex.
bool read_freely(detail::AttachedTable const* attached, long type, long id, void* out, long size) {
    if (attached == nullptr || !fits(type) || !fits(id)) return false;
    const detail::AtomKey key = detail::atom_key(narrowed(type), narrowed(id));
    const std::size_t count = data_size(size);
    // A fault is met again, and reported, on the way with the mutex.
    return probe_guard([=] { return attached->read_freely(key, out, count); },
                       [] { return false; });
}

/// Apart from the quick way, which this would slow down.
[[gnu::noinline]] bool read_with_mutex(detail::AttachedTable* attached, long type, long id,
                                       void* out, long size) {
    return with_table(attached, false, [&](detail::AttachedTable& table) {
        if (!fits(type) || !fits(id)) return false;
        const std::int32_t index = table.find(narrowed(type), narrowed(id));
        if (index == kNoAtom) return false;
        copy_data(out, table.atoms().atom(index).data, size);
        return true;
    });
}

}  // namespace

CIPCSharedTable::~CIPCSharedTable() { CIPCSharedTable::Clean_Up(); }

void CIPCSharedTable::Clean_Up() {
    attached.reset();
    table_name[0] = 0;
}

// Attaching.

long CIPCSharedTable::Initialize(char const* name) {
    if (name == nullptr) name = kDefaultName;
    if (attached != nullptr) return std::strcmp(name, table_name) == 0 ? 0 : E_UNEXPECTED;
    if (std::strlen(name) >= sizeof table_name) return E_INVALIDARG;
    return attach(name);
}

long CIPCSharedTable::Initialize(char16_t const* name) {
    char narrow[sizeof table_name];
    const long result = UnicodeToAnsi(name, narrow, sizeof narrow);
    return result == 0 ? Initialize(narrow) : result;
}

long CIPCSharedTable::attach(char const* name) {
    const auto fresh = [] {
        try {
            return std::make_shared<detail::AttachedTable>();
        } catch (const std::bad_alloc&) {
            throw E_OUTOFMEMORY;
        }
    }();
    const long result = fresh->open(name);
    if (result != 0) return result;
    std::strcpy(table_name, name);
    attached = fresh;
    return 0;
}

bool CIPCSharedTable::Made_Table() const { return attached != nullptr && attached->is_new(); }

// By key.

long CIPCSharedTable::New_Atom(long type, long id, void const* data, long size) {
    return with_table(attached.get(), -1L, [&](detail::AttachedTable& table) -> long {
        if (!fits(type) || !fits(id) || table.atoms().count() == detail::kAtoms) return -1;
        if (Get_Atom_Index(type, id) != kNoAtom) return kKeyExists;
        return table.add(narrowed(type), narrowed(id), data, data_size(size));
    });
}

bool CIPCSharedTable::Get_Atom_Data(long type, long id, void* out, long size) {
    return read_freely(attached.get(), type, id, out, size) ||
           read_with_mutex(attached.get(), type, id, out, size);
}

bool CIPCSharedTable::Set_Atom_Data(long type, long id, void const* data, long size, bool create) {
    return with_table(attached.get(), false, [&](detail::AttachedTable& table) {
        const long index = Get_Atom_Index(type, id);
        if (index == kNoAtom) return create && New_Atom(type, id, data, size) >= 0;
        table.set_data(narrowed(index), data, data_size(size));
        return true;
    });
}

bool CIPCSharedTable::Delete_Atom(long type, long id) {
    return with_table(attached.get(), false, [&](detail::AttachedTable&) {
        const long index = Get_Atom_Index(type, id);
        if (index == kNoAtom) return false;
        Release_Atom(index);
        return true;
    });
}

// By index.

bool CIPCSharedTable::Get_Atom_Data(long index, void* out, long size) {
    return with_table(attached.get(), false, [&](detail::AttachedTable& table) {
        if (!table.atoms().is_in_use(index)) return false;
        copy_data(out, table.atoms().atom(narrowed(index)).data, size);
        return true;
    });
}

bool CIPCSharedTable::Set_Atom_Data(long index, void const* data, long size) {
    return with_table(attached.get(), false, [&](detail::AttachedTable& table) {
        if (!table.atoms().is_in_use(index)) return false;
        table.set_data(narrowed(index), data, data_size(size));
        return true;
    });
}

bool CIPCSharedTable::Get_Atom_Key(long index, long* type, long* id) {
    return with_table(attached.get(), false, [&](detail::AttachedTable& table) {
        if (!table.atoms().is_in_use(index)) return false;
        const SharedAtom& atom = table.atoms().atom(narrowed(index));
        if (type != nullptr) *type = atom.type;
        if (id != nullptr) *id = atom.id;
        return true;
    });
}

bool CIPCSharedTable::Delete_Atom(long index) {
    return with_table(attached.get(), false, [&](detail::AttachedTable& table) {
        if (!table.atoms().is_in_use(index)) return false;
        Release_Atom(index);
        return true;
    });
}

// All of them.

int CIPCSharedTable::Get_Atom_Count() {
    return with_table(attached.get(), 0,
                      [](detail::AttachedTable& table) { return int{table.atoms().count()}; });
}

bool CIPCSharedTable::Iterate_Atoms(long type, AtomCallback callback, void* context) {
    struct Call {
        AtomCallback callback;
        void* context;
    } call{callback, context};
    // The walk ends in order when a callback faults: so that has a guard of its own.
    const auto visit = [](std::int32_t index, SharedAtom& atom, void* visit_context) {
        const Call& made = *static_cast<Call*>(visit_context);
        return reporting_guard(
            ExceptionLevelHandled, u"CIPCSharedTable::Iterate_Atoms",
            [&] {
                return not_null(made.callback)(index, atom.id, reinterpret_cast<char*>(atom.data),
                                               made.context);
            },
            [] { return false; });
    };
    return with_table(attached.get(), false, [&](detail::AttachedTable& table) {
        if (fits(type)) table.walk(narrowed(type), visit, &call);
        return false;
    });
}

// For the holder of the mutex.

long CIPCSharedTable::Get_Atom_Index(long type, long id) {
    if (attached == nullptr || !fits(type) || !fits(id)) return kNoAtom;
    return attached->find(narrowed(type), narrowed(id));
}

void CIPCSharedTable::Release_Atom(long index) {
    if (attached != nullptr && detail::is_atom_index(index)) attached->release(narrowed(index));
}

}  // namespace tarnwillow
