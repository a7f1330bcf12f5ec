#pragma once
// From the tally of one second to the picture of the lighting traffic, and to what is to be said of its changes.

#include <functional>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "Base/Clock.hpp"
#include "Base/Observable.hpp"
#include "Kestrelyne/Network/LightingStates.hpp"
#include "Kestrelyne/Network/NetEvent.hpp"
#include "Kestrelyne/Network/PacketAccumulator.hpp"

namespace kestrelyne {

/// Main thread; no clock, no socket.
class LightingPicture {
public:
    /// What the picture needs to know of the rest.
    struct Surroundings {
        std::set<std::string> ownAddresses;
        std::function<std::string(std::uint32_t index)> interfaceName;
        /// Members of a group (dotted), from seen membership reports; sorted, no duplicates.
        std::function<std::vector<std::string>(const std::string& group)> members;
        std::function<std::string(const std::string& ip)> displayName;
    };

    const base::Observable<std::vector<UniverseState>>& universes() const { return universes_; }
    const base::Observable<std::vector<ArtNodeState>>& artNodes() const { return artNodes_; }
    const base::Observable<std::vector<SACNSource>>& sacnSources() const { return sacnSources_; }
    const base::Observable<std::vector<MANetStation>>& maStations() const { return maStations_; }

    /// The steps of one refresh, in this order; each publishes its list once.
    NetFindings refreshNodes(const std::vector<PacketAccumulator::Node>& nodes, const Surroundings& around);
    void refreshStations(const std::vector<PacketAccumulator::Station>& stations, base::Seconds elapsed,
                         const Surroundings& around);
    void refreshSACNSources(const std::vector<PacketAccumulator::Discovered>& discovered);
    /// `nodes` must be refreshed before.
    NetFindings refreshUniverses(const PacketAccumulator::Drained& drained, base::Seconds elapsed, base::SteadyTime now,
                                 const Surroundings& around);

    /// Some node says that data flows on its output of this Port-Address.
    bool nodeOutputActive(int universe) const;
    const ArtNodeState* node(const std::string& ip) const;
    /// Name of a source with this address whose name is not the address; nullptr when there is none.
    const std::string* sourceName(const std::string& ip) const;
    /// The outputs of all nodes, as Port-Addresses.
    std::set<int> nodeOutputs() const;

    /// Forgets all without a word.
    void clear();

private:
    void judgeConflict(const UniverseState& universe, const std::vector<const SourceState*>& active, base::SteadyTime now,
                       NetFindings& findings);
    void compareSources(std::vector<std::string> active, NetFindings& findings);
    void indexNames(const std::vector<UniverseState>& universes);

    base::Observable<std::vector<UniverseState>> universes_;
    base::Observable<std::vector<ArtNodeState>> artNodes_;
    base::Observable<std::vector<SACNSource>> sacnSources_;
    base::Observable<std::vector<MANetStation>> maStations_;
    std::unordered_set<int> activeOutputs_;                     // of all nodes
    std::unordered_map<std::string, std::string> sourceNames_;  // by address: the first in the order of `universes_`
    std::set<UniverseKey> knownConflicts_;
    std::vector<std::string> knownSources_;  // as they are told, in the order of `universes_`
};

}  // namespace kestrelyne
