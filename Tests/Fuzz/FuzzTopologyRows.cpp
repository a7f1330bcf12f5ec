// Any rows of a switch's tables. A row of the input: which table, the length of the index and its text, the length of the value and
// its bytes.

#include <algorithm>
#include <cstdint>

#include "Base/ByteReader.hpp"
#include "Base/Require.hpp"
#include "NetCore/HardwareAddress.hpp"
#include "NetCore/IPv4.hpp"
#include "NetCore/TopologyRows.hpp"

using namespace netcore;
using namespace netcore::TopologyRows;

namespace {

constexpr std::size_t tableCount = 9;

struct Rows {
    std::vector<SNMPRow> of[tableCount];
};

SNMPValue valueOf(std::uint8_t kind, base::Bytes bytes) {
    if (kind % 2 == 0) return SNMPValue(SNMPValue::String(bytes.begin(), bytes.end()));
    std::int64_t number = 0;
    for (const auto byte : bytes.first(std::min<std::size_t>(bytes.size(), 7))) number = number << 8 | byte;
    return SNMPValue(kind % 4 == 1 ? number : -number);
}

Rows rowsIn(base::Bytes bytes) {
    const std::string tables[tableCount] = {OID::basePortIfIndex, OID::learntByVLAN,  OID::learnt,
                                            OID::physicalAddress, OID::remoteSubtype, OID::remoteChassis,
                                            OID::remotePort,      OID::remoteName,    OID::remoteManagement};
    Rows rows;
    for (base::ByteReader reader(bytes);;) {
        const auto table = reader.u8(), kind = reader.u8(), indexLength = reader.u8();
        const auto index = indexLength ? reader.take(*indexLength) : std::nullopt;
        const auto valueLength = reader.u8();
        const auto value = index && valueLength ? reader.take(*valueLength) : std::nullopt;
        if (!value) return rows;
        const auto number = *table % tableCount;
        rows.of[number].push_back({tables[number] + "." + std::string(index->begin(), index->end()), valueOf(*kind, *value)});
    }
}

bool isAddress(const std::string& text) { return text.size() == 17 && parseHardwareAddress(text); }

void check(const Learnt& learnt, std::size_t rows) {
    KESTRELYNE_REQUIRE(learnt.size() <= rows, "a row is one address");
    for (const auto& [address, port] : learnt) KESTRELYNE_REQUIRE(isAddress(address) && port > 0, "an address on a port");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto rows = rowsIn({data, size});
    const auto ports = basePorts(rows.of[0]);
    for (const auto& [bridgePort, port] : ports) KESTRELYNE_REQUIRE(bridgePort > 0 && port > 0, "ports are positive");
    check(learntByVLAN(rows.of[1], ports), rows.of[1].size());
    check(learnt(rows.of[2], ports), rows.of[2].size());
    std::set<std::string> own;
    addAddresses(rows.of[3], own);
    for (const auto& address : own) KESTRELYNE_REQUIRE(isAddress(address), "an address has six bytes");
    const auto list = neighbors(
        {.names = rows.of[7], .ports = rows.of[6], .chassis = rows.of[5], .chassisSubtypes = rows.of[4], .management = rows.of[8]});
    KESTRELYNE_REQUIRE(list.size() <= rows.of[5].size() + rows.of[6].size() + rows.of[7].size(),
                       "a row makes one neighbour at most");
    for (const auto& neighbor : list) {
        KESTRELYNE_REQUIRE(neighbor.port > 0, "a port is positive");
        KESTRELYNE_REQUIRE(!neighbor.chassisMAC || isAddress(*neighbor.chassisMAC), "an address has six bytes");
        KESTRELYNE_REQUIRE(!neighbor.managementIP || ipToUInt32(*neighbor.managementIP), "an address is dotted");
    }
    return 0;
}
