#include "tarnwillow/network/adapterAddress.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "tarnwillow/network/CSnmpTableWalker.h"
#include "tarnwillow/platform/adapters.h"

namespace tarnwillow {

namespace {

enum Tag : long { kAdapterIndex = 2, kAdapterType = 3, kAdapterAddress = 4, kAdapterStatus = 9 };

// Columns of the interfaces table.
constexpr unsigned long kIfIndex[] = {1, 3, 6, 1, 2, 1, 2, 2, 1, 1, 0};
constexpr unsigned long kIfType[] = {1, 3, 6, 1, 2, 1, 2, 2, 1, 3, 0};
constexpr unsigned long kIfPhysAddress[] = {1, 3, 6, 1, 2, 1, 2, 2, 1, 6, 0};
constexpr unsigned long kIfOperStatus[] = {1, 3, 6, 1, 2, 1, 2, 2, 1, 8, 0};

constexpr std::uint32_t kAddressSize = 6;

/// The row that is being read.
struct Search {
    std::int32_t index;
    std::int32_t type;
    std::int32_t status;
    bool found;
    char16_t text[2 * kAddressSize + 1];
};
Search search{};

// An adapter for dialled connections has "DEST" in place of a maker's number.
bool is_address(const AsnAny& value) {
    constexpr std::uint8_t kZeros[kAddressSize] = {};
    if (value.asnType != ASN_OCTETSTRING) return false;
    const AsnOctetString& octets = value.asnValue.string;
    return octets.length == kAddressSize && octets.stream != nullptr &&
           std::memcmp(octets.stream, kZeros, kAddressSize) != 0 &&
           std::memcmp(octets.stream, "DEST", 4) != 0;
}

void format_address(std::uint8_t const* bytes) {
    constexpr char16_t kDigits[] = u"0123456789abcdef";
    char16_t* out = search.text;
    for (std::uint32_t i = 0; i < kAddressSize; ++i) {
        *out++ = kDigits[bytes[i] >> 4];
        *out++ = kDigits[bytes[i] & 15];
    }
    *out = 0;
}

void read_column(const AsnAny& value, long tag) {
    switch (tag) {
        case kAdapterIndex:
            search.index = value.asnValue.number;
            break;
        case kAdapterType:
            search.type = value.asnValue.number;
            break;
        case kAdapterStatus:
            search.status = value.asnValue.number;
            break;
        case kAdapterAddress:
            if (is_address(value)) format_address(value.asnValue.string.stream);
            break;
        default:
            break;
    }
}

bool find_adapter(AsnAny* value, long code, void*) {
    if (value != nullptr) {
        read_column(*value, code);
        return true;
    }
    if (code == CSnmpTableWalker::kGoOn) return !search.found;
    if (code == CSnmpTableWalker::kRowBegins) search.text[0] = 0;
    if (code == CSnmpTableWalker::kRowEnds && search.type == platform::kAdapterEthernet &&
        search.status == platform::kAdapterUp)
        search.found = true;
    return true;
}

char16_t const* walk_adapters() {
    CSnmpTableWalker walker;
    CCollection* columns = nullptr;
    if (walker.Create_Variable_List(&columns) != S_OK) return nullptr;
    const bool complete = walker.Add_Variable(columns, kIfIndex, kAdapterIndex) == S_OK &&
                          walker.Add_Variable(columns, kIfType, kAdapterType) == S_OK &&
                          walker.Add_Variable(columns, kIfPhysAddress, kAdapterAddress) == S_OK &&
                          walker.Add_Variable(columns, kIfOperStatus, kAdapterStatus) == S_OK;
    if (complete) walker.Walk_Table(columns, find_adapter, nullptr);
    walker.Free_Variable_List(columns);
    return complete ? search.text : nullptr;
}

}  // namespace

char16_t const* Get_Mac_Address() {
    search = {};
    try {
        return walk_adapters();
    } catch (int) {
        return search.text;  // an agent without all its entries knows nothing
    } catch (long) {
        return nullptr;
    }
}

}  // namespace tarnwillow
