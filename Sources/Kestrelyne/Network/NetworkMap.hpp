#pragma once
// Who hangs where: the switches with their ports, the links between them, and what is attached to each port.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Base/UUID.hpp"
#include "Kestrelyne/Network/AddressWatch.hpp"
#include "NetCore/SwitchStatus.hpp"
#include "NetCore/TopologyReader.hpp"

namespace kestrelyne {

class NetworkMonitor;

/// What the map is drawn from.
struct NetworkMapFacts {
    struct Switch {
        base::UUID id;
        std::string name, ip;
        bool online = false;
        std::shared_ptr<const netcore::SwitchStatus> status;      // null: not read yet
        std::shared_ptr<const netcore::SwitchTopology> topology;  // null: not read yet
    };
    std::vector<Switch> switches;
    std::vector<ARPEntry> addresses;
    std::function<std::string(const std::string& ip)> displayName;
};

/// A picture of one moment; pure once made.
struct NetworkMap {
    static constexpr int mostOnAnEdge = 8;  // a port that has learnt more addresses is an uplink

    struct Attached {
        std::string mac;
        std::optional<std::string> ip;  // none when nobody here has spoken with it
        std::string name;               // else the address
        bool operator==(const Attached&) const = default;
    };
    struct Port {
        int index = 0;
        std::string name;
        bool up = false;
        bool uplink = false;              // a watched switch is behind it by LLDP, or many addresses are
        std::optional<std::string> lldp;  // system name of the neighbour
        int macCount = 0;
        std::vector<Attached> attached;  // by name in natural order
    };
    struct Switch {
        base::UUID id;
        std::string name, ip;
        std::vector<Port> ports;
        bool online = false;
    };
    /// The name of a port that nobody told is "?".
    struct Link {
        base::UUID a;
        std::string aPort;
        base::UUID b;
        std::string bPort;
        bool operator==(const Link&) const = default;
    };
    std::vector<Switch> switches;    // in the order of the watched devices, those with a reading
    std::vector<Link> links;         // each once
    std::vector<Attached> unplaced;  // known devices that no port holds

    explicit NetworkMap(const NetworkMapFacts& facts);
    /// Main thread.
    explicit NetworkMap(const NetworkMonitor& monitor);

    /// The switches by their distance from the root, for drawing. The root is the one with the most links, of several the first;
    /// what it does not reach begins again on the first level with a root of its own.
    static std::vector<std::vector<base::UUID>> levels(const std::vector<Switch>& switches, const std::vector<Link>& links);
};

}  // namespace kestrelyne
