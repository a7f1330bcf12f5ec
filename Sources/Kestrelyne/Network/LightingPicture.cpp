#include "Kestrelyne/Network/LightingPicture.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "Kestrelyne/Network/NaturalOrder.hpp"
#include "NetCore/SACN.hpp"

namespace kestrelyne {

namespace {

using Receivers = std::vector<std::string>;

constexpr std::size_t shownTexts = 12;  // of a console station

// Asks once for each key, however often the answer is used.
template <class Key>
class Once {
public:
    explicit Once(std::function<std::string(const Key&)> ask) : ask_(std::move(ask)) {}
    const std::string& operator()(const Key& key) {
        const auto [entry, isNew] = answers_.try_emplace(key);
        if (isNew) entry->second = ask_(key);
        return entry->second;
    }

private:
    std::function<std::string(const Key&)> ask_;
    std::unordered_map<Key, std::string> answers_;
};

std::string nameWithAddress(std::string_view name, std::string_view ip) { return fmt::format("{} ({})", name, ip); }

base::Moment later(const base::Moment& left, const base::Moment& right) { return left.steady < right.steady ? right : left; }

void addPorts(ArtNodeState& node, const std::vector<netcore::ArtNet::PortInfo>& ports) {
    for (const auto& port : ports) {
        (port.isOutput ? node.outputs : node.inputs).insert(port.universe);
        if (port.isOutput && port.active) node.activeOutputs.insert(port.universe);
    }
}

std::vector<std::string> mostFrequent(const std::map<std::string, std::uint64_t>& texts) {
    std::vector<std::pair<std::uint64_t, const std::string*>> ranked;
    ranked.reserve(texts.size());
    for (const auto& [text, count] : texts) ranked.emplace_back(count, &text);
    const auto shown = std::min(shownTexts, ranked.size());
    // Equally frequent ones in the order of the map, so that the list does not flicker.
    std::partial_sort(ranked.begin(), ranked.begin() + static_cast<std::ptrdiff_t>(shown), ranked.end(),
                      [](const auto& left, const auto& right) {
                          return left.first != right.first ? left.first > right.first : *left.second < *right.second;
                      });
    std::vector<std::string> result;
    result.reserve(shown);
    for (std::size_t i = 0; i < shown; ++i) result.push_back(*ranked[i].second);
    return result;
}

std::vector<std::string> versionsIn(const std::map<std::string, std::uint64_t>& texts) {
    std::vector<std::string> keys;
    keys.reserve(texts.size());
    for (const auto& [text, count] : texts) keys.push_back(text);
    auto versions = netcore::MANet::versions(keys);
    std::ranges::sort(versions, NaturalOrder{});
    versions.erase(std::unique(versions.begin(), versions.end()), versions.end());
    return versions;
}

bool ranksBefore(const SourceState& left, const SourceState& right) {
    const int priorityOfLeft = left.priority.value_or(0), priorityOfRight = right.priority.value_or(0);
    if (priorityOfLeft != priorityOfRight) return priorityOfLeft > priorityOfRight;
    if (left.name != right.name) return left.name > right.name;
    return left.id < right.id;
}

std::string sourceText(const UniverseKey& key, const SourceState& source) {
    return fmt::format("{} {} · {} ({})", text(key.proto), key.number, source.name, source.ip);
}

// Who takes an Art-Net universe: the nodes that put it out.
std::map<int, Receivers> artNetReceivers(const std::vector<ArtNodeState>& nodes) {
    std::map<int, Receivers> receivers;
    for (const auto& node : nodes) {
        const auto name = nameWithAddress(node.shortName, node.ip);
        for (const int universe : node.outputs) receivers[universe].push_back(name);
    }
    return receivers;
}

std::vector<UniverseState> gatherUniverses(const PacketAccumulator::Drained& drained, base::Seconds elapsed,
                                           const std::vector<ArtNodeState>& nodes, const LightingPicture::Surroundings& around) {
    Once<std::uint32_t> interfaceName(around.interfaceName);
    Once<std::string> receiverName([&around](const std::string& ip) {
        const auto name = around.displayName(ip);
        return name == ip ? ip : nameWithAddress(name, ip);
    });
    auto idle = artNetReceivers(nodes);  // what is left in the end nobody sends
    std::vector<UniverseState> universes;
    universes.reserve(drained.sources.size() + idle.size());
    for (const auto& [key, sources] : drained.sources) {
        auto& universe = universes.emplace_back(UniverseState{.key = key, .sources = {}, .receivers = {}});
        universe.sources.reserve(sources.size());
        for (const auto& source : sources)
            universe.sources.push_back({.id = source.id,
                                        .name = source.name.empty() ? source.ip : source.name,
                                        .ip = source.ip,
                                        .priority = source.priority,
                                        .fps = static_cast<double>(source.count) / elapsed.count(),
                                        .lastSeen = source.lastSeen,
                                        .interface = interfaceName(source.interfaceIndex),
                                        .terminated = source.terminated,
                                        .own = source.own});
        std::ranges::sort(universe.sources, ranksBefore);
        if (key.proto == NetProtocol::sacn) {
            const auto members = around.members(netcore::SACN::multicastGroup(key.number));
            universe.receivers.reserve(members.size());
            for (const auto& ip : members) universe.receivers.push_back(receiverName(ip));
        } else if (auto node = idle.extract(key.number)) {
            universe.receivers = std::move(node.mapped());
        }
    }
    for (auto& [number, receivers] : idle)
        universes.push_back(
            {.key = {.proto = NetProtocol::artnet, .number = number}, .sources = {}, .receivers = std::move(receivers)});
    std::ranges::sort(universes, {}, &UniverseState::key);
    return universes;
}

}  // namespace

NetFindings LightingPicture::refreshNodes(const std::vector<PacketAccumulator::Node>& nodes, const Surroundings& around) {
    Once<std::uint32_t> interfaceName(around.interfaceName);
    std::map<std::string, ArtNodeState, NaturalOrder> gathered;
    for (const auto& [sender, reply, lastSeen, interfaceIndex] : nodes) {
        // Our own responder and simulators are no nodes.
        if (around.ownAddresses.contains(reply.ip)) continue;
        const auto [entry, isNew] = gathered.try_emplace(reply.ip);
        auto& node = entry->second;
        if (isNew)
            node = {.ip = reply.ip,
                    .shortName = reply.shortName,
                    .longName = reply.longName,
                    .report = reply.nodeReport,
                    .mac = reply.mac,
                    .firmware = reply.firmware,
                    .outputs = {},
                    .inputs = {},
                    .activeOutputs = {},
                    .lastSeen = lastSeen,
                    .interface = interfaceName(interfaceIndex)};
        node.lastSeen = later(node.lastSeen, lastSeen);
        addPorts(node, reply.ports);
    }
    NetFindings findings;
    std::vector<ArtNodeState> list;
    list.reserve(gathered.size());
    activeOutputs_.clear();
    for (auto& [ip, found] : gathered) {
        if (node(ip) == nullptr)
            findings.push_back({NetEvent::Level::info, "Art-Net-Node gefunden: " + nameWithAddress(found.shortName, ip)});
        activeOutputs_.insert(found.activeOutputs.begin(), found.activeOutputs.end());
        list.push_back(std::move(found));
    }
    artNodes_.set(std::move(list));
    return findings;
}

void LightingPicture::refreshStations(const std::vector<PacketAccumulator::Station>& stations, base::Seconds elapsed,
                                      const Surroundings& around) {
    std::vector<MANetStation> list;
    list.reserve(stations.size());
    for (const auto& station : stations) {
        std::vector<std::string> channels(station.channels.begin(), station.channels.end());
        std::ranges::sort(channels, NaturalOrder{});
        list.push_back({.ip = station.ip,
                        .version = station.version,
                        .channels = std::move(channels),
                        .packetsPerSecond = static_cast<double>(station.count) / elapsed.count(),
                        .texts = mostFrequent(station.texts),
                        .versions = versionsIn(station.texts),
                        .lastSeen = station.lastSeen,
                        .interface = around.interfaceName(station.interfaceIndex)});
    }
    std::ranges::sort(list, [](const MANetStation& left, const MANetStation& right) {
        const auto versionOfLeft = netcore::MANet::text(left.version), versionOfRight = netcore::MANet::text(right.version);
        return versionOfLeft != versionOfRight ? versionOfLeft < versionOfRight : base::naturalLess(left.ip, right.ip);
    });
    maStations_.set(std::move(list));
}

void LightingPicture::refreshSACNSources(const std::vector<PacketAccumulator::Discovered>& discovered) {
    std::vector<SACNSource> list;
    list.reserve(discovered.size());
    for (const auto& source : discovered)
        list.push_back({.name = source.name, .ip = source.ip, .universes = {source.universes.begin(), source.universes.end()}});
    std::ranges::sort(list, [](const SACNSource& left, const SACNSource& right) {
        if (left.name != right.name) return left.name < right.name;
        if (left.ip != right.ip) return base::naturalLess(left.ip, right.ip);
        return left.universes < right.universes;
    });
    sacnSources_.set(std::move(list));
}

NetFindings LightingPicture::refreshUniverses(const PacketAccumulator::Drained& drained, base::Seconds elapsed,
                                              base::SteadyTime now, const Surroundings& around) {
    auto universes = gatherUniverses(drained, elapsed, *artNodes_, around);
    NetFindings findings;
    std::vector<std::string> activeTexts;
    activeTexts.reserve(knownSources_.size());
    for (const auto& universe : universes) {
        const auto active = universe.activeSources(now);
        for (const auto* source : active) activeTexts.push_back(sourceText(universe.key, *source));
        judgeConflict(universe, active, now, findings);
    }
    compareSources(std::move(activeTexts), findings);
    indexNames(universes);
    universes_.set(std::move(universes));
    return findings;
}

// A conflict is told when it comes and when it goes. Of a universe that has vanished nothing is known, so its conflict stands.
void LightingPicture::judgeConflict(const UniverseState& universe, const std::vector<const SourceState*>& active,
                                    base::SteadyTime now, NetFindings& findings) {
    const auto about = [&universe] {
        return fmt::format("Konflikt auf {}-Universum {}", text(universe.key.proto), universe.key.label());
    };
    if (universe.hasConflict(now)) {
        if (!knownConflicts_.insert(universe.key).second) return;
        std::vector<std::string_view> names;
        for (const auto* source : active) names.emplace_back(source->name);
        findings.push_back(
            {NetEvent::Level::alarm, fmt::format("{}: mehrere Quellen gleicher Priorität ({})", about(), fmt::join(names, ", "))});
    } else if (knownConflicts_.erase(universe.key) > 0) {
        findings.push_back({NetEvent::Level::info, about() + " behoben"});
    }
}

void LightingPicture::compareSources(std::vector<std::string> active, NetFindings& findings) {
    if (active == knownSources_) return;  // nearly always
    const std::unordered_set<std::string_view> before(knownSources_.begin(), knownSources_.end());
    std::unordered_set<std::string_view> told;  // also of two sources that read the same
    for (const auto& source : active)
        if (told.insert(source).second && !before.contains(source))
            findings.push_back({NetEvent::Level::info, "Quelle aktiv: " + source});
    for (const auto& source : knownSources_)
        if (told.insert(source).second) findings.push_back({NetEvent::Level::warning, "Quelle verloren: " + source});
    knownSources_ = std::move(active);
}

void LightingPicture::indexNames(const std::vector<UniverseState>& universes) {
    sourceNames_.clear();
    // Our test light names nothing else that this computer sends.
    for (const auto& universe : universes)
        for (const auto& source : universe.sources)
            if (!source.own && source.name != source.ip) sourceNames_.try_emplace(source.ip, source.name);
}

bool LightingPicture::nodeOutputActive(int universe) const { return activeOutputs_.contains(universe); }

const ArtNodeState* LightingPicture::node(const std::string& ip) const {
    const auto found = std::ranges::lower_bound(*artNodes_, ip, NaturalOrder{}, &ArtNodeState::ip);
    return found != artNodes_->end() && found->ip == ip ? &*found : nullptr;
}

const std::string* LightingPicture::sourceName(const std::string& ip) const {
    const auto found = sourceNames_.find(ip);
    return found == sourceNames_.end() ? nullptr : &found->second;
}

std::set<int> LightingPicture::nodeOutputs() const {
    std::set<int> outputs;
    for (const auto& node : *artNodes_) outputs.insert(node.outputs.begin(), node.outputs.end());
    return outputs;
}

void LightingPicture::clear() {
    activeOutputs_.clear();
    sourceNames_.clear();
    knownConflicts_.clear();
    knownSources_.clear();
    universes_.set({});
    artNodes_.set({});
    sacnSources_.set({});
    maStations_.set({});
}

}  // namespace kestrelyne
