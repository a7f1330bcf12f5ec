#pragma once
// Asks a switch who hangs on which port: its address table (RFC 4188, RFC 4363) and its LLDP neighbours (IEEE 802.1AB-2005).

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "Base/Clock.hpp"
#include "NetCore/SNMPTarget.hpp"

namespace netcore {

struct SwitchTopology {
    struct Neighbor {
        int port = 0;  // local port number, as LLDP counts it
        std::string systemName, portID;
        std::optional<std::string> chassisMAC, managementIP;
        bool operator==(const Neighbor&) const = default;
    };
    std::map<std::string, int> macPorts;  // learnt address, upper case with ":", to port number (ifIndex)
    std::vector<Neighbor> neighbors;
    std::set<std::string> ownMACs;  // the switch's own
    base::Moment time;

    /// Port number to how many addresses were learnt there.
    std::map<int, int> macCountPerPort() const;
};

namespace TopologyReader {

// Rows after which a walk ends. Beyond them nobody is placed, and an agent that repeats itself for ever is left. A thousand rows
// are forty requests; addresses count once in each of their VLANs.
inline constexpr int mostPorts = 4096;      // bridge ports, interfaces
inline constexpr int mostLearnt = 10000;    // learnt addresses
inline constexpr int mostNeighbors = 2000;  // each column of the neighbour table, and its addresses

/// Six bytes as "AA:BB:CC:DD:EE:FF".
std::string mac(std::span<const std::uint8_t, 6> bytes);
/// Blocks: background only. Throws NetError when the first query fails, that of the bridge ports; a table that a switch lacks or
/// that fails later is empty. Tables without a row are no failure. `time` is when the reading began.
SwitchTopology read(const SNMPTarget& client, const base::Clock& clock = base::SystemClock::shared());

}  // namespace TopologyReader

}  // namespace netcore
