#include "NetCore/TopologyReader.hpp"

#include <algorithm>

#include "NetCore/HardwareAddress.hpp"
#include "NetCore/SNMPColumn.hpp"
#include "NetCore/TopologyRows.hpp"

namespace netcore {

std::map<int, int> SwitchTopology::macCountPerPort() const {
    std::map<int, int> counts;
    for (const auto& [address, port] : macPorts) ++counts[port];
    return counts;
}

namespace TopologyReader {

namespace {

using namespace TopologyRows;

// A table that fails is one that the switch lacks.
std::vector<SNMPRow> rowsOf(const SNMPTarget& client, const std::string& base, int maxRows) {
    try {
        return client.walk(base, maxRows);
    } catch (const NetError&) {
        return {};
    }
}

std::vector<SNMPRow> valueOf(const SNMPTarget& client, const std::string& oid) {
    std::vector<SNMPRow> rows;
    for (const auto& [answered, value] : valuesOrNone(client, {oid})) rows.push_back({answered, value});
    return rows;
}

std::vector<SwitchTopology::Neighbor> neighborsOf(const SNMPTarget& client) {
    NeighborRows rows;
    rows.names = rowsOf(client, OID::remoteName, mostNeighbors);
    rows.ports = rowsOf(client, OID::remotePort, mostNeighbors);
    rows.chassis = rowsOf(client, OID::remoteChassis, mostNeighbors);
    rows.chassisSubtypes = rowsOf(client, OID::remoteSubtype, mostNeighbors);
    rows.management = rowsOf(client, OID::remoteManagement, mostNeighbors);
    return neighbors(rows);
}

}  // namespace

std::string mac(std::span<const std::uint8_t, 6> bytes) {
    HardwareAddress address{};
    std::ranges::copy(bytes, address.begin());
    return hardwareAddressText(address);
}

SwitchTopology read(const SNMPTarget& client, const base::Clock& clock) {
    SwitchTopology topology;
    topology.time = clock.moment();
    // A switch that answers this one is there, whatever it lacks.
    const auto ports = basePorts(client.walk(OID::basePortIfIndex, mostPorts));
    topology.macPorts = TopologyRows::learntByVLAN(rowsOf(client, OID::learntByVLAN, mostLearnt), ports);
    if (topology.macPorts.empty()) topology.macPorts = TopologyRows::learnt(rowsOf(client, OID::learnt, mostLearnt), ports);
    addAddresses(rowsOf(client, OID::physicalAddress, mostPorts), topology.ownMACs);
    addAddresses(valueOf(client, OID::bridgeAddress), topology.ownMACs);
    topology.neighbors = neighborsOf(client);
    return topology;
}

}  // namespace TopologyReader

}  // namespace netcore
