#pragma once
// Reads the rows of a switch's address and neighbour tables: BRIDGE-MIB (RFC 4188), Q-BRIDGE-MIB (RFC 4363), IF-MIB (RFC 2863) and
// LLDP-MIB (IEEE 802.1AB-2005, annex 12). Pure; any thread. A row that does not hold what it should is left out: an OID with too
// few numbers or one beyond 32 bits, an address of other than six bytes, a port that is no positive number.

#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "NetCore/SNMPValue.hpp"
#include "NetCore/TopologyReader.hpp"

namespace netcore::TopologyRows {

namespace OID {
inline const std::string basePortIfIndex = "1.3.6.1.2.1.17.1.4.1.2";     // dot1dBasePortIfIndex: bridge port → ifIndex
inline const std::string learntByVLAN = "1.3.6.1.2.1.17.7.1.2.2.1.2";    // dot1qTpFdbPort: VLAN, address → bridge port
inline const std::string learnt = "1.3.6.1.2.1.17.4.3.1.2";              // dot1dTpFdbPort: address → bridge port
inline const std::string physicalAddress = "1.3.6.1.2.1.2.2.1.6";        // ifPhysAddress
inline const std::string bridgeAddress = "1.3.6.1.2.1.17.1.1.0";         // dot1dBaseBridgeAddress
inline const std::string remoteSubtype = "1.0.8802.1.1.2.1.4.1.1.4";     // lldpRemChassisIdSubtype
inline const std::string remoteChassis = "1.0.8802.1.1.2.1.4.1.1.5";     // lldpRemChassisId
inline const std::string remotePort = "1.0.8802.1.1.2.1.4.1.1.7";        // lldpRemPortId
inline const std::string remoteName = "1.0.8802.1.1.2.1.4.1.1.9";        // lldpRemSysName
inline const std::string remoteManagement = "1.0.8802.1.1.2.1.4.2.1.4";  // lldpRemManAddrIfId: its index holds the address
}  // namespace OID

using Rows = std::span<const SNMPRow>;
/// Bridge port to interface index.
using BasePorts = std::map<int, int>;
/// Address to port number.
using Learnt = std::map<std::string, int>;

BasePorts basePorts(Rows rows);
/// Bridge ports become port numbers; one that `ports` lacks keeps its number: many switches count both alike. Port 0, the switch
/// itself, is left out. Of an address learnt several times (in several VLANs) the last row counts.
Learnt learntByVLAN(Rows rows, const BasePorts& ports);
/// The same from the table that knows no VLANs.
Learnt learnt(Rows rows, const BasePorts& ports);
/// The values that are addresses of one computer: neither all zero, as virtual interfaces have them, nor of a group.
void addAddresses(Rows rows, std::set<std::string>& addresses);

/// The columns of the neighbour table.
struct NeighborRows {
    std::vector<SNMPRow> names, ports, chassis, chassisSubtypes, management;
};
/// By local port and remote index. A row of the columns name, port and chassis makes a neighbour; the time mark is a filter (RFC
/// 4502, TimeFilter), not part of its identity. Of several management addresses the first IPv4 address counts.
std::vector<SwitchTopology::Neighbor> neighbors(const NeighborRows& rows);

}  // namespace netcore::TopologyRows
