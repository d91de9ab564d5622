#pragma once

#include <cstddef>
#include <memory>

#include "tarnwillow/core/CAutoDeleteableObject.h"

namespace tarnwillow {

namespace detail {
class AttachedTable;
}

/// A table of 256 atoms that all processes share which name it. An atom is a key of two 32-bit
/// numbers and 512 bytes of data. There is no server: the table is made by the first process that
/// attaches, and is gone, atoms and all, with the last one, however that ends. Atoms have no owner:
/// they stay until someone deletes them.
///
/// Every operation takes the table's mutex, which all processes share, and waits for it as long as
/// it takes. Any thread. An operation on a detached object gives false, -1 or 0.
///
/// Numbers are `long` and must fit 32 bits: a key that does not is refused. Sizes are bytes; what
/// is beyond 512 is cut off without a word, and a size of 0 or below, or a null, copies nothing.
///
/// Copies of an object share its attachment, which ends with the last of them.
class TARNWILLOW_API CIPCSharedTable : public CAutoDeleteableObject {
public:
    /// Gets the atom's index, its id, its 512 bytes in the table itself, and the context given to
    /// the walk. False ends the walk.
    using AtomCallback = bool (*)(long index, long id, char* data, void* context);

    CIPCSharedTable() = default;
    /// A copy shares the attachment.
    CIPCSharedTable(const CIPCSharedTable&) = default;
    CIPCSharedTable& operator=(const CIPCSharedTable&) = default;
    ~CIPCSharedTable() override;

    /// Attaches to the table of that name, of at most 255 bytes; null is the table
    /// "QV7162-GENERIC_ATOM_TABLE". 0; for an attached object 0 if the name is its own, else
    /// E_UNEXPECTED; E_INVALIDARG for a longer name; -1 if the mutex cannot be had. Throws `long`
    /// E_OUTOFMEMORY if the memory cannot be shared. A failure leaves the object detached.
    long Initialize(char const* name);

    /// The same for a wide name, but null is the empty name, which is a table of its own. Gives
    /// also what UnicodeToAnsi fails with.
    long Initialize(char16_t const* name);

    /// The table "QV7162-GENERIC_ATOM_TABLE".
    long Initialize(std::nullptr_t = nullptr) {
        return Initialize(static_cast<char const*>(nullptr));
    }

    /// Empty for a detached object.
    char const* Get_Table_Name() const { return table_name; }

    /// Whether this attachment made the table: nobody else used it then. False for a detached
    /// object.
    bool Made_Table() const;

    /// A new atom with a key that no other has. Its index, 0 to 255; -183 if the key exists; -1 if
    /// the table is full or the key is refused.
    long New_Atom(long type, long id, void const* data, long size);

    /// Copies from an atom's data to `out`. Whether there is such an atom: a null `out` only asks.
    bool Get_Atom_Data(long type, long id, void* out, long size);
    bool Get_Atom_Data(long index, void* out, long size);

    /// Copies to an atom's data; the bytes behind stay as they were. Whether that came about. With
    /// `create`, an atom that is not there is made.
    bool Set_Atom_Data(long type, long id, void const* data, long size, bool create);
    bool Set_Atom_Data(long index, void const* data, long size);

    /// Atoms in use.
    int Get_Atom_Count();

    /// The key of an atom in use; false if it is none. A null pointer is passed over.
    bool Get_Atom_Key(long index, long* type, long* id);

    /// Calls back for every atom of that type, oldest first. The mutex is held all the time: so the
    /// callback must not wait for another process. It may delete any atom through this object, the
    /// current one too, and make new ones, which come last. A fault in the callback is reported and
    /// ends the walk. Always false.
    bool Iterate_Atoms(long type, AtomCallback callback, void* context);

    /// Whether there was such an atom.
    bool Delete_Atom(long type, long id);
    bool Delete_Atom(long index);

protected:
    /// For the holder of the mutex: the atom's index, or -1.
    long Get_Atom_Index(long type, long id);

    /// For the holder of the mutex: frees an atom. A walk that stands there steps back.
    void Release_Atom(long index);

    /// Detaches.
    void Clean_Up();

private:
    long attach(char const* name);

    char table_name[256] = {};
    std::shared_ptr<detail::AttachedTable> attached;
};

}  // namespace tarnwillow
