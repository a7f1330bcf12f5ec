#include "Kestrelyne/Network/PacketAccumulator.hpp"

#include <algorithm>
#include <functional>
#include <iterator>
#include <string_view>
#include <tuple>
#include <utility>

#include "NetCore/ArtNet.hpp"
#include "NetCore/IPv4.hpp"
#include "NetCore/SACNRoot.hpp"

namespace kestrelyne {

namespace ArtNet = netcore::ArtNet;
namespace MANet = netcore::MANet;
namespace SACN = netcore::SACN;
using netcore::UDPView;

namespace {

constexpr std::size_t slotsOfUniverse = 512;
constexpr std::size_t shortestText = 4;         // of a console's traffic
constexpr std::uint32_t loopbackNetwork = 127;  // 127.0.0.0/8: addresses of this computer

// What a text takes besides its characters: the node that holds it.
constexpr std::size_t textOverhead = 64;
std::size_t textCost(const std::string& text) { return text.size() + textOverhead; }

SACN::CID identityOf(std::uint32_t address) {
    return {static_cast<std::uint8_t>(address >> 24), static_cast<std::uint8_t>(address >> 16),
            static_cast<std::uint8_t>(address >> 8), static_cast<std::uint8_t>(address)};
}

std::string destinationText(std::uint32_t destination) {
    return destination == 0 ? std::string() : netcore::uint32ToIP(destination);
}

}  // namespace

PacketAccumulator::PacketAccumulator(ExtrasAccumulator& extras, ArtNetResponder& responder, RDMReceiver* rdm, Limits limits)
    : extras_(extras), responder_(responder), rdm_(rdm), limits_(limits) {}

bool PacketAccumulator::hasRoom(std::size_t held, std::size_t limit) {
    if (held < limit) return true;
    ++refused_;
    return false;
}

// Art-Net

void PacketAccumulator::handleArtNet(const UDPView& packet) {
    if (const auto dmx = ArtNet::viewDmx(packet.data)) return tally(*dmx, packet);
    auto parsed = ArtNet::parse(packet.data);
    if (!parsed) return;
    if (std::holds_alternative<ArtNet::Poll>(*parsed)) {
        responder_.handlePoll(netcore::uint32ToIP(packet.source), packet.time.steady);
        notePoll(packet);
    } else if (auto* const reply = std::get_if<ArtNet::PollReply>(&*parsed)) {
        note(std::move(*reply), packet);
    } else if (const auto* const code = std::get_if<ArtNet::TimeCode>(&*parsed)) {
        extras_.handleTimecode(netcore::uint32ToIP(packet.source), *code, packet.time);
    } else if (const auto* const tod = std::get_if<ArtNet::TodData>(&*parsed); tod && rdm_) {
        rdm_->handleTod(*tod, netcore::uint32ToIP(packet.source));
    } else if (const auto* const rdm = std::get_if<ArtNet::RdmData>(&*parsed); rdm && rdm_) {
        rdm_->handleRdm(*rdm);
    }
}

void PacketAccumulator::tally(const ArtNet::DmxView& dmx, const UDPView& packet) {
    base::Lock lock(mutex_);
    auto identity = identityOf(packet.source);
    const bool own = isOwnTest(packet);
    if (own) identity.back() = 1;
    auto* const source = sender({NetProtocol::artnet, dmx.universe}, identity, packet);
    if (!source) return;
    if (own && !source->own) {
        source->own = true;
        source->texts = std::make_shared<const Texts>(
            Texts{.id = source->texts->ip + "#test", .name = testSourceName, .ip = source->texts->ip});
    }
    ++source->count;
    source->lastSeen = packet.time;
    source->data.assign(dmx.data.begin(), dmx.data.end());
}

bool PacketAccumulator::isOwnTest(const UDPView& packet) const {
    if (own_.testPort == 0 || packet.sourcePort != own_.testPort) return false;
    return packet.source >> 24 == loopbackNetwork || own_.addresses.contains(packet.source);
}

void PacketAccumulator::notePoll(const UDPView& packet) {
    base::Lock lock(mutex_);
    if (packet.sourcePort == own_.port && own_.addresses.contains(packet.source)) return;
    auto found = controllers_.find(packet.source);
    if (found == controllers_.end()) {
        if (!hasRoom(controllers_.size(), limits_.controllers)) return;
        found = controllers_
                    .emplace(packet.source, Controller{.ip = netcore::uint32ToIP(packet.source), .firstSeen = packet.time.steady})
                    .first;
    }
    auto& controller = found->second;
    ++controller.count;
    controller.lastSeen = packet.time;
    controller.interfaceIndex = packet.interfaceIndex;
}

void PacketAccumulator::note(ArtNet::PollReply reply, const UDPView& packet) {
    const NodeKey key(packet.source, reply.bindIndex);
    auto node = std::make_shared<const Node>(Node{.sender = netcore::uint32ToIP(packet.source),
                                                  .reply = std::move(reply),
                                                  .lastSeen = packet.time,
                                                  .interfaceIndex = packet.interfaceIndex});
    base::Lock lock(mutex_);
    if (nodes_.contains(key) || hasRoom(nodes_.size(), limits_.nodes)) nodes_[key] = std::move(node);
}

// sACN

void PacketAccumulator::handleSACN(const UDPView& packet) {
    if (const auto data = SACN::viewData(packet.data)) {
        if (data->startCode == 0) tally(*data, packet);
    } else if (const auto discovery = SACN::parseDiscovery(packet.data)) {
        note(*discovery, SACN::cidOf(packet.data), packet);
    }
}

void PacketAccumulator::tally(const SACN::DataView& data, const UDPView& packet) {
    base::Lock lock(mutex_);
    auto* const source = sender({NetProtocol::sacn, data.universe}, data.cid, packet);
    if (!source) return;
    if (data.sourceName != source->rawName) {
        source->rawName = data.sourceName;
        source->own = data.sourceName == testSourceName;
        source->texts = std::make_shared<const Texts>(
            Texts{.id = source->texts->id, .name = data.repairedSourceName(), .ip = source->texts->ip});
    }
    ++source->count;
    source->lastSeen = packet.time;
    source->priority = data.priority;
    source->terminated = data.terminated;
    source->data.assign(data.values.begin(), data.values.end());
}

void PacketAccumulator::note(const SACN::Discovery& discovery, const SACN::CID& cid, const UDPView& packet) {
    base::Lock lock(mutex_);
    auto found = discovered_.find(cid);
    if (found == discovered_.end()) {
        if (!hasRoom(discovered_.size(), limits_.discovered)) return;
        found = discovered_
                    .emplace(cid, Announced{.name = discovery.sourceName,
                                            .ip = netcore::uint32ToIP(packet.source),
                                            .universes = {},
                                            .interfaceIndex = packet.interfaceIndex})
                    .first;
    }
    auto& universes = found->second.universes;
    if (discovery.page == 0) {
        discoveredUniverses_ -= universes.size();
        universes.clear();
    }
    for (const int universe : discovery.universes) {
        const auto place = std::ranges::lower_bound(universes, universe);
        if (place != universes.end() && *place == universe) continue;
        if (!hasRoom(universes.size(), limits_.universesOfDiscovered) ||
            !hasRoom(discoveredUniverses_, limits_.discoveredUniverses))
            return;
        universes.insert(place, universe);
        ++discoveredUniverses_;
    }
}

// Both

PacketAccumulator::Sender* PacketAccumulator::sender(const UniverseKey& key, const Identity& identity, const UDPView& packet) {
    auto universe = universes_.find(key);
    if (universe != universes_.end())
        for (auto& known : universe->second)
            if (known.identity == identity) return &known;
    if (!hasRoom(universe == universes_.end() ? 0 : universe->second.size(), limits_.sourcesOfUniverse)) return nullptr;
    if (!hasRoom(senders_, limits_.sources)) return nullptr;
    if (universe == universes_.end()) universe = universes_.try_emplace(key).first;
    const auto ip = netcore::uint32ToIP(packet.source);
    auto& added = universe->second.emplace_back();
    ++senders_;
    added.identity = identity;
    added.texts = std::make_shared<const Texts>(
        Texts{.id = key.proto == NetProtocol::artnet ? ip : SACN::text(identity), .name = {}, .ip = ip});
    added.interfaceIndex = packet.interfaceIndex;
    added.data.reserve(slotsOfUniverse);
    return &added;
}

// MA-Net

void PacketAccumulator::handleMANet(const UDPView& packet, MANet::Version version) {
    const auto texts = MANet::strings(packet.data, shortestText);
    base::Lock lock(mutex_);
    const StationKey key(version, packet.source);
    auto found = stations_.find(key);
    if (found == stations_.end()) {
        if (!hasRoom(stations_.size(), limits_.stations)) return;
        found = stations_.try_emplace(key).first;
        found->second.talk.interfaceIndex = packet.interfaceIndex;
    }
    auto& talk = found->second.talk;
    ++talk.count;
    talk.lastSeen = packet.time;
    auto& destinations = talk.destinations;
    const auto place = std::ranges::lower_bound(destinations, packet.destination);
    const bool known = place != destinations.end() && *place == packet.destination;
    if (!known && hasRoom(destinations.size(), limits_.channelsOfStation)) destinations.insert(place, packet.destination);
    for (const auto& text : texts) note(text, found->second);
}

void PacketAccumulator::note(const std::string& text, Talker& station) {
    auto& texts = station.talk.texts;
    auto& counts = station.talk.textCounts;
    if (const auto known = station.textPlaces.find(text); known != station.textPlaces.end()) {
        ++counts[known->second];
        return;
    }
    const auto cost = textCost(text);
    if (texts.size() >= limits_.textsOfStation || !hasRoom(textBytes_ + cost, limits_.textBytes)) return;
    const auto& kept = texts.emplace_back(std::make_shared<const std::string>(text));
    counts.push_back(1);
    station.textPlaces.emplace(*kept, texts.size() - 1);
    station.textBytes += cost;
    textBytes_ += cost;
}

// Snapshots

PacketAccumulator::Drained PacketAccumulator::drain(base::SteadyTime now) {
    // What one source takes of the time under the lock: numbers and a pointer. Texts are copied afterwards.
    struct Copy {
        UniverseKey key;
        std::shared_ptr<const Texts> texts;
        std::optional<int> priority;
        std::uint64_t count;
        base::Moment lastSeen;
        std::uint32_t interfaceIndex;
        bool terminated;
        bool own;
    };
    std::vector<Copy> copies;
    std::vector<std::shared_ptr<const Node>> nodes;
    std::vector<std::pair<SACN::CID, Announced>> discovered;
    std::size_t universes = 0;
    {
        base::Lock lock(mutex_);
        copies.reserve(senders_);
        universes = universes_.size();
        const auto silent = [cutoff = now - base::nanoseconds(sourceKept)](const Sender& source) {
            return source.lastSeen.steady <= cutoff;
        };
        for (auto universe = universes_.begin(); universe != universes_.end();) {
            auto& [key, sources] = *universe;
            for (auto& source : sources)
                copies.push_back({key, source.texts, source.priority, std::exchange(source.count, 0), source.lastSeen,
                                  source.interfaceIndex, source.terminated, source.own});
            senders_ -= std::erase_if(sources, silent);
            universe = sources.empty() ? universes_.erase(universe) : std::next(universe);
        }
        nodes.reserve(nodes_.size());
        for (const auto& [key, node] : nodes_) nodes.push_back(node);
        discovered.assign(discovered_.begin(), discovered_.end());
    }

    Drained drained;
    drained.sources.reserve(universes);
    for (const auto& copy : copies) {
        // The sources of a universe stand one behind another.
        if (drained.sources.empty() || drained.sources.back().first != copy.key) drained.sources.emplace_back().first = copy.key;
        drained.sources.back().second.push_back({.id = copy.texts->id,
                                                 .name = copy.texts->name,
                                                 .ip = copy.texts->ip,
                                                 .priority = copy.priority,
                                                 .count = copy.count,
                                                 .lastSeen = copy.lastSeen,
                                                 .interfaceIndex = copy.interfaceIndex,
                                                 .terminated = copy.terminated,
                                                 .own = copy.own});
    }
    drained.nodes.reserve(nodes.size());
    for (const auto& node : nodes) drained.nodes.push_back(*node);
    drained.discovered.reserve(discovered.size());
    for (auto& [cid, source] : discovered)
        drained.discovered.push_back({.cid = SACN::text(cid),
                                      .name = std::move(source.name),
                                      .ip = std::move(source.ip),
                                      .universes = {source.universes.begin(), source.universes.end()},
                                      .interfaceIndex = source.interfaceIndex});
    return drained;
}

std::vector<PacketAccumulator::Station> PacketAccumulator::drainMA(base::SteadyTime now) {
    const auto cutoff = now - base::nanoseconds(stationKept);
    std::vector<std::pair<StationKey, Talk>> copies;
    {
        base::Lock lock(mutex_);
        copies.reserve(stations_.size());
    }
    // The lock is given back after each, so that no packet waits for all of them.
    for (std::optional<StationKey> last;;) {
        decltype(stations_)::node_type gone;  // freed without the lock
        base::Lock lock(mutex_);
        const auto next = last ? stations_.upper_bound(*last) : stations_.begin();
        if (next == stations_.end()) break;
        last = next->first;
        auto& talk = next->second.talk;
        copies.emplace_back(*last, talk);
        talk.count = 0;
        if (talk.lastSeen.steady > cutoff) continue;
        textBytes_ -= next->second.textBytes;
        gone = stations_.extract(next);
    }

    std::vector<Station> drained;
    drained.reserve(copies.size());
    for (const auto& [key, copy] : copies) {
        auto& station = drained.emplace_back(Station{.ip = netcore::uint32ToIP(key.second),
                                                     .version = key.first,
                                                     .channels = {},
                                                     .count = copy.count,
                                                     .texts = {},
                                                     .lastSeen = copy.lastSeen,
                                                     .interfaceIndex = copy.interfaceIndex});
        for (const auto destination : copy.destinations) station.channels.insert(destinationText(destination));
        for (std::size_t i = 0; i < copy.texts.size(); ++i) station.texts.emplace(*copy.texts[i], copy.textCounts[i]);
    }
    return drained;
}

std::vector<PacketAccumulator::Controller> PacketAccumulator::currentControllers(base::SteadyTime now) {
    std::vector<Controller> current;
    base::Lock lock(mutex_);
    std::erase_if(controllers_, [cutoff = now - base::nanoseconds(controllerKept)](const auto& controller) {
        return controller.second.lastSeen.steady <= cutoff;
    });
    current.reserve(controllers_.size());
    for (const auto& [address, controller] : controllers_) current.push_back(controller);
    return current;
}

std::vector<DMXSourceView> PacketAccumulator::dmxSnapshot(const UniverseKey& key) const {
    std::vector<DMXSourceView> views;
    {
        base::Lock lock(mutex_);
        const auto universe = universes_.find(key);
        if (universe == universes_.end()) return views;
        views.reserve(universe->second.size());
        for (const auto& source : universe->second)
            views.push_back({.id = source.texts->id,
                             .name = source.texts->name,
                             .ip = source.texts->ip,
                             .priority = source.priority,
                             .lastSeen = source.lastSeen,
                             .terminated = source.terminated,
                             .own = source.own,
                             .data = source.data});
    }
    // By the id at last, so that equal ones never change places.
    std::ranges::sort(views, std::greater(), [](const DMXSourceView& view) {
        return std::tuple(view.priority.value_or(0), view.lastSeen.steady, std::string_view(view.id));
    });
    return views;
}

// The rest

void PacketAccumulator::setOwnSender(OwnSender own) {
    base::Lock lock(mutex_);
    own_ = std::move(own);
}

std::set<int> PacketAccumulator::takeSeenSACNGroups() {
    base::Lock lock(mutex_);
    return std::exchange(seenSACNGroups_, {});
}

void PacketAccumulator::noteSACNGroup(int universe) {
    base::Lock lock(mutex_);
    seenSACNGroups_.insert(universe);
}

std::uint64_t PacketAccumulator::refused() const {
    base::Lock lock(mutex_);
    return refused_;
}

void PacketAccumulator::reset() {
    base::Lock lock(mutex_);
    universes_.clear();
    senders_ = 0;
    nodes_.clear();
    discovered_.clear();
    discoveredUniverses_ = 0;
    controllers_.clear();
    stations_.clear();
    textBytes_ = 0;
    seenSACNGroups_.clear();
}

}  // namespace kestrelyne
