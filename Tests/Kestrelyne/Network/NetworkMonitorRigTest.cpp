// What the monitor gives to the lighting rig: the fixtures' transport, the nodes of a universe, the test light's own frames.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <map>

#include "Base/FileDescriptor.hpp"
#include "MonitorBench.hpp"
#include "NetCore/ArtNetPoll.hpp"

namespace kestrelyne {

using namespace std::chrono_literals;

namespace {

class NetworkMonitorRig : public testing::Test, protected MonitorBench {};

}  // namespace

TEST_F(NetworkMonitorRig, KnowsItsTestLightByItsPort) {
    make();
    NetDevice desk;
    desk.name = "Pult";
    desk.ip = "127.0.0.1";
    monitor->upsert(desk);
    monitor->setTestPort(41000);
    const std::vector<std::uint8_t> data(512);
    const auto frame = netcore::DMXPackets::artDmx(1, 1, data);
    monitor->intake().packets.handleArtNet(view(frame, "127.0.0.1", 41000));
    monitor->intake().packets.handleArtNet(view(frame, "127.0.0.1", 41001));
    std::map<std::string, bool> own;
    for (const auto& source : monitor->dmxSources({NetProtocol::artnet, 1})) own[source.name] = source.own;
    EXPECT_EQ(own, (std::map<std::string, bool>{{"Brantholme Test", true}, {"Pult", false}}));
}

TEST_F(NetworkMonitorRig, TellsTheNodesThatPutOutAUniverse) {
    make().start();
    const auto reply = [this](const std::string& ip, const std::vector<int>& universes) {
        const auto bytes = netcore::ArtNet::pollReplyPacket({.ip = ip, .shortName = "Node", .universes = universes});
        monitor->intake().packets.handleArtNet(view(bytes, ip));
    };
    reply("10.0.0.50", {1, 2});
    reply("10.0.0.9", {2});
    monitor->refreshPackets();
    EXPECT_EQ(monitor->nodesOf(2), (std::vector<std::string>{"10.0.0.9", "10.0.0.50"}));
    EXPECT_EQ(monitor->nodesOf(1), std::vector<std::string>{"10.0.0.50"});
    EXPECT_EQ(monitor->nodesOf(3), std::vector<std::string>());
}

TEST_F(NetworkMonitorRig, HandsWhatArrivesOfRDMToItsScannerAndForgetsItWithTheLight) {
    make();
    const netcore::ArtNet::TodData table{.universe = 3, .uids = {{.manufacturer = 0x1234, .device = 7}}};
    monitor->rdm().transport()->handleTod(table, "10.0.0.50");
    EXPECT_EQ(monitor->rdm().transport()->devices("10.0.0.50", 3).size(), 1u);
    monitor->clearLightingData();
    EXPECT_TRUE(monitor->rdm().transport()->devices("10.0.0.50", 3).empty());
}

TEST_F(NetworkMonitorRig, AsksNodesForTheirDevicesAtThePortOfTheSettings) {
    const base::FileDescriptor node(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    inet_pton(AF_INET, "127.0.0.50", &address.sin_addr);
    socklen_t length = sizeof address;
    ASSERT_EQ(bind(node.get(), reinterpret_cast<const sockaddr*>(&address), length), 0);
    ASSERT_EQ(getsockname(node.get(), reinterpret_cast<sockaddr*>(&address), &length), 0);
    settings.setText("debug.artnetPort", std::to_string(ntohs(address.sin_port)));
    make().start();
    const std::vector<int> universes = {3};
    const auto reply = netcore::ArtNet::pollReplyPacket({.ip = "127.0.0.50", .shortName = "Node", .universes = universes});
    monitor->intake().packets.handleArtNet(view(reply, "127.0.0.50"));
    monitor->refreshPackets();
    monitor->rdm().startScan();
    time.advance(5s);
    std::array<std::uint8_t, 600> bytes{};
    const auto received = recv(node.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    const auto wanted = netcore::ArtNet::todRequest(3);
    ASSERT_EQ(received, std::ssize(wanted));
    EXPECT_TRUE(std::equal(wanted.begin(), wanted.end(), bytes.begin()));
    EXPECT_EQ(count("info: RDM-Scan: 0 Geräte an 1 Nodes"), 1u);
}

}  // namespace kestrelyne
