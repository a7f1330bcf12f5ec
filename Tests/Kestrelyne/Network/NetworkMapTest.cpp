#include "Kestrelyne/Network/NetworkMap.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Findings.hpp"

namespace kestrelyne {

namespace {

using netcore::SwitchStatus;
using netcore::SwitchTopology;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *desk = "02:00:00:00:00:01", *lamp = "02:00:00:00:00:02", *laptop = "02:00:00:00:00:03";

// Puts a network together: switches of eight ports "P1" to "P8" with the numbers 1 to 8.
class Network {
public:
    std::size_t add(const std::string& name, const std::string& ip, const std::string& ownMAC) {
        SwitchStatus status;
        status.name = name;
        for (int i = 1; i <= 8; ++i)
            status.ports.push_back({.index = i, .name = "P" + std::to_string(i), .alias = {}, .up = i != 8, .neighbor = {}});
        statuses_.push_back(status);
        SwitchTopology topology;
        topology.ownMACs = {ownMAC};
        topologies_.push_back(topology);
        facts_.switches.push_back(
            {.id = base::UUID::random(), .name = name, .ip = ip, .online = true, .status = {}, .topology = {}});
        return facts_.switches.size() - 1;
    }
    void learn(std::size_t node, const std::string& mac, int port) { topologies_[node].macPorts[mac] = port; }
    void see(std::size_t node, SwitchTopology::Neighbor neighbor) { topologies_[node].neighbors.push_back(std::move(neighbor)); }
    void cable(std::size_t a, int aPort, std::size_t b, int bPort) {
        see(a, {.port = aPort,
                .systemName = facts_.switches[b].name,
                .portID = "P" + std::to_string(bPort),
                .chassisMAC = *topologies_[b].ownMACs.begin(),
                .managementIP = {}});
        see(b, {.port = bPort,
                .systemName = facts_.switches[a].name,
                .portID = "P" + std::to_string(aPort),
                .chassisMAC = *topologies_[a].ownMACs.begin(),
                .managementIP = {}});
    }
    void address(const std::string& ip, const std::string& mac, double time = 0) {
        facts_.addresses.push_back({.ip = ip, .mac = mac, .interface = "eth0", .firstSeen = at(time), .lastSeen = at(time)});
    }
    SwitchStatus& status(std::size_t node) { return statuses_[node]; }
    NetworkMapFacts& facts() { return facts_; }
    NetworkMap map() {
        for (std::size_t i = 0; i < statuses_.size(); ++i) {
            facts_.switches[i].status = std::make_shared<const SwitchStatus>(statuses_[i]);
            facts_.switches[i].topology = std::make_shared<const SwitchTopology>(topologies_[i]);
        }
        return NetworkMap(facts_);
    }
    std::vector<std::string> links(const NetworkMap& map) const {
        std::vector<std::string> lines;
        for (const auto& link : map.links)
            lines.push_back(name(link.a) + " " + link.aPort + " – " + name(link.b) + " " + link.bPort);
        return lines;
    }
    std::vector<std::vector<std::string>> levels(const NetworkMap& map) const {
        std::vector<std::vector<std::string>> names;
        for (const auto& level : NetworkMap::levels(map.switches, map.links)) {
            names.emplace_back();
            for (const auto& id : level) names.back().push_back(name(id));
        }
        return names;
    }

private:
    std::string name(const base::UUID& id) const {
        for (const auto& each : facts_.switches)
            if (each.id == id) return each.name;
        return {};
    }
    NetworkMapFacts facts_{.switches = {}, .addresses = {}, .displayName = [](const std::string& ip) { return "host " + ip; }};
    std::vector<SwitchStatus> statuses_;
    std::vector<SwitchTopology> topologies_;
};

std::vector<std::string> attachedTo(const NetworkMap& map, std::size_t node, const std::string& port) {
    std::vector<std::string> macs;
    for (const auto& each : map.switches[node].ports)
        if (each.name == port)
            for (const auto& device : each.attached) macs.push_back(device.mac);
    return macs;
}

const NetworkMap::Port& portOf(const NetworkMap& map, std::size_t node, const std::string& name) {
    return *std::ranges::find(map.switches[node].ports, name, &NetworkMap::Port::name);
}

class NetworkMapTest : public testing::Test {
protected:
    Network network;
    const std::size_t foh = network.add("FOH", "10.0.0.2", "0A:00:00:00:00:02");
};

}  // namespace

TEST_F(NetworkMapTest, ADeviceHangsOnThePortThatHasLearntIt) {
    network.learn(foh, desk, 3);
    network.address("10.0.0.50", desk);
    const auto map = network.map();
    ASSERT_EQ(map.switches.size(), 1u);
    EXPECT_EQ(portOf(map, foh, "P3").attached,
              (std::vector<NetworkMap::Attached>{{.mac = desk, .ip = "10.0.0.50", .name = "host 10.0.0.50"}}));
    EXPECT_EQ(portOf(map, foh, "P3").macCount, 1);
    EXPECT_FALSE(portOf(map, foh, "P3").uplink);
    EXPECT_FALSE(portOf(map, foh, "P8").up);
    EXPECT_THAT(map.unplaced, IsEmpty());
}

TEST_F(NetworkMapTest, OneThatNobodySpokeWithIsItsHardwareAddress) {
    network.learn(foh, desk, 3);
    EXPECT_EQ(portOf(network.map(), foh, "P3").attached,
              (std::vector<NetworkMap::Attached>{{.mac = desk, .ip = {}, .name = desk}}));
}

TEST_F(NetworkMapTest, TwoEndsOfOneCableAreOneLink) {
    const auto stage = network.add("Bühne", "10.0.0.3", "0A:00:00:00:00:03");
    network.cable(foh, 7, stage, 1);
    const auto map = network.map();
    EXPECT_THAT(network.links(map), ElementsAre("FOH P7 – Bühne P1"));
    EXPECT_TRUE(portOf(map, foh, "P7").uplink);
    EXPECT_EQ(portOf(map, foh, "P7").lldp, "Bühne");
    EXPECT_TRUE(portOf(map, stage, "P1").uplink);
}

TEST_F(NetworkMapTest, TwoCablesBetweenTwoSwitchesAreTwoLinks) {
    const auto stage = network.add("Bühne", "10.0.0.3", "0A:00:00:00:00:03");
    network.cable(foh, 6, stage, 2);
    network.cable(foh, 7, stage, 1);
    EXPECT_THAT(network.links(network.map()), ElementsAre("FOH P6 – Bühne P2", "FOH P7 – Bühne P1"));
}

TEST_F(NetworkMapTest, ASwitchIsKnownByItsManagementAddressOrItsName) {
    network.add("Bühne", "10.0.0.3", "0A:00:00:00:00:03");
    network.add("Delay", "10.0.0.4", "0A:00:00:00:00:04");
    network.see(foh,
                {.port = 1, .systemName = "other", .portID = "gi1", .chassisMAC = "02:AA:AA:AA:AA:AA", .managementIP = "10.0.0.3"});
    network.see(foh, {.port = 2, .systemName = "DELAY", .portID = "", .chassisMAC = {}, .managementIP = {}});
    network.see(foh, {.port = 3, .systemName = "fremd", .portID = "x", .chassisMAC = {}, .managementIP = "10.9.9.9"});
    const auto map = network.map();
    EXPECT_THAT(network.links(map), ElementsAre("FOH P1 – Bühne gi1", "FOH P2 – Delay ?"));
    EXPECT_FALSE(portOf(map, foh, "P3").uplink);
    EXPECT_EQ(portOf(map, foh, "P3").lldp, "fremd");
}

TEST_F(NetworkMapTest, ASwitchThatSeesItselfHasNoLink) {
    network.see(foh,
                {.port = 1, .systemName = "FOH", .portID = "P2", .chassisMAC = "0A:00:00:00:00:02", .managementIP = "10.0.0.2"});
    EXPECT_THAT(network.map().links, IsEmpty());
}

TEST_F(NetworkMapTest, ThePortOfANeighbourIsFoundByItsLabelOrNumber) {
    const auto stage = network.add("Bühne", "10.0.0.3", "0A:00:00:00:00:03");
    network.status(stage).ports[4].alias = "zum FOH";
    network.see(foh, {.port = 1, .systemName = "Bühne", .portID = "zum FOH", .chassisMAC = {}, .managementIP = {}});
    network.see(foh, {.port = 2, .systemName = "Bühne", .portID = "6", .chassisMAC = {}, .managementIP = {}});
    EXPECT_THAT(network.links(network.map()), ElementsAre("FOH P1 – Bühne P5", "FOH P2 – Bühne P6"));
}

TEST_F(NetworkMapTest, AnAddressThatSeveralSwitchesKnowIsWhereItIsAnEdge) {
    const auto stage = network.add("Bühne", "10.0.0.3", "0A:00:00:00:00:03");
    network.cable(foh, 7, stage, 1);
    network.learn(foh, desk, 2);
    network.learn(foh, lamp, 7);
    network.learn(stage, desk, 1);
    network.learn(stage, lamp, 4);
    const auto map = network.map();
    EXPECT_THAT(attachedTo(map, foh, "P2"), ElementsAre(desk));
    EXPECT_THAT(attachedTo(map, stage, "P4"), ElementsAre(lamp));
    EXPECT_THAT(attachedTo(map, foh, "P7"), IsEmpty());
}

TEST_F(NetworkMapTest, WithoutNeighboursThePortWithTheFewestAddressesHoldsIt) {
    const auto stage = network.add("Bühne", "10.0.0.3", "0A:00:00:00:00:03");
    network.learn(foh, desk, 7);
    network.learn(foh, lamp, 7);
    network.learn(foh, laptop, 7);
    network.learn(stage, desk, 4);
    const auto map = network.map();
    EXPECT_THAT(attachedTo(map, stage, "P4"), ElementsAre(desk));
    EXPECT_THAT(attachedTo(map, foh, "P7"), ElementsAre(lamp, laptop));
}

TEST_F(NetworkMapTest, BehindAPortThatLeadsToASwitchNothingHangs) {
    const auto stage = network.add("Bühne", "10.0.0.3", "0A:00:00:00:00:03");
    network.cable(foh, 7, stage, 1);
    network.learn(foh, desk, 7);
    network.address("10.0.0.50", desk);
    const auto map = network.map();
    EXPECT_THAT(attachedTo(map, foh, "P7"), IsEmpty());
    ASSERT_EQ(map.unplaced.size(), 1u);
    EXPECT_EQ(map.unplaced[0].name, "host 10.0.0.50");
}

TEST_F(NetworkMapTest, MoreThanEightAddressesMakeAnUplinkThatStillHoldsWhatIsNowhereElse) {
    for (int i = 0; i < 8; ++i) network.learn(foh, "02:00:00:00:01:0" + std::to_string(i), 5);
    EXPECT_FALSE(portOf(network.map(), foh, "P5").uplink);
    network.learn(foh, "02:00:00:00:01:09", 5);
    const auto map = network.map();
    EXPECT_TRUE(portOf(map, foh, "P5").uplink);
    EXPECT_EQ(portOf(map, foh, "P5").macCount, 9);
    EXPECT_EQ(portOf(map, foh, "P5").attached.size(), 9u);
}

TEST_F(NetworkMapTest, SwitchesThemselvesHangNowhereAndAreNotMissed) {
    network.add("Bühne", "10.0.0.3", "0A:00:00:00:00:03");
    network.learn(foh, "0A:00:00:00:00:03", 7);
    network.address("10.0.0.3", "0A:00:00:00:00:03");
    network.address("10.0.0.2", "0A:00:00:00:00:99");
    const auto map = network.map();
    EXPECT_THAT(attachedTo(map, foh, "P7"), IsEmpty());
    EXPECT_THAT(map.unplaced, IsEmpty());
}

TEST_F(NetworkMapTest, KnownDevicesWithoutAPlaceAreToldByName) {
    network.address("10.0.0.12", lamp);
    network.address("10.0.0.5", desk);
    const auto map = network.map();
    ASSERT_EQ(map.unplaced.size(), 2u);
    EXPECT_EQ(map.unplaced[0].ip, "10.0.0.5");
    EXPECT_EQ(map.unplaced[1].ip, "10.0.0.12");
}

TEST_F(NetworkMapTest, OfSeveralAddressesTheOneSeenLastNamesADevice) {
    network.learn(foh, desk, 1);
    network.address("10.0.0.5", desk, 1);
    network.address("10.0.0.6", desk, 2);
    EXPECT_EQ(portOf(network.map(), foh, "P1").attached.front().ip, "10.0.0.6");
}

TEST_F(NetworkMapTest, ABundleThatIsNoPortIsShownWithItsNumber) {
    network.learn(foh, desk, 1000);
    EXPECT_THAT(attachedTo(network.map(), foh, "Port 1000"), ElementsAre(desk));
}

TEST_F(NetworkMapTest, PortsOfNeighboursAreCountedFromOneWhereNoIndexFits) {
    for (auto& port : network.status(foh).ports) port.index += 10000;
    network.see(foh, {.port = 3, .systemName = "Pult", .portID = "", .chassisMAC = {}, .managementIP = {}});
    network.see(foh, {.port = 77, .systemName = "Fern", .portID = "", .chassisMAC = {}, .managementIP = {}});
    const auto map = network.map();
    EXPECT_EQ(portOf(map, foh, "P3").lldp, "Pult");
    EXPECT_EQ(portOf(map, foh, "Port 77").lldp, "Fern");
}

TEST_F(NetworkMapTest, ASwitchWithoutTopologyKeepsItsPorts) {
    auto facts = network.facts();
    facts.switches[0].status = std::make_shared<const SwitchStatus>(network.status(foh));
    const NetworkMap map(facts);
    EXPECT_EQ(map.switches[0].ports.size(), 8u);
}

TEST_F(NetworkMapTest, LevelsBeginAtTheSwitchWithTheMostLinks) {
    const auto core = network.add("Kern", "10.0.0.3", "0A:00:00:00:00:03");
    const auto stage = network.add("Bühne", "10.0.0.4", "0A:00:00:00:00:04");
    const auto truss = network.add("Truss", "10.0.0.5", "0A:00:00:00:00:05");
    network.add("Allein", "10.0.0.6", "0A:00:00:00:00:06");
    network.cable(foh, 1, core, 1);
    network.cable(core, 2, stage, 1);
    network.cable(stage, 2, truss, 1);
    const auto map = network.map();
    using Level = std::vector<std::string>;
    EXPECT_THAT(network.levels(map), ElementsAre(Level{"Kern", "Allein"}, Level{"FOH", "Bühne"}, Level{"Truss"}));
}

TEST_F(NetworkMapTest, ARingIsDrawnOnce) {
    const auto a = network.add("A", "10.0.0.3", "0A:00:00:00:00:03"), b = network.add("B", "10.0.0.4", "0A:00:00:00:00:04");
    network.cable(foh, 1, a, 1);
    network.cable(a, 2, b, 1);
    network.cable(b, 2, foh, 2);
    const auto map = network.map();
    using Level = std::vector<std::string>;
    EXPECT_THAT(network.levels(map), ElementsAre(Level{"FOH"}, Level{"A", "B"}));
    EXPECT_EQ(map.links.size(), 3u);
}

TEST(NetworkMap, OfNothingIsEmpty) {
    const NetworkMap map(NetworkMapFacts{});
    EXPECT_THAT(map.switches, IsEmpty());
    EXPECT_THAT(map.unplaced, IsEmpty());
    EXPECT_THAT(NetworkMap::levels(map.switches, map.links), IsEmpty());
}

}  // namespace kestrelyne
