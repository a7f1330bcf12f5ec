#include "Kestrelyne/Network/NetworkMap.hpp"

#include <algorithm>
#include <compare>
#include <map>
#include <set>
#include <tuple>
#include <unordered_map>
#include <unordered_set>

#include "Base/Text.hpp"
#include "Kestrelyne/Network/NetworkMonitor.hpp"

namespace kestrelyne {

namespace {

using netcore::SwitchTopology;
using Map = NetworkMap;

constexpr const char* unknownPort = "?";

struct Place {
    std::size_t node = 0, port = 0;  // positions in the map
};

// One switch sees another one behind a port of its own.
struct Sighting {
    std::size_t from = 0, port = 0, to = 0;
    std::string remotePort;  // as the neighbour calls it
};

class Builder {
public:
    Builder(const NetworkMapFacts& facts, Map& map) : facts_(facts), map_(map) {}

    void build() {
        indexAddresses();
        for (const auto& fact : facts_.switches) addSwitch(fact);
        indexSwitches();
        for (std::size_t node = 0; node < map_.switches.size(); ++node) addNeighbors(node);
        addLinks();
        placeAddresses();
        addUnplaced();
    }

private:
    const SwitchTopology* topology(std::size_t node) const { return facts_.switches[node].topology.get(); }

    void indexAddresses() {
        // Of several addresses of one device the one seen last.
        for (const auto& entry : facts_.addresses) {
            auto& known = addressOf_[entry.mac];
            if (known == nullptr || known->lastSeen.steady < entry.lastSeen.steady) known = &entry;
        }
    }

    void addSwitch(const NetworkMapFacts::Switch& fact) {
        Map::Switch added{.id = fact.id, .name = fact.name, .ip = fact.ip, .ports = {}, .online = fact.online};
        auto& positions = portPositions_.emplace_back();
        if (fact.status != nullptr)
            for (const auto& port : fact.status->ports) {
                positions.emplace(port.index, added.ports.size());
                added.ports.push_back(
                    {.index = port.index, .name = port.name, .up = port.up, .lldp = port.neighbor, .attached = {}});
            }
        physicalPorts_.push_back(added.ports.size());
        // Bundles of ports learn addresses too, but are no Ethernet ports.
        if (fact.topology != nullptr)
            for (const auto& [index, count] : fact.topology->macCountPerPort()) {
                const auto [position, isNew] = positions.emplace(index, added.ports.size());
                if (isNew)
                    added.ports.push_back(
                        {.index = index, .name = "Port " + std::to_string(index), .up = true, .lldp = {}, .attached = {}});
                auto& port = added.ports[position->second];
                port.macCount = count;
                port.uplink = count > Map::mostOnAnEdge;
            }
        map_.switches.push_back(std::move(added));
    }

    void indexSwitches() {
        for (std::size_t node = 0; node < map_.switches.size(); ++node) {
            const auto& fact = facts_.switches[node];
            byIP_.emplace(fact.ip, node);
            byName_.emplace(base::lowerASCII(fact.name), node);
            if (fact.status != nullptr) byName_.emplace(base::lowerASCII(fact.status->name), node);
            if (fact.topology == nullptr) continue;
            for (const auto& mac : fact.topology->ownMACs) byMAC_.emplace(mac, node);
        }
        byName_.erase("");
    }

    // Its hardware address says it best, then the address of its management, then its name. Never the switch that asks.
    std::optional<std::size_t> switchBehind(const SwitchTopology::Neighbor& neighbor, std::size_t asking) const {
        const auto look = [asking](const auto& index, const std::string& key) -> std::optional<std::size_t> {
            const auto found = index.find(key);
            if (found == index.end() || found->second == asking) return std::nullopt;
            return found->second;
        };
        if (neighbor.chassisMAC)
            if (const auto found = look(byMAC_, *neighbor.chassisMAC)) return found;
        if (neighbor.managementIP)
            if (const auto found = look(byIP_, *neighbor.managementIP)) return found;
        return look(byName_, base::lowerASCII(neighbor.systemName));
    }

    // Some switches count the ports of LLDP by the interface index, others from one on.
    std::optional<std::size_t> portPosition(std::size_t node, int number) const {
        const auto& positions = portPositions_[node];
        if (const auto found = positions.find(number); found != positions.end()) return found->second;
        if (number >= 1 && static_cast<std::size_t>(number) <= physicalPorts_[node]) return static_cast<std::size_t>(number - 1);
        return std::nullopt;
    }

    void addNeighbors(std::size_t node) {
        if (topology(node) == nullptr) return;
        for (const auto& neighbor : topology(node)->neighbors) {
            auto position = portPosition(node, neighbor.port);
            if (!position) {
                position = map_.switches[node].ports.size();
                portPositions_[node].emplace(neighbor.port, *position);
                map_.switches[node].ports.push_back({.index = neighbor.port,
                                                     .name = "Port " + std::to_string(neighbor.port),
                                                     .up = true,
                                                     .lldp = {},
                                                     .attached = {}});
            }
            auto& port = map_.switches[node].ports[*position];
            if (!neighbor.systemName.empty()) port.lldp = neighbor.systemName;
            const auto behind = switchBehind(neighbor, node);
            if (!behind) continue;
            port.uplink = true;
            switchesBehind_.insert({node, *position});
            sightings_.push_back({.from = node, .port = *position, .to = *behind, .remotePort = neighbor.portID});
        }
    }

    // A port of a switch by what its neighbours call it: its name, its label or its number.
    std::optional<std::size_t> portCalled(std::size_t node, const std::string& name) const {
        if (name.empty()) return std::nullopt;
        const auto& ports = map_.switches[node].ports;
        if (const auto found = std::ranges::find(ports, name, &Map::Port::name); found != ports.end())
            return static_cast<std::size_t>(found - ports.begin());
        if (const auto* status = facts_.switches[node].status.get(); status != nullptr)
            if (const auto found = std::ranges::find(status->ports, name, &netcore::SwitchStatus::Port::alias);
                found != status->ports.end())
                return portPosition(node, found->index);
        const auto number = base::parseInteger(name);
        return number && std::in_range<int>(*number) ? portPosition(node, static_cast<int>(*number)) : std::nullopt;
    }

    // Both ends see the same cable: neither contradicts the other.
    bool areOneCable(const Sighting& there, const Sighting& back) const {
        if (there.from != back.to || there.to != back.from) return false;
        const auto far = portCalled(there.to, there.remotePort), near = portCalled(back.to, back.remotePort);
        return (!far || *far == back.port) && (!near || *near == there.port);
    }

    void addLinks() {
        std::vector<bool> done(sightings_.size());
        for (std::size_t i = 0; i < sightings_.size(); ++i) {
            if (done[i]) continue;
            const auto& there = sightings_[i];
            const auto& from = map_.switches[there.from];
            const auto& to = map_.switches[there.to];
            std::string farPort;
            for (std::size_t j = i + 1; j < sightings_.size() && farPort.empty(); ++j) {
                if (done[j] || !areOneCable(there, sightings_[j])) continue;
                done[j] = true;
                farPort = to.ports[sightings_[j].port].name;
            }
            if (farPort.empty()) {
                const auto called = portCalled(there.to, there.remotePort);
                farPort = called ? to.ports[*called].name : there.remotePort;
            }
            Map::Link link{
                .a = from.id, .aPort = from.ports[there.port].name, .b = to.id, .bPort = farPort.empty() ? unknownPort : farPort};
            // Seen through two entries of one neighbour.
            if (std::ranges::find(map_.links, link) == map_.links.end()) map_.links.push_back(std::move(link));
        }
    }

    // A device is where the fewest others are: towards it the ports become emptier. Behind a port with a watched switch it is that
    // switch's.
    void placeAddresses() {
        for (std::size_t node = 0; node < map_.switches.size(); ++node) {
            if (topology(node) == nullptr) continue;
            for (const auto& [mac, index] : topology(node)->macPorts) {
                const auto position = portPositions_[node].find(index);
                if (position == portPositions_[node].end() || byMAC_.contains(mac)) continue;
                const Place place{node, position->second};
                if (switchesBehind_.contains({place.node, place.port})) continue;
                const auto [known, isNew] = places_.emplace(mac, place);
                if (!isNew && port(place).macCount < port(known->second).macCount) known->second = place;
            }
        }
        for (const auto& [mac, place] : places_) port(place).attached.push_back(attached(mac));
        for (auto& each : map_.switches)
            for (auto& port : each.ports) sort(port.attached);
    }

    void addUnplaced() {
        for (const auto& [mac, entry] : addressOf_)
            if (!places_.contains(mac) && !byMAC_.contains(mac) && !byIP_.contains(entry->ip))
                map_.unplaced.push_back(attached(mac));
        sort(map_.unplaced);
    }

    Map::Port& port(const Place& place) { return map_.switches[place.node].ports[place.port]; }

    Map::Attached attached(const std::string& mac) const {
        const auto known = addressOf_.find(mac);
        if (known == addressOf_.end()) return {.mac = mac, .ip = {}, .name = mac};
        const auto& ip = known->second->ip;
        return {.mac = mac, .ip = ip, .name = facts_.displayName ? facts_.displayName(ip) : ip};
    }

    static void sort(std::vector<Map::Attached>& list) {
        std::ranges::sort(list, [](const auto& a, const auto& b) {
            if (a.name != b.name) return base::naturalLess(a.name, b.name);
            return a.mac < b.mac;
        });
    }

    const NetworkMapFacts& facts_;
    Map& map_;
    std::unordered_map<std::string, const ARPEntry*> addressOf_;       // by hardware address
    std::vector<std::unordered_map<int, std::size_t>> portPositions_;  // of each switch, by index
    std::vector<std::size_t> physicalPorts_;                           // of each switch
    std::unordered_map<std::string, std::size_t> byIP_, byName_, byMAC_;
    std::vector<Sighting> sightings_;
    std::set<std::pair<std::size_t, std::size_t>> switchesBehind_;  // ports that lead to a watched switch
    std::unordered_map<std::string, Place> places_;                 // by hardware address
};

NetworkMapFacts factsOf(const NetworkMonitor& monitor) {
    NetworkMapFacts facts;
    const auto& topologies = *monitor.snmp().topologies();
    for (const auto& device : monitor.config()->devices) {
        const auto* reading = monitor.snmp().reading(device.id);
        const auto topology = topologies.find(device.id);
        const auto status = reading != nullptr ? reading->snmp : nullptr;
        if (device.role == NetDeviceRole::ups || (status == nullptr && topology == topologies.end())) continue;
        const auto* state = monitor.reachability().state(device.id);
        facts.switches.push_back({.id = device.id,
                                  .name = device.name,
                                  .ip = device.ip,
                                  .online = state != nullptr && state->online == true,
                                  .status = status,
                                  .topology = topology == topologies.end() ? nullptr : topology->second});
    }
    facts.addresses = *monitor.addresses().arpTable();
    facts.displayName = [&monitor](const std::string& ip) { return monitor.displayName(ip); };
    return facts;
}

}  // namespace

NetworkMap::NetworkMap(const NetworkMapFacts& facts) { Builder(facts, *this).build(); }

NetworkMap::NetworkMap(const NetworkMonitor& monitor) : NetworkMap(factsOf(monitor)) {}

std::vector<std::vector<base::UUID>> NetworkMap::levels(const std::vector<Switch>& switches, const std::vector<Link>& links) {
    std::map<base::UUID, std::vector<base::UUID>> neighbors;
    for (const auto& link : links) {
        neighbors[link.a].push_back(link.b);
        neighbors[link.b].push_back(link.a);
    }
    std::vector<std::pair<std::size_t, std::size_t>> roots;  // number of links, position from the end
    for (std::size_t i = 0; i < switches.size(); ++i) roots.emplace_back(neighbors[switches[i].id].size(), switches.size() - i);
    std::ranges::sort(roots, std::greater());
    std::set<base::UUID> drawn;
    std::vector<std::vector<base::UUID>> levels;
    for (const auto& [count, fromEnd] : roots) {
        const auto& root = switches[switches.size() - fromEnd].id;
        std::vector<base::UUID> level;
        if (drawn.insert(root).second) level.push_back(root);
        for (std::size_t depth = 0; !level.empty(); ++depth) {
            if (levels.size() == depth) levels.emplace_back();
            std::vector<base::UUID> next;
            for (const auto& id : level) {
                levels[depth].push_back(id);
                for (const auto& neighbor : neighbors[id])
                    if (drawn.insert(neighbor).second) next.push_back(neighbor);
            }
            level = std::move(next);
        }
    }
    return levels;
}

}  // namespace kestrelyne
