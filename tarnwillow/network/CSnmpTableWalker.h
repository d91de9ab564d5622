#pragma once

#include <cstdint>

#include "tarnwillow/containers/CCollection.h"
#include "tarnwillow/platform/snmp.h"

namespace tarnwillow {

/// Walks a table of a network-management agent in process, row by row.
///
/// The agent is the module "inetmib1.dll" if the system's loader finds one by that name, with the
/// entries "SnmpExtensionInit", "SnmpExtensionInitEx", "SnmpExtensionQuery" and "SnmpExtensionTrap"
/// (see platform/snmp.h). Otherwise it is the one that is built in, which knows the interfaces
/// table. It is loaded once and stays until the process ends.
///
/// There is no lock: one thread at a time, also for different walkers.
class TARNWILLOW_API CSnmpTableWalker : public CCollection {
public:
    /// Throws `int` -1 if the module lacks an entry, and `long` E_OUTOFMEMORY.
    CSnmpTableWalker();
    CSnmpTableWalker(const CSnmpTableWalker&) = delete;
    CSnmpTableWalker& operator=(const CSnmpTableWalker&) = delete;

    /// An empty list of columns, which Free_Variable_List deletes. E_OUTOFMEMORY.
    long Create_Variable_List(CCollection** out);

    /// Appends a column: its identifier, ended by a zero, of at most 32 numbers, and the caller's
    /// code for it. E_INVALIDARG for a pointer that is no list, or an identifier that is too long
    /// or cannot be read; E_OUTOFMEMORY.
    long Add_Variable(CCollection* list, unsigned long const* oid, unsigned long tag);

    /// What a procedure is told without a value, as `code`.
    enum Event : long {
        kWalkStarts = 1,
        kGoOn = 2,  ///< asked before each row: false ends the walk
        kRowBegins = 3,
        kRowEnds = 4,
        kWalkEnds = 5,
    };

    /// With a value, `code` is the column's tag, and false skips the rest of the row.
    using RowProcedure = bool (*)(AsnAny* value, long code, void* user);

    /// Walks until the agent fails, leaves the first column, or stays where it is. E_INVALIDARG for
    /// a pointer that is no list, an empty list, or no procedure; E_OUTOFMEMORY; DISP_E_EXCEPTION
    /// if procedure or agent faults.
    long Walk_Table(CCollection* list, RowProcedure procedure, void* user);

    /// E_INVALIDARG for a pointer that is no list.
    long Free_Variable_List(CCollection* list);
};

}  // namespace tarnwillow
