#include "Kestrelyne/Network/NetworkMonitor.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "Base/JSONFields.hpp"
#include "Base/Text.hpp"
#include "NetCore/ArtNetPoll.hpp"
#include "NetCore/IPv4.hpp"

namespace kestrelyne {

namespace {

constexpr base::Seconds packetPause{1.0};
constexpr base::Seconds timecodePause{0.1};
constexpr base::Seconds arpPause{30};
constexpr double shortestInterval = 0.2;   // s: a stored interval of 0 must not poll without a pause
constexpr double longestInterval = 86400;  // s
constexpr const char* limitedBroadcast = "255.255.255.255";
constexpr int discoveryUniverse = 64214;  // ANSI E1.31-2018, appendix A: E131_DISCOVERY_UNIVERSE
constexpr const char* captureFileKey = "debug.captureFile";
// For devices that answer on another port than Art-Net's own.
constexpr const char* artNetPortKey = "debug.artnetPort";
constexpr double highestPort = 65535;
constexpr const char* captureWarning =
    "ARP/IGMP-Mitschnitt nicht möglich – dafür braucht der Benutzer BPF-Zugriff (Wireshark-Paket „ChmodBPF“). ARP wird ersatzweise "
    "aus der Systemtabelle gelesen.";

base::Seconds interval(double stored) {
    if (!std::isfinite(stored)) return base::Seconds(longestInterval);
    return base::Seconds(std::clamp(stored, shortestInterval, longestInterval));
}

NetConfig loadConfig(const SettingsStore& settings) {
    if (const auto bytes = settings.blob(NetworkMonitor::defaultsKey)) {
        try {
            return decodeNetConfig(*bytes);
        } catch (const base::DecodeError&) {
            // Treated as never stored; the next save replaces it.
        }
    }
    return {};
}

std::string macText(const std::array<std::uint8_t, 6>& mac) {
    return fmt::format("{:02X}:{:02X}:{:02X}:{:02X}:{:02X}:{:02X}", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
}

std::string joined(const std::vector<netcore::NetInterface>& interfaces) {
    std::string text;
    for (const auto& interface : interfaces) text += (text.empty() ? "" : ", ") + interface.displayName + " " + interface.subnet();
    return text;
}

}  // namespace

NetworkMonitor::NetworkMonitor(NetworkServices services)
    : services_(std::move(services)),
      config_(loadConfig(services_.settings)),
      snmp_({.pool = services_.pool,
             .config = config_,
             .tell = [this](NetFindings findings) { tell(std::move(findings)); },
             .makeTarget = services_.snmpTarget}),
      rdm_(rdmLink()),
      intake_(std::make_shared<NetworkIntake>(rdm_.transport())),
      sockets_(intake_, services_.ports, services_.loopbackOnly),
      captures_(intake_),
      lastDrain_(services_.clock.steadyNow()) {
    indexDeviceNames();
    servicesChanged_ = bonjour_.services().observe([this] { indexServiceNames(); });
    if (config_->autoStart) start();
}

NetworkMonitor::~NetworkMonitor() {
    tasks_.clear();
    adapterCheck_.cancel();
    if (!*isRunning_) return;
    if (services_.seams.stopStageSmarts) services_.seams.stopStageSmarts();
    if (services_.bonjour) bonjour_.stop();
}

// Starting and stopping

void NetworkMonitor::start() {
    if (*isRunning_) return;
    errorLines_.clear();
    errors_.set({});
    captureFailed_ = false;
    universesOfUser_ = config_->sacnUniverseSet();
    if (auto list = services_.listInterfaces()) adapters_.set(std::move(*list));
    noteOwnAddresses();
    openSockets();
    openExtras();
    if (services_.seams.startStageSmarts) services_.seams.startStageSmarts();
    isRunning_.set(true);
    if (services_.bonjour) bonjour_.start();
    log(NetEvent::Level::info, "Überwachung gestartet auf " + joined(adapters_.active(*config_)), networkSource);
    tasks_.emplace_back("packet refresh", packetTask());
    tasks_.emplace_back("timecode refresh", timecodeTask());
    tasks_.emplace_back("ARP", arpTask());
    tasks_.emplace_back("ArtPoll", artPollTask());
    tasks_.emplace_back("ping", pingTask());
    tasks_.emplace_back("SNMP", snmpTask());
    if (services_.watchAdapters)
        adapterWatch_ =
            std::make_unique<netcore::AdapterWatch>([weak = std::weak_ptr(self_), inbox = base::MainLoop::current().inbox()] {
                inbox->post([weak] {
                    if (const auto self = weak.lock()) (*self)->adaptersMayHaveChanged();
                });
            });
}

void NetworkMonitor::stop() {
    if (!*isRunning_) return;
    tasks_.clear();
    adapterCheck_.cancel();
    adapterWatch_.reset();
    sockets_.close();
    captures_.close();
    if (services_.seams.stopStageSmarts) services_.seams.stopStageSmarts();
    if (services_.bonjour) bonjour_.stop();
    isRunning_.set(false);
    log(NetEvent::Level::info, "Überwachung gestoppt", networkSource);
}

void NetworkMonitor::restart() {
    stop();
    start();
}

void NetworkMonitor::openSockets() {
    const auto tellErrors = [this](const NetworkSockets::Errors& errors) {
        for (const auto& [key, text] : errors) setError(key, text);
    };
    tellErrors(sockets_.openArtNet());
    tellErrors(sockets_.openSACN());
    joinUniverses({});
    tellErrors(sockets_.openMANet(interfacesFor(AdapterRole::lighting)));
}

// What needs a right that the user may lack; what did not open is tried again every half minute.
void NetworkMonitor::openExtras() {
    const auto errors = services_.loopbackOnly ? NetworkSockets::Errors() : sockets_.openClocks(interfacesFor(AdapterRole::audio));
    for (const auto port : {services_.ports.ptpEvent, services_.ports.ptpGeneral}) {
        const auto key = "ptp" + std::to_string(port);
        const auto error = std::ranges::find(errors, key, &std::pair<std::string, std::string>::first);
        setError(key, error == errors.end() ? std::string() : error->second);
    }
    openCaptures();
}

void NetworkMonitor::openCaptures() {
    std::vector<std::string> sources;
    std::map<std::string, std::string> names;
    if (services_.capture)
        for (const auto& interface : adapters_.active(*config_)) {
            if (interface.isPointToPoint || names.contains(interface.name)) continue;
            names[interface.name] = interface.displayName;
            sources.push_back(interface.name);
        }
    if (const auto file = services_.settings.text(captureFileKey); file && !file->empty()) {
        names[*file] = *file;
        sources.push_back(*file);
    }
    const auto now = services_.clock.moment();
    const auto outcome = captures_.open(sources);
    for (const auto& source : outcome.begun) queriers_.begin(source, names[source], now, std::nullopt);
    for (const auto& [source, reason] : outcome.failed) queriers_.begin(source, names[source], now, reason);
    queriers_.keepOnly({sources.begin(), sources.end()});
    const bool failed = !outcome.failed.empty();
    if (failed && !captureFailed_) log(NetEvent::Level::warning, captureWarning, networkSource);
    captureFailed_ = failed;
}

// Discovery first, then what the user has listed, then what the network speaks of.
void NetworkMonitor::joinUniverses(const std::set<int>& seen) {
    using Wanted = NetworkSockets::Wanted;
    const auto interfaces = interfacesFor(AdapterRole::lighting);
    sockets_.joinUniverses({discoveryUniverse}, interfaces, Wanted::byUser);
    sockets_.joinUniverses(universesOfUser_, interfaces, Wanted::byUser);
    // A console on a universe of the patch is heard before the test light asks for it.
    if (services_.seams.patchSACNUniverses)
        sockets_.joinUniverses(services_.seams.patchSACNUniverses(), interfaces, Wanted::byNetwork);
    sockets_.joinUniverses(seen, interfaces, Wanted::byNetwork);
}

// Tasks

base::Co<> NetworkMonitor::packetTask() {
    for (;;) {
        refreshPackets();
        co_await base::sleepFor(packetPause);
    }
}

base::Co<> NetworkMonitor::timecodeTask() {
    for (;;) {
        refreshTimecode();
        co_await base::sleepFor(timecodePause);
    }
}

base::Co<> NetworkMonitor::arpTask() {
    for (;;) {
        co_await readSystemARP();
        openExtras();
        co_await base::sleepFor(arpPause);
    }
}

base::Co<> NetworkMonitor::artPollTask() {
    for (;;) {
        pollNodes();
        co_await base::sleepFor(interval(config_->artPollInterval));
    }
}

base::Co<> NetworkMonitor::pingTask() {
    for (;;) {
        const auto begun = services_.clock.steadyNow();
        co_await pingAll();
        const auto rest = interval(config_->pingInterval) - (services_.clock.steadyNow() - begun);
        co_await base::sleepFor(std::max(base::Seconds(rest), base::Seconds(0)));
    }
}

base::Co<> NetworkMonitor::snmpTask() {
    for (;;) {
        co_await snmp_.pollSNMP();
        co_await base::sleepFor(interval(config_->snmpInterval));
    }
}

void NetworkMonitor::adaptersMayHaveChanged() {
    if (!*isRunning_) return;
    adapterCheckAgain_ = adapterCheck_.running();
    if (!adapterCheckAgain_) adapterCheck_ = base::Task("adapter check", adapterTask());
}

base::Co<> NetworkMonitor::adapterTask() {
    do {
        adapterCheckAgain_ = false;
        auto list = co_await services_.pool.run(services_.listInterfaces);
        applyInterfaces(std::move(list));
    } while (adapterCheckAgain_);
}

void NetworkMonitor::pollNodes() {
    if (!sockets_.artNetOpen()) return;
    const auto packet = netcore::ArtNet::pollPacket();
    for (const auto& interface : interfacesFor(AdapterRole::lighting))
        for (const auto& to : {interface.broadcast, std::string(limitedBroadcast)})
            sender_.send(packet, to, services_.ports.artnet, interface.index);
}

base::Co<> NetworkMonitor::readSystemARP() {
    struct Reading {
        std::optional<std::vector<netcore::ARPRow>> rows;
        std::optional<std::vector<netcore::NetInterface>> interfaces;
    };
    auto read = [table = services_.readARPTable, list = services_.listInterfaces] { return Reading{table(), list()}; };
    auto reading = co_await services_.pool.run(std::move(read));
    const auto now = services_.clock.moment();
    std::set<std::string> active;
    for (const auto& interface : adapters_.active(*config_)) {
        active.insert(interface.name);
        // The table holds no addresses of our own.
        if (const auto mac = netcore::NetInterface::macAddress(interface.name))
            tell(addresses_.note(interface.address, macText(*mac), interface.name, now, *config_));
    }
    if (reading.rows)
        for (const auto& row : *reading.rows)
            if (active.contains(row.device)) tell(addresses_.note(row.ip, row.mac, row.device, now, *config_));
    tell(addresses_.check(now));
    applyInterfaces(std::move(reading.interfaces));
}

void NetworkMonitor::pollLocalUPS() {
    if (services_.readLocalUPS) snmp_.noteLocal(services_.readLocalUPS());
}

base::Co<> NetworkMonitor::pingAll() {
    pollLocalUPS();
    std::set<std::string> distinct;
    for (const auto& device : config_->devices) distinct.insert(device.ip);
    auto sweep = [sweep = services_.sweep, ips = std::vector(distinct.begin(), distinct.end()),
                  timeout = Reachability::timeout(config_->pingInterval)] { return sweep(ips, timeout); };
    const auto answers = co_await services_.pool.run(std::move(sweep));
    // Without the right to ping nothing is known of any device.
    setError("ping", answers ? std::string() : netcore::Ping::missingRight());
    // A device that came meanwhile is judged by the next round.
    if (answers) tell(reachability_.judge(config_->devices, *answers, config_->offlineAfter, services_.clock.moment(), &distinct));
}

// Adapters

void NetworkMonitor::checkInterfaceChanges() { applyInterfaces(services_.listInterfaces()); }

// A list that the system did not give is no list without adapters.
void NetworkMonitor::applyInterfaces(std::optional<std::vector<netcore::NetInterface>> list) {
    if (!list) return;
    auto change = adapters_.update(std::move(*list), *config_);
    tell(std::move(change.findings));
    if (!*isRunning_) return;
    if (change.activeChanged)
        restart();
    else
        noteOwnAddresses();
}

void NetworkMonitor::noteOwnAddresses() {
    PacketAccumulator::OwnSender own{.addresses = {}, .port = sender_.port(), .testPort = testPort_};
    for (const auto& address : adapters_.ownAddresses())
        if (const auto number = netcore::ipToUInt32(address)) own.addresses.insert(*number);
    intake_->packets.setOwnSender(std::move(own));
    std::set<std::string> macs;
    for (const auto& interface : *adapters_.interfaces())
        if (const auto mac = netcore::NetInterface::macAddress(interface.name)) macs.insert(macText(*mac));
    addresses_.setOwnMACs(macs);
}

// The lighting rig

RDMLink NetworkMonitor::rdmLink() {
    return {.nodes =
                [this] {
                    std::vector<RDMLink::Node> nodes;
                    for (const auto& node : *lighting_.artNodes()) {
                        auto universes = node.outputs;
                        universes.insert(node.inputs.begin(), node.inputs.end());
                        nodes.push_back({.ip = node.ip, .name = node.shortName, .universes = {universes.begin(), universes.end()}});
                    }
                    return nodes;
                },
            .send = [this](const std::vector<std::uint8_t>& packet,
                           const std::string& ip) { sockets_.sendArtNet(packet, ip, rdmPort()); },
            .log = [this](NetEvent::Level level, std::string text) { log(level, std::move(text), networkSource); },
            .now = [this] { return services_.clock.moment(); }};
}

std::uint16_t NetworkMonitor::rdmPort() const {
    auto stored = services_.settings.number(artNetPortKey);
    if (!stored) stored = base::parseDouble(services_.settings.text(artNetPortKey).value_or(""));
    return stored && *stored >= 1 && *stored <= highestPort ? static_cast<std::uint16_t>(*stored) : services_.ports.artnet;
}

std::vector<std::string> NetworkMonitor::nodesOf(int universe) const {
    std::vector<std::string> nodes;
    for (const auto& node : *lighting_.artNodes())
        if (node.outputs.contains(universe)) nodes.push_back(node.ip);
    return nodes;
}

void NetworkMonitor::hearUniverses(const std::set<int>& sacnUniverses) {
    if (*isRunning_) sockets_.joinUniverses(sacnUniverses, interfacesFor(AdapterRole::lighting), NetworkSockets::Wanted::byUser);
}

void NetworkMonitor::setTestPort(std::uint16_t port) {
    testPort_ = port;
    noteOwnAddresses();
}

// Settings

void NetworkMonitor::setConfig(NetConfig config) {
    const auto before = config_.get();
    config_.set(std::move(config));
    save();
    indexDeviceNames();
    if (!*isRunning_) return;
    const auto& after = *config_;
    if (before.interfaces != after.interfaces || before.interfaceRoles != after.interfaceRoles) {
        restart();
    } else if (before.sacnUniverses != after.sacnUniverses) {
        const auto old = std::exchange(universesOfUser_, after.sacnUniverseSet());
        for (const int universe : old)
            if (!universesOfUser_.contains(universe)) sockets_.leaveUniverse(universe, interfacesFor(AdapterRole::lighting));
        joinUniverses({});
    }
}

void NetworkMonitor::upsert(NetDevice device) {
    std::optional<NetDevice> before;
    config_.change([&](NetConfig& config) {
        const auto known = std::ranges::find(config.devices, device.id, &NetDevice::id);
        if (known == config.devices.end())
            config.devices.push_back(device);
        else
            before = std::exchange(*known, device);
    });
    save();
    indexDeviceNames();
    reachability_.forget(device.id);
    if (before) snmp_.changed(*before, device);
}

void NetworkMonitor::remove(const base::UUID& id) {
    const auto known = std::ranges::find(config_->devices, id, &NetDevice::id);
    if (known == config_->devices.end()) return;
    const auto gone = *known;
    config_.change([&gone](NetConfig& config) { std::erase_if(config.devices, [&](const auto& d) { return d.id == gone.id; }); });
    save();
    indexDeviceNames();
    reachability_.forget(gone.id);
    snmp_.remove(gone);
}

bool NetworkMonitor::isMonitored(const std::string& ip) const {
    return std::ranges::find(config_->devices, ip, &NetDevice::ip) != config_->devices.end();
}

void NetworkMonitor::markKnown(const std::vector<ARPEntry>& entries) {
    const auto date = fmt::format("{:.0f}", std::floor(base::secondsSince1970(services_.clock.now())));
    config_.change([&](NetConfig& config) {
        for (const auto& entry : entries) config.knownMACs[entry.mac] = date;
    });
    save();
}

void NetworkMonitor::forgetKnown() {
    config_.change([](NetConfig& config) { config.knownMACs.clear(); });
    save();
}

void NetworkMonitor::save() { services_.settings.setBlob(defaultsKey, encodeNetConfig(*config_)); }

// Events

void NetworkMonitor::log(NetEvent::Level level, std::string text, std::string source) {
    tell({{level, std::move(text), std::move(source)}}, Notices::none);
}

void NetworkMonitor::alarm(std::string text, std::string source) {
    tell({{NetEvent::Level::alarm, std::move(text), std::move(source)}});
}

// Observers of the log are woken once, however many lines there are. A storm of alarms is logged whole, but not sent whole.
void NetworkMonitor::tell(NetFindings findings, Notices notices) {
    if (findings.empty()) return;
    const auto now = services_.clock.now();
    std::vector<NetEvent> added;
    added.reserve(findings.size());
    std::size_t sent = 0;
    for (auto& finding : findings) {
        if (services_.outlets.record) services_.outlets.record(finding.source, kestrelyne::text(finding.level), finding.text);
        const bool notice = notices == Notices::ofAlarms && finding.level == NetEvent::Level::alarm && config_->notify;
        if (notice && sent++ < mostNoticesAtOnce)
            services_.outlets.notifier.post(
                AlarmEvent{.date = now, .ruleID = {}, .kind = AlarmEvent::Kind::raised, .text = finding.text}, finding.source);
        added.push_back(
            {.date = now, .level = finding.level, .text = std::move(finding.text), .source = std::move(finding.source)});
    }
    std::ranges::reverse(added);
    if (added.size() > mostEvents) added.resize(mostEvents);
    events_.change([&added](auto& events) {
        events.resize(std::min(events.size(), mostEvents - added.size()));
        events.insert(events.begin(), std::make_move_iterator(added.begin()), std::make_move_iterator(added.end()));
    });
}

void NetworkMonitor::setError(const std::string& key, const std::string& text) {
    const auto known = std::ranges::find(errorLines_, key, &std::pair<std::string, std::string>::first);
    if (known == errorLines_.end() ? text.empty() : known->second == text) return;
    if (known == errorLines_.end())
        errorLines_.emplace_back(key, text);
    else if (text.empty())
        errorLines_.erase(known);
    else
        known->second = text;
    std::vector<std::string> lines;
    for (const auto& line : errorLines_) lines.push_back(line.second);
    errors_.set(std::move(lines));
}

void NetworkMonitor::clearLightingData() {
    intake_->packets.reset();
    intake_->extras.resetTimecodes();
    lighting_.clear();
    consoles_.clear();
    timecode_.clear();
    rdm_.transport()->clear();
    rdm_.clearDevices();
}

void NetworkMonitor::clearNetworkData() {
    events_.set({});
    addresses_.clear();
    reachability_.clear();
    snmp_.clear();
    intake_->extras.resetNetwork();
    clocks_.clear();
    queriers_.clear();
}

}  // namespace kestrelyne
