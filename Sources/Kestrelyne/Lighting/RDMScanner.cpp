#include "Kestrelyne/Lighting/RDMScanner.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "Kestrelyne/Lighting/RDMReading.hpp"
#include "NetCore/ArtNetRDM.hpp"

namespace kestrelyne {

namespace RDM = netcore::RDM;
using netcore::ArtNet::rdmPacket;
using netcore::ArtNet::todRequest;

namespace {

constexpr const char* noNodes = "Keine Art-Net-Nodes gefunden – läuft die Netzwerküberwachung?";

}  // namespace

/// A scan under way; however it ends, a cancelled task included, it is said to be over.
class RDMScanner::Scanning {
public:
    explicit Scanning(RDMScanner& scanner) : scanner_(scanner) {
        scanner_.progress_.set("");
        scanner_.isScanning_.set(true);
    }
    Scanning(const Scanning&) = delete;
    Scanning& operator=(const Scanning&) = delete;
    ~Scanning() {
        scanner_.progress_.set(lastWord);
        scanner_.isScanning_.set(false);
    }
    std::string lastWord{};  // what the progress says afterwards

private:
    RDMScanner& scanner_;
};

RDMScanner::RDMScanner(RDMLink link) : link_(std::move(link)) {}

const RDMDeviceState* RDMScanner::device(const RDM::UID& uid) const {
    const auto found = std::ranges::find(*devices_, uid, &RDMDeviceState::uid);
    return found == devices_->end() ? nullptr : &*found;
}

void RDMScanner::clearDevices() {
    loaded_.clear();
    devices_.set({});
}

void RDMScanner::update(RDMDeviceState device) {
    devices_.change([&](std::vector<RDMDeviceState>& list) {
        const auto found = std::ranges::find(list, device.uid, &RDMDeviceState::uid);
        if (found == list.end())
            list.push_back(std::move(device));
        else
            *found = std::move(device);
    });
}

RDMScanner::Place RDMScanner::placeOf(const RDMDeviceState& device) {
    return {.uid = device.uid, .ip = device.nodeIP, .name = device.nodeName, .universe = device.universe};
}

// The place among the waiting is taken before the command leaves: an answer may be there before the sending returns, and need not
// be asked for twice. Its time runs from the sending on.
base::Co<std::optional<RDM::Response>> RDMScanner::exchange(RDM::PID pid, Place place, bool set, std::vector<std::uint8_t> data) {
    for (int attempt = 0; attempt < tries; ++attempt) {
        // Locked again while the device was silent.
        if (set && !*writeEnabled_) break;
        const auto transaction = ++transaction_;
        const RDMTransport::Waiter waiter(*transport_, place.uid, transaction);
        const auto frame = set ? RDM::set(pid, place.uid, transaction, data) : RDM::get(pid, place.uid, transaction, data);
        link_.send(rdmPacket(place.universe, frame), place.ip);
        auto response = co_await waiter.answer(answerTimeout);
        if (response) co_return response;
    }
    co_return std::nullopt;
}

// Each device once, at the first universe that names it.
std::vector<RDMScanner::Place> RDMScanner::namedDevices(const std::vector<RDMLink::Node>& nodes) const {
    std::vector<Place> places;
    std::set<RDM::UID> seen;
    for (const auto& node : nodes)
        for (const int universe : node.universes)
            for (const auto& uid : transport_->devices(node.ip, universe))
                if (seen.insert(uid).second) places.push_back({.uid = uid, .ip = node.ip, .name = node.name, .universe = universe});
    return places;
}

base::Co<> RDMScanner::scan() {
    if (*isScanning_) co_return;
    co_await scan(std::make_unique<Scanning>(*this));
}

base::Co<> RDMScanner::scan(std::unique_ptr<Scanning> begun) {
    // Ends with the body; a parameter lives as long as the frame.
    const auto scanning = std::move(begun);
    if (const auto known = link_.nodes().size(); known > 0) {
        progress_.set(fmt::format("Frage Gerätelisten von {} Nodes ab …", known));
        co_await base::sleepFor(nodeTime);
    }
    const auto nodes = link_.nodes();
    if (nodes.empty()) {
        scanning->lastWord = noNodes;
        co_return;
    }
    std::set<std::pair<std::string, int>> asked;
    for (const auto& node : nodes)
        for (const int universe : node.universes) {
            if (!asked.insert({node.ip, universe}).second) continue;
            const auto request = todRequest(universe);
            link_.send({request.begin(), request.end()}, node.ip);
        }
    co_await base::sleepFor(tableTime);
    const auto places = namedDevices(nodes);
    link_.log(NetEvent::Level::info, fmt::format("RDM-Scan: {} Geräte an {} Nodes", places.size(), nodes.size()));
    for (std::size_t i = 0; i < places.size(); ++i) {
        const auto uid = places[i].uid;
        progress_.set(fmt::format("Lese Gerät {} von {} ({}) …", i + 1, places.size(), uid.text()));
        const auto writesBefore = writes_;
        auto device = co_await readAll(places[i]);
        checkTemperatures(device);
        loaded_.erase(uid);
        update(std::move(device));
        // What was written meanwhile may have been read before.
        if (writes_ != writesBefore) co_await reread(uid);
    }
    lastScan_.set(link_.now().wall);
}

void RDMScanner::startScan() {
    // It is under way from now on, although its first step comes in a later turn.
    if (!*isScanning_) scanTask_ = base::Task("RDM scan", scan(std::make_unique<Scanning>(*this)));
}

}  // namespace kestrelyne
