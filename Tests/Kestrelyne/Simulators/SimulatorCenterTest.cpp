#include "Kestrelyne/Simulators/SimulatorCenter.hpp"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "Base/FileDescriptor.hpp"
#include "Support/TestLoop.hpp"

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

class SimulatorCenterTest : public testing::Test {
protected:
    TestLoop loop{base::SystemClock::shared()};
    base::StoreWriter writer;
    SettingsStore settings;
    MeteringServices services{settings, writer, base::SystemClock::shared()};
    DeviceStore store{services};
    Port port;
};

}  // namespace

TEST_F(SimulatorCenterTest, TheMeterIsPolledOverTheRealProtocolAndGoesWithTheSwitch) {
    port.socket.reset();
    SimulatorCenter center(port.number);
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
    center.stopAll(store);
    EXPECT_FALSE(*center.meterOn());
    EXPECT_EQ(store.devices()->size(), 1u);
}

TEST_F(SimulatorCenterTest, FaultsReachTheMeter) {
    port.socket.reset();
    SimulatorCenter center(port.number);
    center.setMeterFaults({.phaseLoss = true});
    center.setMeter(true, store);
    auto* monitor = store.monitor(store.devices()->back().id);
    ASSERT_TRUE(loop.runUntil([&] { return monitor->status()->kind == MonitorStatus::Kind::online; }));
    EXPECT_EQ(monitor->values()->get(19004), 0);
    EXPECT_TRUE(center.meterFaults()->phaseLoss);
    center.stopAll(store);
}

TEST_F(SimulatorCenterTest, ASilentMeterEndsInATimeout) {
    port.socket.reset();
    SimulatorCenter center(port.number);
    center.setMeterSilent(true);
    center.setMeter(true, store);
    auto device = store.devices()->back();
    device.timeout = 0.05;
    store.update(device);
    auto* monitor = store.monitor(device.id);
    ASSERT_TRUE(loop.runUntil([&] { return monitor->status()->kind == MonitorStatus::Kind::error; }));
    EXPECT_EQ(monitor->status()->reason, "Zeitüberschreitung – Gerät antwortet nicht");
    center.stopAll(store);
}

TEST_F(SimulatorCenterTest, ATakenPortIsToldAndNothingIsAdded) {
    SimulatorCenter center(port.number);
    center.setMeter(true, store);
    EXPECT_FALSE(*center.meterOn());
    EXPECT_EQ(store.devices()->size(), 1u);
    EXPECT_TRUE(center.errors()->at("meter").starts_with("Port " + std::to_string(port.number) + " belegt: "))
        << center.errors()->at("meter");
    port.socket.reset();
    center.setMeter(true, store);
    EXPECT_TRUE(*center.meterOn());
    EXPECT_TRUE(center.errors()->empty());
    center.stopAll(store);
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
    center.cleanupLeftovers(store);
    EXPECT_EQ(store.device(leftover.id), nullptr);
    EXPECT_EQ(store.device(second.id), nullptr);
    EXPECT_NE(store.device(elsewhere.id), nullptr);
    EXPECT_NE(store.device(otherPort.id), nullptr);
    EXPECT_EQ(changes, 1);
    center.cleanupLeftovers(store);
    EXPECT_EQ(changes, 1) << "nothing to remove, nothing to save";
}
