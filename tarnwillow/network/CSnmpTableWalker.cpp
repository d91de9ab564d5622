#include "tarnwillow/network/CSnmpTableWalker.h"

#include <algorithm>
#include <memory>
#include <new>

#include "tarnwillow/containers/CIterator.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/network/logClasses.h"
#include "tarnwillow/platform/clock.h"
#include "tarnwillow/platform/modules.h"

namespace tarnwillow {

namespace {

constexpr std::uint32_t kMostNumbers = 32;

/// One column in a variable list.
struct Variable {
    std::uint32_t tag;
    std::uint32_t ids[kMostNumbers];
    std::uint32_t length;
};

// The agent.

struct Agent {
    HINSTANCE module = nullptr;
    SnmpExtensionInitProc init = nullptr;
    SnmpExtensionQueryProc query = nullptr;  // null until the agent is loaded
};

Agent& agent() {
    static Agent the_agent;
    return the_agent;
}

bool bind(Agent& loaded) {
    for (char const* const needed : {"SnmpExtensionInitEx", "SnmpExtensionTrap"})
        if (GetProcAddress(loaded.module, needed) == nullptr) return false;
    loaded.init =
        reinterpret_cast<SnmpExtensionInitProc>(GetProcAddress(loaded.module, "SnmpExtensionInit"));
    loaded.query = reinterpret_cast<SnmpExtensionQueryProc>(
        GetProcAddress(loaded.module, "SnmpExtensionQuery"));
    return loaded.init != nullptr && loaded.query != nullptr;
}

Agent find_agent() {
    Agent found;
    found.module = LoadLibraryW(u"inetmib1.dll");
    if (found.module == nullptr) return {nullptr, platform::agent_init, platform::agent_query};
    if (bind(found)) return found;
    FreeLibrary(found.module);
    _LOG(detail::kGeneralErrors, "inetmib1.dll lacks an entry");
    throw -1;
}

void load_agent() {
    if (agent().query != nullptr) return;
    agent() = find_agent();
    reporting_guard(
        ExceptionLevelHandled, u"CSnmpTableWalker::CSnmpTableWalker",
        [] {
            HANDLE trap_event = nullptr;
            AsnObjectIdentifier view{};
            agent().init(GetTickCount(), &trap_event, &view);
        },
        no_recovery);
}

// Names.

bool begins_with(const AsnObjectIdentifier& name, const Variable& column) {
    const std::uint32_t common = std::min(name.idLength, column.length);
    return std::equal(name.ids, name.ids + common, column.ids);
}

/// Where the walk has come to. Whatever the agent answers, the place has to grow, so that every
/// walk ends.
class Place {
public:
    explicit Place(const Variable& column) : length_(column.length) {
        std::copy_n(column.ids, length_, ids_);
    }

    bool moves_to(const AsnObjectIdentifier& name) {
        const std::uint32_t length = std::min(name.idLength, kRoom);
        if (!std::lexicographical_compare(ids_, ids_ + length_, name.ids, name.ids + length))
            return false;
        std::copy_n(name.ids, length, ids_);
        length_ = length;
        return true;
    }

private:
    static constexpr std::uint32_t kRoom = 128;
    std::uint32_t ids_[kRoom];
    std::uint32_t length_;
};

// The bindings of a walk.

class Bindings {
public:
    explicit Bindings(CCollection& columns)
        : count_(static_cast<std::uint32_t>(columns.Entries())),
          bindings_(new (std::nothrow) SnmpVarBind[count_]()),
          columns_(new (std::nothrow) Variable const*[count_]()) {
        if (bindings_ == nullptr || columns_ == nullptr) return;
        complete_ = true;
        CIterator walk;
        walk.Iterate(&columns);
        for (std::uint32_t i = 0; i < count_; ++i, walk.Next())
            complete_ = fill(i, static_cast<Variable const*>(walk.Current())) && complete_;
    }
    ~Bindings() {
        for (std::uint32_t i = 0; bindings_ != nullptr && i < count_; ++i)
            platform::free_binding(&bindings_[i]);
    }
    Bindings(const Bindings&) = delete;
    Bindings& operator=(const Bindings&) = delete;

    bool complete() const { return complete_; }
    std::uint32_t count() const { return count_; }
    const Variable& column(std::uint32_t i) const { return *columns_[i]; }
    SnmpVarBind& operator[](std::uint32_t i) const { return bindings_[i]; }

    bool advance() const {
        SnmpVarBindList list{bindings_.get(), count_};
        std::int32_t error_status = 0;
        std::int32_t error_index = 0;
        return agent().query(SNMP_PDU_GETNEXT, &list, &error_status, &error_index);
    }

private:
    bool fill(std::uint32_t i, Variable const* column) {
        columns_[i] = column;
        AsnObjectIdentifier& name = bindings_[i].name;
        name.ids = platform::copy_identifier(column->ids, column->length);
        name.idLength = name.ids != nullptr ? column->length : 0;
        bindings_[i].value.asnType = ASN_NULL;
        return name.ids != nullptr;
    }

    const std::uint32_t count_;
    const std::unique_ptr<SnmpVarBind[]> bindings_;
    const std::unique_ptr<Variable const*[]> columns_;
    bool complete_ = false;
};

void tell_row(const Bindings& bindings, CSnmpTableWalker::RowProcedure procedure, void* user) {
    procedure(nullptr, CSnmpTableWalker::kRowBegins, user);
    for (std::uint32_t i = 0; i < bindings.count(); ++i)
        if (!procedure(&bindings[i].value, static_cast<long>(bindings.column(i).tag), user)) break;
    procedure(nullptr, CSnmpTableWalker::kRowEnds, user);
}

void walk(const Bindings& bindings, CSnmpTableWalker::RowProcedure procedure, void* user) {
    const Variable& first = bindings.column(0);
    Place place(first);
    procedure(nullptr, CSnmpTableWalker::kWalkStarts, user);
    while (procedure(nullptr, CSnmpTableWalker::kGoOn, user)) {
        if (!bindings.advance()) break;
        const AsnObjectIdentifier& name = bindings[0].name;
        if (!begins_with(name, first) || !place.moves_to(name)) break;
        tell_row(bindings, procedure, user);
    }
    procedure(nullptr, CSnmpTableWalker::kWalkEnds, user);
}

/// Numbers in front of the zero; false if there are too many.
bool read_identifier(unsigned long const* oid, Variable* variable) {
    return probe_guard(
        [=] {
            not_null(oid);
            for (std::uint32_t i = 0; i <= kMostNumbers; ++i) {
                variable->length = i;
                if (oid[i] == 0) return true;
                if (i < kMostNumbers) variable->ids[i] = static_cast<std::uint32_t>(oid[i]);
            }
            return false;
        },
        [] { return false; });
}

}  // namespace

CSnmpTableWalker::CSnmpTableWalker() : CCollection(u"CSnmpTableWalker") { load_agent(); }

long CSnmpTableWalker::Create_Variable_List(CCollection** out) {
    if (out == nullptr) return E_INVALIDARG;
    try {
        *out = new (std::nothrow) CCollection(u"CSnmpTableWalker variables");
    } catch (long failure) {
        return failure;
    }
    return *out != nullptr ? S_OK : E_OUTOFMEMORY;
}

long CSnmpTableWalker::Add_Variable(CCollection* list, unsigned long const* oid,
                                    unsigned long tag) {
    if (!CCollection::Validate_Object(list)) return E_INVALIDARG;
    Variable variable{};
    variable.tag = static_cast<std::uint32_t>(tag);
    if (!read_identifier(oid, &variable)) return E_INVALIDARG;
    try {
        return list->Add_Volatile(&variable, sizeof variable) != nullptr ? S_OK : E_OUTOFMEMORY;
    } catch (long failure) {
        return failure;
    }
}

long CSnmpTableWalker::Walk_Table(CCollection* list, RowProcedure procedure, void* user) {
    if (!CCollection::Validate_Object(list) || procedure == nullptr) return E_INVALIDARG;
    if (list->Entries() == 0) return E_INVALIDARG;
    const Bindings bindings(*list);
    if (!bindings.complete()) return E_OUTOFMEMORY;
    return reporting_guard(
        ExceptionLevelHandled, u"CSnmpTableWalker::Walk_Table",
        [&] {
            walk(bindings, procedure, user);
            return S_OK;
        },
        [] { return DISP_E_EXCEPTION; });
}

long CSnmpTableWalker::Free_Variable_List(CCollection* list) {
    if (!CCollection::Validate_Object(list)) return E_INVALIDARG;
    delete list;
    return S_OK;
}

}  // namespace tarnwillow
