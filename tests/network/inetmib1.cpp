// An agent module for the tests. What its table holds, and how it behaves, stands in the variable
// TEST_ADAPTERS: a letter for its behaviour, then rows of "type status address" between commas.
//
//   n  as it should      s  never moves on      f  each query fails
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "tarnwillow/platform/snmp.h"

namespace {

using namespace tarnwillow;

struct Row {
    int type = 0;
    int status = 0;
    std::string address;
};

std::string setting() {
    char const* const text = std::getenv("TEST_ADAPTERS");
    return text != nullptr ? text : "n";
}

std::vector<Row> rows() {
    std::vector<Row> all;
    std::istringstream text(setting().substr(1));
    for (std::string part; std::getline(text, part, ',');) {
        std::istringstream fields(part);
        Row row;
        std::string digits;
        fields >> row.type >> row.status >> digits;
        for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
            row.address += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
        all.push_back(row);
    }
    return all;
}

void replace_stream(AsnAny& value, const std::string& bytes) {
    auto* const stream = static_cast<std::uint8_t*>(std::malloc(bytes.size() + 1));
    std::memcpy(stream, bytes.data(), bytes.size());
    value.asnType = ASN_OCTETSTRING;
    value.asnValue.string = {stream, static_cast<std::uint32_t>(bytes.size()), true};
}

// Each name is column.row; the last row is followed by the next column.
void advance(SnmpVarBind& binding, const std::vector<Row>& table) {
    const std::uint32_t column = binding.name.ids[9];
    const std::uint32_t row = binding.name.idLength > 10 ? binding.name.ids[10] + 1 : 1;
    if (binding.value.asnType == ASN_OCTETSTRING) std::free(binding.value.asnValue.string.stream);
    binding.value = {ASN_NULL, {}};
    binding.name.ids =
        static_cast<std::uint32_t*>(std::realloc(binding.name.ids, 11 * sizeof(std::uint32_t)));
    binding.name.idLength = 11;
    const bool inside = row <= table.size();
    binding.name.ids[9] = inside ? column : column + 1;
    binding.name.ids[10] = inside ? row : 1;
    if (!inside) return;
    const Row& found = table[row - 1];
    if (column == 6) return replace_stream(binding.value, found.address);
    binding.value.asnType = ASN_INTEGER;
    binding.value.asnValue.number = column == 3   ? found.type
                                    : column == 8 ? found.status
                                                  : static_cast<int>(row);
}

}  // namespace

#define AGENT_ENTRY extern "C" __attribute__((visibility("default")))

AGENT_ENTRY bool SnmpExtensionInit(std::uint32_t, HANDLE*, AsnObjectIdentifier*) {
    std::puts("init");
    return true;
}
AGENT_ENTRY bool SnmpExtensionInitEx(AsnObjectIdentifier*) { return true; }
#ifndef WITHOUT_TRAP
AGENT_ENTRY bool SnmpExtensionTrap() { return true; }
#endif

AGENT_ENTRY bool SnmpExtensionQuery(std::uint8_t pdu, SnmpVarBindList* bindings, std::int32_t*,
                                    std::int32_t*) {
    std::printf("query %d\n", pdu);
    const char behaviour = setting()[0];
    if (behaviour == 'f') return false;
    const std::vector<Row> table = rows();
    for (std::uint32_t i = 0; behaviour != 's' && i < bindings->len; ++i)
        advance(bindings->list[i], table);
    return true;
}
