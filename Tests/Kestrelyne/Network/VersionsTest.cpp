#include "Kestrelyne/Network/Versions.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MonitorBench.hpp"
#include "NetCore/ArtNetPoll.hpp"

namespace kestrelyne {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Versions, OfANodeAreTheTwoHalvesOfItsFirmware) {
    ArtNodeState node;
    node.ip = "10.0.0.5";
    node.shortName = "Node";
    node.firmware = 0x0217;
    EXPECT_THAT(nodeVersions({node}), ElementsAre(VersionInfo{"Node", "10.0.0.5", "Art-Net", "Firmware 2.23"}));
}

TEST(Versions, OfASwitchAreItsMakerAndDescription) {
    const NetDevice known{.name = "FOH", .ip = "10.0.0.2"}, plain{.name = "Bühne", .ip = "10.0.0.3"},
        mute{.name = "Stumm", .ip = "10.0.0.4"}, unread{.name = "Neu", .ip = "10.0.0.5"};
    const auto read = [](std::string vendor, std::string description) {
        netcore::SwitchStatus status;
        status.vendor = std::move(vendor);
        status.description = std::move(description);
        return DeviceReading{.snmp = std::make_shared<const netcore::SwitchStatus>(status)};
    };
    const DeviceReadings readings{
        {known.id, read("Luminex", "GigaCore 26i")}, {plain.id, read("", "RouterOS")}, {mute.id, read("Cisco", "")}};
    EXPECT_THAT(switchVersions({known, plain, mute, unread}, readings),
                ElementsAre(VersionInfo{"FOH", "10.0.0.2", "SNMP", "Luminex · GigaCore 26i"},
                            VersionInfo{"Bühne", "10.0.0.3", "SNMP", "RouterOS"}));
}

TEST(Versions, OfAUPSAreMakerAndModel) {
    const NetDevice device{.name = "USV", .ip = "10.0.0.3", .role = NetDeviceRole::ups};
    netcore::UPSStatus status;
    status.manufacturer = "APC";
    status.model = "Smart-UPS 750";
    const DeviceReadings readings{{device.id, {.ups = std::make_shared<const netcore::UPSStatus>(status)}}};
    EXPECT_THAT(upsVersions({device}, readings), ElementsAre(VersionInfo{"USV", "10.0.0.3", "SNMP (USV)", "APC Smart-UPS 750"}));
    EXPECT_THAT(upsVersions({device}, {}), IsEmpty());
}

TEST(Versions, OfAServiceAreTheKeysThatTellOne) {
    const BonjourBrowser::Service telling{.type = "_osc._udp.",
                                          .name = "Pult",
                                          .ips = {"10.0.0.7", "10.0.0.8"},
                                          .txt = {{"swVersion", "3.2"},
                                                  {"FW", "7"},
                                                  {"Model", "X"},
                                                  {"sw", "a"},
                                                  {"MF", "b"},
                                                  {"firmware_date", "c"},
                                                  {"swx", "no"},
                                                  {"path", "/"}}};
    const BonjourBrowser::Service silent{.type = "_http._tcp.", .name = "Web", .txt = {{"path", "/"}}};
    const BonjourBrowser::Service nowhere{.type = "_ndi._tcp.", .name = "Cam", .txt = {{"vers", "1"}}};
    EXPECT_THAT(serviceVersions({telling, silent, nowhere}),
                ElementsAre(VersionInfo{"Pult", "10.0.0.7", "Bonjour osc",
                                        "FW=7 · MF=b · Model=X · firmware_date=c · sw=a · swVersion=3.2"},
                            VersionInfo{"Cam", "", "Bonjour ndi", "vers=1"}));
}

TEST(Versions, OfAStationAreAllItTells) {
    MANetStation station;
    station.ip = "10.0.0.9";
    station.texts = {"grandMA3", "x"};
    station.versions = {"1.9.3.3", "2.0.0.4"};
    auto nameless = station;
    nameless.texts.clear();
    auto silent = station;
    silent.versions.clear();
    EXPECT_THAT(stationVersions({station, nameless, silent}),
                ElementsAre(VersionInfo{"grandMA3", "10.0.0.9", "MA-Net3", "1.9.3.3, 2.0.0.4"},
                            VersionInfo{"10.0.0.9", "10.0.0.9", "MA-Net3", "1.9.3.3, 2.0.0.4"}));
}

TEST(Versions, StandByDeviceThenSource) {
    MonitorBench bench;
    auto agent = std::make_shared<netcore::FakeSNMPTarget>();
    agent->set("1.3.6.1.2.1.1.1.0", "GigaCore");
    bench.agents = {{"10.0.0.2", agent}};
    auto& monitor = bench.make();
    const NetDevice device{.name = "Node B", .ip = "10.0.0.2", .role = NetDeviceRole::networkSwitch, .snmp = true};
    monitor.upsert(device);
    monitor.start();
    for (const auto* name : {"Node B", "Node A"}) {
        const std::string ip = name == std::string("Node B") ? "10.0.0.9" : "10.0.0.8";
        const auto reply = netcore::ArtNet::pollReplyPacket({.ip = ip, .shortName = name, .universes = {}, .bindIndex = 1});
        monitor.intake().packets.handleArtNet(bench.view(reply, ip));
    }
    monitor.refreshPackets();
    ASSERT_TRUE(bench.time.runUntil([&] { return monitor.snmp().reading(device.id) != nullptr; }));
    std::vector<std::string> order;
    for (const auto& info : versions(monitor)) order.push_back(info.device + "/" + info.source);
    EXPECT_THAT(order, ElementsAre("Node A/Art-Net", "Node B/Art-Net", "Node B/SNMP"));
    monitor.stop();
}

}  // namespace kestrelyne
