#include "Kestrelyne/Simulators/SimulatorCenter.hpp"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include "Base/FileDescriptor.hpp"
#include "Support/TestLoop.hpp"
#include "Support/WithoutSockets.hpp"

using namespace kestrelyne;

namespace {

// A port that was free a moment ago, and a socket that may keep it taken.
struct Port {
    base::FileDescriptor socket{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    std::uint16_t number = 0;
    Port() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address);
        listen(socket.get(), 1);
        socklen_t length = sizeof address;
        getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &length);
        number = ntohs(address.sin_port);
    }
};

// A datagram port of loopback that hears the lighting simulator.
struct Listener {
    base::FileDescriptor socket{::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    std::uint16_t number = 0;
    Listener() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address);
        socklen_t length = sizeof address;
        getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &length);
        number = ntohs(address.sin_port);
    }
    bool hears(int milliseconds) const {
        pollfd waited{socket.get(), POLLIN, 0};
        if (poll(&waited, 1, milliseconds) != 1) return false;
        std::array<std::uint8_t, 2048> bytes;
        return recv(socket.get(), bytes.data(), bytes.size(), 0) > 0;
    }
    void drain() const {
        while (hears(0)) {}
    }
};

// Free a moment ago.
std::uint16_t freeDatagramPort() { return Listener().number; }

class SimulatorCenterTest : public testing::Test {
protected:
    TestLoop loop{base::SystemClock::shared()};
    base::StoreWriter writer;
    SettingsStore settings;
    MeteringServices services{settings, writer, base::SystemClock::shared()};
    DeviceStore store{services};
    base::BackgroundPool pool{"test.pool", 2};
    // Not running: it only holds the list of devices, but for the tests that start it.
    NetworkMonitor network{{.settings = settings,
                            .pool = pool,
                            .clock = base::SystemClock::shared(),
                            .outlets = services.outlets,
                            .ports = {.artnet = 0, .sacn = 0, .ma3 = 0, .ma2 = {}, .ptpEvent = 0, .ptpGeneral = 0},
                            .listInterfaces = [] { return std::vector<netcore::NetInterface>(); },
                            .readARPTable = [] { return std::optional<std::vector<netcore::ARPRow>>(); },
                            .sweep = [](const auto&, base::Seconds) { return std::optional<netcore::Ping::Answers>(); },
                            .capture = false,
                            .bonjour = false,
                            .watchAdapters = false,
                            .loopbackOnly = true}};
    Port port;
};

}  // namespace

TEST_F(SimulatorCenterTest, TheMeterIsPolledOverTheRealProtocolAndGoesWithTheSwitch) {
    port.socket.reset();
    SimulatorCenter center({.meter = port.number});
    center.setMeter(true, store);
    center.setMeter(true, store);
    EXPECT_TRUE(*center.meterOn());
    EXPECT_TRUE(center.anyOn());
    ASSERT_EQ(store.devices()->size(), 2u);
    EXPECT_EQ(store.devices()->back().name, "SIM UMG 96RM");
    auto* monitor = store.monitor(store.devices()->back().id);
    ASSERT_TRUE(loop.runUntil([&] { return monitor->status()->kind == MonitorStatus::Kind::online; }));
    EXPECT_NEAR(*monitor->values()->get(19000), 230, 5);
    EXPECT_NEAR(*monitor->values()->get(802), 2.5, 1.5);
    center.stopAll(store, network);
    EXPECT_FALSE(*center.meterOn());
    EXPECT_EQ(store.devices()->size(), 1u);
}

TEST_F(SimulatorCenterTest, FaultsReachTheMeter) {
    port.socket.reset();
    SimulatorCenter center({.meter = port.number});
    center.setMeterFaults({.phaseLoss = true});
    center.setMeter(true, store);
    auto* monitor = store.monitor(store.devices()->back().id);
    ASSERT_TRUE(loop.runUntil([&] { return monitor->status()->kind == MonitorStatus::Kind::online; }));
    EXPECT_EQ(monitor->values()->get(19004), 0);
    EXPECT_TRUE(center.meterFaults()->phaseLoss);
    center.stopAll(store, network);
}

TEST_F(SimulatorCenterTest, ASilentMeterEndsInATimeout) {
    port.socket.reset();
    SimulatorCenter center({.meter = port.number});
    center.setMeterSilent(true);
    center.setMeter(true, store);
    auto device = store.devices()->back();
    device.timeout = 0.05;
    store.update(device);
    auto* monitor = store.monitor(device.id);
    ASSERT_TRUE(loop.runUntil([&] { return monitor->status()->kind == MonitorStatus::Kind::error; }));
    EXPECT_EQ(monitor->status()->reason, "Zeitüberschreitung – Gerät antwortet nicht");
    center.stopAll(store, network);
}

TEST_F(SimulatorCenterTest, ATakenPortIsToldAndNothingIsAdded) {
    SimulatorCenter center({.meter = port.number});
    center.setMeter(true, store);
    EXPECT_FALSE(*center.meterOn());
    EXPECT_EQ(store.devices()->size(), 1u);
    EXPECT_TRUE(center.errors()->at("meter").starts_with("Port " + std::to_string(port.number) + " belegt: "))
        << center.errors()->at("meter");
    port.socket.reset();
    center.setMeter(true, store);
    EXPECT_TRUE(*center.meterOn());
    EXPECT_TRUE(center.errors()->empty());
    center.stopAll(store, network);
}

TEST_F(SimulatorCenterTest, LeftoversOfAKilledRunGoAndRealMetersStay) {
    Device leftover, second, elsewhere, otherPort;
    leftover.host = second.host = "127.0.0.1";
    leftover.port = second.port = 1502;
    elsewhere.host = "10.0.0.7";
    elsewhere.port = 1502;
    otherPort.host = "127.0.0.1";
    otherPort.port = 502;
    for (const auto& device : {leftover, elsewhere, second, otherPort}) store.add(device);
    int changes = 0;
    const auto subscription = store.devices().observe([&changes] { ++changes; });
    const SimulatorCenter center;
    center.cleanupLeftovers(store, network);
    EXPECT_EQ(store.device(leftover.id), nullptr);
    EXPECT_EQ(store.device(second.id), nullptr);
    EXPECT_NE(store.device(elsewhere.id), nullptr);
    EXPECT_NE(store.device(otherPort.id), nullptr);
    EXPECT_EQ(changes, 1);
    center.cleanupLeftovers(store, network);
    EXPECT_EQ(changes, 1) << "nothing to remove, nothing to save";
}

TEST_F(SimulatorCenterTest, LightingIsHeardWhileItIsOn) {
    const Listener artnet, sacn;
    SimulatorCenter center({.meter = port.number, .lighting = {.artnet = artnet.number, .sacn = sacn.number}});
    EXPECT_FALSE(*center.lightingOn());
    center.setLightingConfig({.artnetUniverses = 1, .sacnUniverses = 1});
    EXPECT_FALSE(sacn.hears(80)) << "settings alone switch nothing on";
    center.setLighting(true);
    center.setLighting(true);
    EXPECT_TRUE(*center.lightingOn());
    EXPECT_TRUE(center.anyOn());
    EXPECT_TRUE(artnet.hears(5000));
    EXPECT_TRUE(sacn.hears(5000));
    EXPECT_EQ(store.devices()->size(), 1u) << "nothing is added anywhere";
    center.stopAll(store, network);
    EXPECT_FALSE(*center.lightingOn());
    EXPECT_FALSE(center.anyOn());
    sacn.drain();
    int late = 0;  // a tick that was under way
    while (late < 3 && sacn.hears(80)) ++late;
    EXPECT_LT(late, 3);
}

TEST_F(SimulatorCenterTest, LightingTakesOverSettingsWhileItRuns) {
    const Listener artnet, sacn;
    SimulatorCenter center({.meter = port.number, .lighting = {.artnet = artnet.number, .sacn = sacn.number}});
    center.setLightingConfig({.artnetUniverses = 0, .sacnUniverses = 0, .faults = {.timecodeStopped = true}});
    center.setLighting(true);
    EXPECT_FALSE(sacn.hears(80));
    center.setLightingConfig({.artnetUniverses = -3, .sacnUniverses = 2, .faults = {.sacnConflict = true}});
    EXPECT_EQ(*center.lighting(),
              (netcore::LightingConfig{.artnetUniverses = 0, .sacnUniverses = 2, .faults = {.sacnConflict = true}}));
    EXPECT_TRUE(sacn.hears(5000));
    center.setLighting(false);
    center.setLighting(true);
    EXPECT_EQ(center.lighting()->sacnUniverses, 2) << "kept while it is off";
    center.stopAll(store, network);
}

TEST_F(SimulatorCenterTest, LightingThatCannotBeginIsTold) {
    SimulatorCenter center({.meter = port.number});
    if (!withoutSockets([&] { center.setLighting(true); })) GTEST_SKIP() << "this system filters no system calls";
    EXPECT_FALSE(*center.lightingOn());
    ASSERT_TRUE(center.errors()->contains("light"));
    EXPECT_TRUE(center.errors()->at("light").starts_with("Netzwerkfehler: ")) << center.errors()->at("light");
    const Listener artnet, sacn;
    SimulatorCenter other({.meter = port.number, .lighting = {.artnet = artnet.number, .sacn = sacn.number}});
    other.setLighting(true);
    EXPECT_TRUE(other.errors()->empty());
    EXPECT_TRUE(*other.lightingOn());
}

TEST_F(SimulatorCenterTest, TheUPSIsAskedOverTheRealProtocolAndGoesWithTheSwitch) {
    SimulatorCenter center({.ups = freeDatagramPort()});
    center.setUPS(true, network);
    center.setUPS(true, network);
    EXPECT_TRUE(*center.upsOn());
    EXPECT_TRUE(center.anyOn());
    ASSERT_EQ(network.config()->devices.size(), 1u) << "on twice leaves one";
    const auto device = network.config()->devices.front();
    EXPECT_EQ(device.name, "SIM USV");
    EXPECT_EQ(device.ip, "127.0.0.1");
    EXPECT_EQ(device.role, NetDeviceRole::ups);
    EXPECT_TRUE(device.snmp);
    EXPECT_EQ(device.community, "public");
    EXPECT_EQ(device.notes, "Simulator – wird beim Abschalten entfernt");
    network.start();
    const auto ups = [&] {
        return network.snmp().reading(device.id) != nullptr ? network.snmp().reading(device.id)->ups : nullptr;
    };
    ASSERT_TRUE(loop.runUntil([&] { return ups() != nullptr; }));
    EXPECT_EQ(ups()->model, "SIM USV 10 kVA");
    EXPECT_EQ(ups()->source, netcore::UPSStatus::Source::online);
    network.stop();
    center.stopAll(store, network);
    EXPECT_FALSE(*center.upsOn());
    EXPECT_TRUE(network.config()->devices.empty());
}

TEST_F(SimulatorCenterTest, AFaultOfTheUPSIsAnAlarm) {
    SimulatorCenter center({.ups = freeDatagramPort()});
    center.setUPSFaults({.onBattery = true});
    center.setUPS(true, network);
    network.start();
    ASSERT_TRUE(loop.runUntil([&] { return network.events()->front().level == NetEvent::Level::alarm; }));
    EXPECT_TRUE(network.events()->front().text.starts_with("SIM USV: USV läuft auf Batterie – Restlaufzeit 3"))
        << network.events()->front().text;
    network.stop();
    center.stopAll(store, network);
}

TEST_F(SimulatorCenterTest, ATakenPortOfTheUPSIsTold) {
    const Listener taken;
    SimulatorCenter center({.ups = taken.number});
    center.setUPS(true, network);
    EXPECT_FALSE(*center.upsOn());
    ASSERT_TRUE(center.errors()->contains("ups"));
    EXPECT_TRUE(center.errors()->at("ups").starts_with("Port " + std::to_string(taken.number) + " belegt: "))
        << center.errors()->at("ups");
    EXPECT_TRUE(network.config()->devices.empty());
}

TEST_F(SimulatorCenterTest, LeftoversOfTheUPSGoAndARealOneStays) {
    network.upsert({.name = "SIM USV", .ip = "127.0.0.1", .role = NetDeviceRole::ups, .snmp = true, .snmpPort = 1161});
    network.upsert({.name = "Echt", .ip = "10.0.0.3", .role = NetDeviceRole::ups, .snmp = true, .snmpPort = 1161});
    network.upsert({.name = "Eigener Agent", .ip = "127.0.0.1", .snmp = true, .snmpPort = 161});
    SimulatorCenter().cleanupLeftovers(store, network);
    ASSERT_EQ(network.config()->devices.size(), 2u);
    EXPECT_EQ(network.config()->devices[0].name, "Echt");
    EXPECT_EQ(network.config()->devices[1].name, "Eigener Agent");
}
