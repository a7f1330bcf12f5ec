#pragma once
// A network monitor in a world of a test's making: time is passed by hand, adapters, neighbours and pings are what the test says,
// and packets are put straight into what the sockets write into.

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Base/BackgroundPool.hpp"
#include "Kestrelyne/Network/NetworkMonitor.hpp"
#include "NetCore/ArtNetDMX.hpp"
#include "NetCore/FakeSNMPTarget.hpp"
#include "NetCore/IPv4.hpp"
#include "NetCore/SACNData.hpp"
#include "Support/TestLoop.hpp"

namespace kestrelyne {

/// An adapter of the test. The system knows no such device: nothing can be joined, captured or sent there.
inline netcore::NetInterface adapter(const std::string& name, std::uint32_t index, const std::string& address) {
    netcore::NetInterface interface;
    interface.name = name;
    interface.index = index;
    interface.address = address;
    interface.netmask = "255.255.255.0";
    interface.broadcast = address.substr(0, address.rfind('.')) + ".255";
    interface.displayName = "Adapter " + name;
    return interface;
}

class MonitorBench {
public:
    MonitorBench() = default;
    MonitorBench(const MonitorBench&) = delete;
    MonitorBench& operator=(const MonitorBench&) = delete;
    /// What still runs on the pool writes into the members below.
    ~MonitorBench() {
        monitor.reset();
        pool.reset();
        base::SerialQueue::joinEnded();
    }

    /// Settings may be put into `settings` before make().
    NetworkMonitor& make() {
        NetworkServices services{.settings = settings, .pool = *pool, .clock = time.clock(), .outlets = outlets};
        services.ports = ports;
        services.listInterfaces = [this] {
            ++listings;
            const base::Lock lock(mutex);
            return noInterfaces ? std::nullopt : std::optional(interfaces);
        };
        services.loopbackOnly = loopbackOnly;
        services.readARPTable = [this] { return std::optional(neighbours); };
        services.sweep = [this](const std::vector<std::string>& ips, base::Seconds timeout) {
            const base::Lock lock(mutex);
            swept = ips;
            sweepTimeout = timeout;
            return answers;
        };
        services.capture = capture;
        services.bonjour = false;
        services.watchAdapters = watchAdapters;
        services.seams = seams;
        services.snmpTarget = [this](const NetDevice& device) -> std::shared_ptr<const netcore::SNMPTarget> {
            asked.push_back(device.ip);
            if (slow != nullptr) return slow;
            const auto known = agents.find(device.ip);
            return known == agents.end() ? silent : known->second;
        };
        services.readLocalUPS = [this] { return localUPS; };
        monitor = std::make_unique<NetworkMonitor>(std::move(services));
        return *monitor;
    }

    base::Moment now() { return time.clock().moment(); }

    netcore::UDPView view(base::Bytes bytes, const std::string& from, std::uint16_t sourcePort = 6454) {
        netcore::UDPView packet;
        packet.data = bytes;
        packet.source = netcore::ipToUInt32(from).value_or(0);
        packet.sourcePort = sourcePort;
        packet.interfaceIndex = 7;
        packet.time = now();
        return packet;
    }
    void artDmx(int universe, const std::string& from, std::uint8_t value = 0) {
        const std::vector<std::uint8_t> data(512, value);
        const auto bytes = netcore::DMXPackets::artDmx(universe, 1, data);
        monitor->intake().packets.handleArtNet(view(bytes, from));
    }
    void sacn(int universe, const std::string& cid, const std::string& name, std::uint8_t priority, bool terminated = false) {
        const std::vector<std::uint8_t> data(512), id(cid.begin(), cid.end());
        const auto bytes = netcore::DMXPackets::sacn(
            {.universe = universe, .data = data, .cid = id, .sourceName = name, .priority = priority, .terminated = terminated});
        monitor->intake().packets.handleSACN(view(bytes, "10.0.0.9", 5568));
    }

    /// The log, oldest first: "info: text".
    std::vector<std::string> lines() const {
        std::vector<std::string> lines;
        for (const auto& event : *monitor->events())
            lines.insert(lines.begin(), std::string(word(event.level)) + ": " + event.text);
        return lines;
    }
    std::size_t count(const std::string& line) const {
        std::size_t count = 0;
        for (const auto& other : lines()) count += other == line;
        return count;
    }

    TestLoop time;
    SettingsStore settings;
    std::optional<base::BackgroundPool> pool{std::in_place, "test.pool", 2};
    AlarmOutlets outlets;
    NetworkPorts ports{.artnet = 0, .sacn = 0, .ma3 = 0, .ma2 = {}, .ptpEvent = 0, .ptpGeneral = 0};
    std::vector<netcore::NetInterface> interfaces{adapter("none7", 7, "10.0.0.1")};
    std::vector<netcore::ARPRow> neighbours;
    std::optional<netcore::Ping::Answers> answers = netcore::Ping::Answers();
    NetworkSeams seams;
    bool capture = false, loopbackOnly = false;
    bool watchAdapters = false;                                   // the system's own adapters: for a test in a network of its own
    bool noInterfaces = false;                                    // the system does not answer
    std::atomic<int> listings = 0;                                // how often the adapters were asked for
    base::Mutex mutex;                                            // an answer of the system waits for it
    std::vector<std::string> swept KESTRELYNE_GUARDED_BY(mutex);  // addresses of the last round
    base::Seconds sweepTimeout KESTRELYNE_GUARDED_BY(mutex){};
    /// By address; whoever is not here is silent. Read on the pool while the test waits.
    std::map<std::string, std::shared_ptr<netcore::FakeSNMPTarget>> agents;
    std::shared_ptr<const netcore::SNMPTarget> slow;  // asked instead of all of them
    std::vector<std::string> asked;                   // whom a round went to, in its order
    std::vector<netcore::LocalUPS::Entry> localUPS;
    std::unique_ptr<NetworkMonitor> monitor;

private:
    static std::shared_ptr<netcore::FakeSNMPTarget> makeSilent() {
        auto target = std::make_shared<netcore::FakeSNMPTarget>();
        target->failAll();
        return target;
    }
    std::shared_ptr<netcore::FakeSNMPTarget> silent = makeSilent();
};

}  // namespace kestrelyne
