#include "tarnwillow/platform/snmp.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>

#include "tarnwillow/platform/adapters.h"

namespace tarnwillow::platform {

namespace {

constexpr std::uint32_t kTable[] = {1, 3, 6, 1, 2, 1, 2, 2, 1};
constexpr std::uint32_t kTableSize = std::size(kTable);

enum Column : std::uint32_t { kIndex = 1, kType = 3, kAddress = 6, kState = 8 };
constexpr Column kColumns[] = {kIndex, kType, kAddress, kState};

/// Where in the table a name stands: the first row and column that can follow it.
struct Place {
    Column column;
    std::uint32_t after;  ///< the row's index must be greater
    bool from_start;      ///< or every row will do
};

/// False if nothing in the table follows the name.
bool place_behind(const AsnObjectIdentifier& name, Place* place) {
    const std::uint32_t common = std::min(name.idLength, kTableSize);
    const auto [in_name, in_table] = std::mismatch(name.ids, name.ids + common, kTable);
    if (in_name != name.ids + common) {
        *place = {kIndex, 0, true};
        return *in_name < *in_table;
    }
    const std::uint32_t asked = name.idLength > kTableSize ? name.ids[kTableSize] : 0;
    const auto* const column = std::lower_bound(std::begin(kColumns), std::end(kColumns), asked);
    if (column == std::end(kColumns)) return false;
    const bool inside = *column == asked && name.idLength > kTableSize + 1;
    *place = {*column, inside ? name.ids[kTableSize + 1] : 0, !inside};
    return true;
}

bool fill_value(AsnAny* value, const Adapter& adapter, Column column) {
    if (column == kAddress) {
        auto* const stream = static_cast<std::uint8_t*>(std::malloc(sizeof adapter.address));
        if (stream == nullptr) return false;
        std::memcpy(stream, adapter.address, adapter.address_size);
        value->asnType = ASN_OCTETSTRING;
        value->asnValue.string = {stream, adapter.address_size, true};
        return true;
    }
    const std::uint32_t number = column == kIndex  ? adapter.index
                                 : column == kType ? adapter.kind
                                                   : adapter.state;
    value->asnType = ASN_INTEGER;
    value->asnValue.number = static_cast<std::int32_t>(number);
    return true;
}

bool fill_binding(SnmpVarBind* binding, const Adapter& adapter, Column column) {
    std::uint32_t name[kTableSize + 2];
    std::copy_n(kTable, kTableSize, name);
    name[kTableSize] = column;
    name[kTableSize + 1] = adapter.index;
    SnmpVarBind filled{{kTableSize + 2, copy_identifier(name, kTableSize + 2)}, {ASN_NULL, {}}};
    if (filled.name.ids == nullptr || !fill_value(&filled.value, adapter, column)) {
        free_binding(&filled);
        return false;
    }
    free_binding(binding);
    *binding = filled;
    return true;
}

Adapter const* first_row(const std::vector<Adapter>& rows, const Place& place) {
    for (const Adapter& row : rows)
        if (place.from_start || row.index > place.after) return &row;
    return nullptr;
}

/// The error of one binding. Behind a column's last row comes the next column's first.
std::int32_t advance(SnmpVarBind* binding, const std::vector<Adapter>& rows) {
    Place place{};
    if (!place_behind(binding->name, &place)) return SNMP_ERRORSTATUS_NOSUCHNAME;
    Adapter const* row = first_row(rows, place);
    if (row == nullptr) {
        const auto* const next =
            std::upper_bound(std::begin(kColumns), std::end(kColumns), place.column);
        if (next == std::end(kColumns) || rows.empty()) return SNMP_ERRORSTATUS_NOSUCHNAME;
        place.column = *next;
        row = &rows.front();
    }
    return fill_binding(binding, *row, place.column) ? SNMP_ERRORSTATUS_NOERROR
                                                     : SNMP_ERRORSTATUS_GENERR;
}

bool owns_stream(const AsnAny& value) {
    const std::uint8_t type = value.asnType;
    const bool is_stream = type == ASN_OCTETSTRING || type == ASN_IPADDRESS || type == ASN_OPAQUE ||
                           type == ASN_SEQUENCE;
    return is_stream && value.asnValue.string.dynamic;
}

}  // namespace

std::uint32_t* copy_identifier(std::uint32_t const* ids, std::uint32_t count) {
    auto* const copy = static_cast<std::uint32_t*>(std::calloc(count, sizeof *ids));
    if (copy != nullptr) std::copy_n(ids, count, copy);
    return copy;
}

void free_binding(SnmpVarBind* binding) {
    std::free(binding->name.ids);
    binding->name = {};
    AsnAny& value = binding->value;
    if (value.asnType == ASN_OBJECTIDENTIFIER) std::free(value.asnValue.object.ids);
    if (owns_stream(value)) std::free(value.asnValue.string.stream);
    value = {ASN_NULL, {}};
}

bool agent_init(std::uint32_t, HANDLE* trap_event, AsnObjectIdentifier* supported_view) {
    static std::uint32_t view[] = {1, 3, 6, 1, 2, 1, 2};
    *trap_event = nullptr;
    *supported_view = {std::size(view), view};
    return true;
}

// A binding that has nothing behind it is told as an error, and the query itself has succeeded.
bool agent_query(std::uint8_t pdu, SnmpVarBindList* bindings, std::int32_t* error_status,
                 std::int32_t* error_index) try {
    *error_status = SNMP_ERRORSTATUS_NOERROR;
    *error_index = 0;
    if (pdu != SNMP_PDU_GETNEXT) return false;
    const std::vector<Adapter> rows = list_adapters();
    for (std::uint32_t i = 0; i < bindings->len; ++i) {
        const std::int32_t error = advance(&bindings->list[i], rows);
        if (error == SNMP_ERRORSTATUS_NOERROR) continue;
        *error_status = error;
        *error_index = static_cast<std::int32_t>(i + 1);
        return error != SNMP_ERRORSTATUS_GENERR;
    }
    return true;
} catch (const std::bad_alloc&) {
    *error_status = SNMP_ERRORSTATUS_GENERR;
    return false;
}

}  // namespace tarnwillow::platform
