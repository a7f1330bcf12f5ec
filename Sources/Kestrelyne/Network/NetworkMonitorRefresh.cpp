// How the monitor's picture is renewed once a second, and by what names things appear in it.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "Base/Text.hpp"
#include "Kestrelyne/Network/NetworkMonitor.hpp"
#include "NetCore/IPv4.hpp"

namespace kestrelyne {

namespace {

constexpr base::Seconds shortestElapsed{0.2};  // guards the rates against two refreshes in a row
constexpr base::Seconds dropsToldEvery{60};
constexpr const char* loopback = "127.0.0.1";
constexpr const char* igmpTimeoutKey = "debug.igmpTimeout";
constexpr const char* limitsWarning =
    "Zu viele Absender im Netz: Was über die Grenzen der Überwachung hinausgeht, wird nicht mehr aufgenommen.";

}  // namespace

void NetworkMonitor::refreshPackets() {
    const auto now = services_.clock.steadyNow();
    const auto elapsed = std::max(base::Seconds(now - lastDrain_), shortestElapsed);
    lastDrain_ = now;
    const auto drained = intake_->packets.drain(now);
    refreshPTP(elapsed);
    refreshCapture();
    const auto around = surroundings();
    tell(lighting_.refreshNodes(drained.nodes, around));
    refreshControllers();
    lighting_.refreshStations(intake_->packets.drainMA(now), elapsed, around);
    lighting_.refreshSACNSources(drained.discovered);
    auto universes = intake_->packets.takeSeenSACNGroups();
    for (const auto& source : drained.discovered) universes.insert(source.universes.begin(), source.universes.end());
    joinUniverses(universes);
    tell(lighting_.refreshUniverses(drained, elapsed, now, around));
    noteHealth();
}

LightingPicture::Surroundings NetworkMonitor::surroundings() const {
    return {.ownAddresses = adapters_.ownAddresses(),
            .interfaceName = [this](std::uint32_t index) { return adapters_.nameOf(index); },
            .members = [this](const std::string& group) { return queriers_.members(group); },
            .displayName = [this](const std::string& ip) { return displayName(ip); }};
}

void NetworkMonitor::refreshPTP(base::Seconds elapsed) {
    tell(clocks_.refresh(
        intake_->extras.drainPTP(services_.clock.steadyNow()), elapsed,
        [this](std::uint32_t index) { return adapters_.nameOf(index); },
        [this](const std::string& identity) { return ptpClockName(identity); }));
}

void NetworkMonitor::refreshCapture() {
    const auto now = services_.clock.moment();
    const auto name = [this](const std::string& ip) { return displayName(ip); };
    NetFindings findings;
    const auto add = [&findings](NetFindings more) { std::ranges::move(more, std::back_inserter(findings)); };
    for (const auto& [interface, event] : intake_->extras.takeCaptured()) {
        if (const auto* seen = std::get_if<netcore::ARPSeen>(&event.frame))
            add(addresses_.note(seen->ip, seen->mac, interface, event.time, *config_));
        else if (const auto* query = std::get_if<netcore::IGMPQuery>(&event.frame))
            add(queriers_.noteQuery(interface, *query, event.time, name));
        else if (const auto* report = std::get_if<netcore::IGMPReport>(&event.frame))
            queriers_.noteReport(interface, *report, event.time);
    }
    add(addresses_.check(now));
    add(queriers_.check(now, querierTimeout()));
    tell(std::move(findings));
}

base::Seconds NetworkMonitor::querierTimeout() const {
    auto seconds = services_.settings.number(igmpTimeoutKey);
    if (!seconds) seconds = base::parseDouble(services_.settings.text(igmpTimeoutKey).value_or(""));
    return seconds && std::isfinite(*seconds) && *seconds > 0 ? base::Seconds(*seconds) : QuerierWatch::defaultTimeout;
}

void NetworkMonitor::refreshControllers() {
    tell(consoles_.refresh(
        intake_->packets.currentControllers(services_.clock.steadyNow()), services_.clock.steadyNow(),
        [this](std::uint32_t index) { return adapters_.nameOf(index); },
        [this](const std::string& ip) { return displayName(ip); }));
    auto universes = lighting_.nodeOutputs();
    if (services_.seams.patchUniverses) universes.merge(services_.seams.patchUniverses());
    std::vector<ArtNetResponder::Iface> interfaces;
    for (const auto& interface : interfacesFor(AdapterRole::lighting)) {
        const auto address = netcore::ipToUInt32(interface.address), mask = netcore::ipToUInt32(interface.netmask);
        if (!address || !mask) continue;
        interfaces.push_back({.name = interface.name,
                              .address = interface.address,
                              .mask = *mask,
                              .network = *address & *mask,
                              .mac = netcore::NetInterface::macAddress(interface.name).value_or(std::array<std::uint8_t, 6>{})});
    }
    intake_->responder.configure(config_->artnetSubscribe, std::move(universes), std::move(interfaces), adapters_.ownAddresses());
}

void NetworkMonitor::refreshTimecode() {
    const auto now = services_.clock.moment();
    tell(timecode_.refresh(intake_->extras.currentTimecodes(now.steady), now,
                           [this](const std::string& ip) { return displayName(ip); }));
}

// What we lose ourselves is never told as a fault of the network.
void NetworkMonitor::noteHealth() {
    const auto state = health();
    if (state.refused > 0 && !toldRefused_) {
        toldRefused_ = true;
        log(NetEvent::Level::warning, limitsWarning, networkSource);
    }
    const auto now = services_.clock.steadyNow();
    if (state.dropped > toldDrops_ && (!toldDropsAt_ || now - *toldDropsAt_ >= dropsToldEvery)) {
        log(NetEvent::Level::warning,
            fmt::format("Eigener Empfangspuffer übergelaufen: {} Pakete nicht gelesen – kein Verlust im Netz",
                        state.dropped - toldDrops_),
            networkSource);
        toldDrops_ = state.dropped;
        toldDropsAt_ = now;
    }
}

NetworkMonitor::Health NetworkMonitor::health() const {
    return {.dropped = sockets_.drops(),
            .refused = intake_->packets.refused() + intake_->extras.refused() + queriers_.refused() + addresses_.refused() +
                       bonjour_.refused() + sockets_.refusedJoins(),
            .receiveBuffer = sockets_.receiveBuffer()};
}

// Names

std::string NetworkMonitor::displayName(const std::string& ip) const {
    if (const auto found = deviceNames_.find(ip); found != deviceNames_.end()) return found->second;
    if (const auto* node = lighting_.node(ip); node != nullptr && !node->shortName.empty()) return node->shortName;
    if (const auto found = serviceNames_.find(ip); found != serviceNames_.end()) return found->second;
    if (const auto* name = lighting_.sourceName(ip)) return *name;
    return ip;
}

std::string NetworkMonitor::ptpClockName(const std::string& identity) const {
    const auto mac = ClockWatch::macOf(identity);
    const auto* entry = mac ? addresses_.byMAC(*mac) : nullptr;
    if (entry == nullptr) return identity;
    auto name = displayName(entry->ip);
    return name == entry->ip ? identity : name;
}

std::vector<DMXSourceView> NetworkMonitor::dmxSources(const UniverseKey& key) const {
    auto sources = intake_->packets.dmxSnapshot(key);
    for (auto& source : sources)
        if (auto name = displayName(source.ip); !source.own && name != source.ip) source.name = std::move(name);
    return sources;
}

void NetworkMonitor::indexDeviceNames() {
    deviceNames_.clear();
    // The first of several devices with one address counts. A UPS that is asked on the loopback address is a program of this
    // computer, one of many there: it does not name what the others send.
    for (const auto& device : config_->devices)
        if (!device.name.empty() && (device.role != NetDeviceRole::ups || device.ip != loopback))
            deviceNames_.emplace(device.ip, device.name);
}

void NetworkMonitor::indexServiceNames() {
    serviceNames_.clear();
    for (const auto& service : *bonjour_.services())
        for (const auto& ip : service.ips)
            if (!service.name.empty()) serviceNames_.emplace(ip, service.name);
}

}  // namespace kestrelyne
