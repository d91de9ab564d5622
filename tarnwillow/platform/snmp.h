// The types by which an agent for network management answers in process, and an agent of our own
// for the table of interfaces.
//
// An agent is a module with four procedures. What it stores in a binding replaces what was there:
// memory is from malloc and goes back with free, whoever does it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Types of a value.
inline constexpr std::uint8_t ASN_INTEGER = 2;
inline constexpr std::uint8_t ASN_OCTETSTRING = 4;
inline constexpr std::uint8_t ASN_NULL = 5;
inline constexpr std::uint8_t ASN_OBJECTIDENTIFIER = 6;
inline constexpr std::uint8_t ASN_SEQUENCE = 0x30;
inline constexpr std::uint8_t ASN_IPADDRESS = 0x40;
inline constexpr std::uint8_t ASN_OPAQUE = 0x44;

/// Asks for whatever follows the names in the bindings.
inline constexpr std::uint8_t SNMP_PDU_GETNEXT = 161;

/// Results of a query.
inline constexpr std::int32_t SNMP_ERRORSTATUS_NOERROR = 0;
inline constexpr std::int32_t SNMP_ERRORSTATUS_NOSUCHNAME = 2;
inline constexpr std::int32_t SNMP_ERRORSTATUS_GENERR = 5;

struct AsnObjectIdentifier {
    std::uint32_t idLength;  ///< numbers in `ids`
    std::uint32_t* ids;
};

struct AsnOctetString {
    std::uint8_t* stream;
    std::uint32_t length;  ///< bytes
    bool dynamic;          ///< the stream goes with the value
};

struct AsnAny {
    std::uint8_t asnType;
    union {
        std::int32_t number;
        std::uint32_t unsigned32;
        AsnOctetString string;  ///< also of the types sequence, address and opaque
        AsnObjectIdentifier object;
    } asnValue;
};

struct SnmpVarBind {
    AsnObjectIdentifier name;
    AsnAny value;
};

struct SnmpVarBindList {
    SnmpVarBind* list;
    std::uint32_t len;
};

/// The procedures of an agent. Each gives false on failure.
using SnmpExtensionInitProc = bool (*)(std::uint32_t uptime, HANDLE* trap_event,
                                       AsnObjectIdentifier* supported_view);
using SnmpExtensionQueryProc = bool (*)(std::uint8_t pdu, SnmpVarBindList* bindings,
                                        std::int32_t* error_status, std::int32_t* error_index);

namespace platform {

/// The agent that is built in: of the interfaces table, 1.3.6.1.2.1.2.2.1, the columns for index
/// (1), type (3), address (6) and state (8). It looks at the adapters anew for each query.
bool agent_init(std::uint32_t uptime, HANDLE* trap_event, AsnObjectIdentifier* supported_view);
bool agent_query(std::uint8_t pdu, SnmpVarBindList* bindings, std::int32_t* error_status,
                 std::int32_t* error_index);

/// Frees what a binding owns: its name and its value, which becomes null.
void free_binding(SnmpVarBind* binding);

/// A copy of `count` numbers; null without memory.
std::uint32_t* copy_identifier(std::uint32_t const* ids, std::uint32_t count);

}  // namespace platform
}  // namespace tarnwillow
