#include "NetCore/TopologyReader.hpp"

#include <gtest/gtest.h>

#include "FakeSNMPTarget.hpp"
#include "NetCore/TopologyRows.hpp"
#include "Support/FakeClock.hpp"

namespace netcore {

namespace {

using namespace TopologyRows;
using Neighbor = SwitchTopology::Neighbor;

const std::string firstMAC = ".2.0.94.16.0.1", secondMAC = ".2.0.94.16.0.255";  // 02:00:5E:10:00:01, 02:00:5E:10:00:FF
const std::string firstText = "02:00:5E:10:00:01", secondText = "02:00:5E:10:00:FF";

SNMPValue octets(std::vector<std::uint8_t> bytes) { return SNMPValue(std::move(bytes)); }

const std::vector<std::uint8_t> switchMAC{0x02, 0x00, 0x5E, 0x10, 0x00, 0x01};

// A neighbour on local port 3 with all its columns.
FakeSNMPTarget withNeighbor() {
    FakeSNMPTarget device;
    const std::string index = ".17600.3.2";
    device.set(OID::remoteSubtype + index, 4);
    device.set(OID::remoteChassis + index, octets(switchMAC));
    device.set(OID::remotePort + index, "gi7");
    device.set(OID::remoteName + index, "buehne-links");
    device.set(OID::remoteManagement + index + ".1.4.10.1.2.3", 1);
    return device;
}

}  // namespace

TEST(TopologyReader, WritesAddressesInUpperCase) {
    EXPECT_EQ(TopologyReader::mac(std::array<std::uint8_t, 6>{0x0A, 0xBC, 0, 1, 0xFF, 0x10}), "0A:BC:00:01:FF:10");
}

TEST(TopologyReader, PlacesLearntAddressesOnInterfaces) {
    FakeSNMPTarget device;
    const FakeClock clock;
    device.set(OID::basePortIfIndex + ".1", 10101);
    device.set(OID::basePortIfIndex + ".2", 10102);
    device.set(OID::learntByVLAN + ".1" + firstMAC, 1);
    device.set(OID::learntByVLAN + ".40" + secondMAC, 2);
    device.set(OID::learntByVLAN + ".40.2.0.94.16.0.7", 2);
    const auto topology = TopologyReader::read(device, clock);
    EXPECT_EQ(topology.macPorts,
              (std::map<std::string, int>{{firstText, 10101}, {secondText, 10102}, {"02:00:5E:10:00:07", 10102}}));
    EXPECT_EQ(topology.macCountPerPort(), (std::map<int, int>{{10101, 1}, {10102, 2}}));
    EXPECT_EQ(topology.time.wall, clock.now());
}

TEST(TopologyReader, ABridgePortThatNoTableNamesKeepsItsNumber) {
    FakeSNMPTarget device;
    device.set(OID::basePortIfIndex + ".1", 10101);
    device.set(OID::basePortIfIndex + ".2", std::int64_t(0));
    device.set(OID::learntByVLAN + ".1" + firstMAC, 2);
    device.set(OID::learntByVLAN + ".1" + secondMAC, 3);
    EXPECT_EQ(TopologyReader::read(device).macPorts, (std::map<std::string, int>{{firstText, 2}, {secondText, 3}}));
}

TEST(TopologyReader, ASwitchWithVLANsIsNotAskedForTheClassicTable) {
    FakeSNMPTarget device;
    device.set(OID::learntByVLAN + ".1" + firstMAC, 1);
    device.set(OID::learnt + secondMAC, 2);
    EXPECT_EQ(TopologyReader::read(device).macPorts, (std::map<std::string, int>{{firstText, 1}}));
    EXPECT_EQ(std::ranges::count(device.walks, OID::learnt), 0);
}

TEST(TopologyReader, TheClassicTableStandsInWhereTheOtherGivesNothing) {
    FakeSNMPTarget device;
    device.set(OID::basePortIfIndex + ".2", 10102);
    device.set(OID::learnt + secondMAC, 2);
    EXPECT_EQ(TopologyReader::read(device).macPorts, (std::map<std::string, int>{{secondText, 10102}}));
    device.set(OID::learntByVLAN + ".1" + firstMAC, std::int64_t(0));
    EXPECT_EQ(TopologyReader::read(device).macPorts, (std::map<std::string, int>{{secondText, 10102}}))
        << "nothing but the switch itself";
    device.fail(OID::learntByVLAN);
    EXPECT_EQ(TopologyReader::read(device).macPorts, (std::map<std::string, int>{{secondText, 10102}})) << "a walk that fails";
}

TEST(TopologyReader, PortZeroIsTheSwitchItselfAndLeftOut) {
    for (const auto& table : {OID::learntByVLAN + ".1", OID::learnt}) {
        FakeSNMPTarget device;
        device.set(table + firstMAC, std::int64_t(0));
        device.set(table + secondMAC, 5);
        EXPECT_EQ(TopologyReader::read(device).macPorts, (std::map<std::string, int>{{secondText, 5}})) << table;
    }
}

TEST(TopologyReader, OfAnAddressInSeveralVLANsTheLastRowCounts) {
    FakeSNMPTarget device;
    device.set(OID::learntByVLAN + ".1" + firstMAC, 4);
    device.set(OID::learntByVLAN + ".40" + firstMAC, 6);
    EXPECT_EQ(TopologyReader::read(device).macPorts, (std::map<std::string, int>{{firstText, 6}}));
}

TEST(TopologyReader, OIDsThatAreNoAddressesAreDropped) {
    for (const char* index : {"", ".1.2.3", ".2.0.94.16.0.1", ".1.2.0.94.16.0.256", ".1.2.0.94.16.0.4294967296", ".1.2.0.94.16.0.x",
                              ".1.2.0.94.16.0.", ".99999999999999999999.2.0.94.16.0.1"}) {
        const std::vector rows{SNMPRow{OID::learntByVLAN + index, SNMPValue(std::int64_t(1))}};
        EXPECT_EQ(learntByVLAN(rows, {}), Learnt()) << index;
    }
    for (const char* index : {"", ".0.94.16.0.1", ".2.0.94.16.0.256"}) {
        const std::vector rows{SNMPRow{OID::learnt + index, SNMPValue(std::int64_t(1))}};
        EXPECT_EQ(learnt(rows, {}), Learnt()) << index;
    }
}

TEST(TopologyReader, PortsThatAreNoPositiveNumbersAreDropped) {
    for (const auto& value : {SNMPValue(std::int64_t(-1)), SNMPValue(std::int64_t(2147483648)), SNMPValue(SNMPValue::NoSuch{}),
                              SNMPValue(SNMPValue::Counter{0xFFFFFFFFFFFFFFFF}), octets({1})}) {
        EXPECT_EQ(learnt(std::vector{SNMPRow{OID::learnt + firstMAC, value}}, {}), Learnt()) << value.text();
        EXPECT_EQ(basePorts(std::vector{SNMPRow{OID::basePortIfIndex + ".1", value}}), BasePorts()) << value.text();
    }
    const std::vector rows{SNMPRow{OID::basePortIfIndex + ".0", SNMPValue(std::int64_t(7))},
                           SNMPRow{OID::basePortIfIndex + ".4294967295", SNMPValue(std::int64_t(7))},
                           SNMPRow{OID::basePortIfIndex, SNMPValue(std::int64_t(7))}};
    EXPECT_EQ(basePorts(rows), BasePorts());
}

TEST(TopologyReader, OwnAddressesAreThoseOfTheInterfacesAndOfTheBridge) {
    FakeSNMPTarget device;
    device.set(OID::physicalAddress + ".1", octets(switchMAC));
    device.set(OID::physicalAddress + ".2", octets({}));
    device.set(OID::physicalAddress + ".3", octets({0, 0, 0, 0, 0, 0}));
    device.set(OID::physicalAddress + ".4", octets({1, 0, 0x5E, 0, 0, 1}));
    device.set(OID::physicalAddress + ".5", octets({1, 2, 3, 4, 5, 6, 7, 8}));
    device.set(OID::physicalAddress + ".6", 7);
    EXPECT_EQ(TopologyReader::read(device).ownMACs, std::set{firstText});
    device.set(OID::bridgeAddress, octets({0x02, 0x00, 0x5E, 0x10, 0x00, 0xFF}));
    EXPECT_EQ(TopologyReader::read(device).ownMACs, (std::set{firstText, secondText}));
}

TEST(TopologyReader, ANeighborHasItsNamePortChassisAndAddress) {
    EXPECT_EQ(TopologyReader::read(withNeighbor()).neighbors,
              (std::vector{Neighbor{3, "buehne-links", "gi7", firstText, "10.1.2.3"}}));
}

TEST(TopologyReader, ANeighborWithoutAManagementAddressKeepsItEmpty) {
    FakeSNMPTarget device;
    device.set(OID::remoteName + ".0.3.1", "pult");
    device.set(OID::remoteName + ".0.4.1", "dimmer");
    device.set(OID::remoteManagement + ".0.4.1.1.4.10.1.2.3", 1);
    EXPECT_EQ(TopologyReader::read(device).neighbors,
              (std::vector{Neighbor{3, "pult", "", {}, {}}, Neighbor{4, "dimmer", "", {}, "10.1.2.3"}}));
}

TEST(TopologyReader, AChassisIsAnAddressByItsSubtypeAlone) {
    struct Row {
        std::int64_t subtype;
        std::vector<std::uint8_t> id;
        std::optional<std::string> expected;
    };
    for (const auto& [subtype, id, expected] : {Row{4, switchMAC, firstText}, Row{7, switchMAC, {}},
                                                Row{5, {1, 10, 0, 0, 1, 9}, {}}, Row{4, {2, 0, 94}, {}}, Row{4, {}, {}}}) {
        auto device = withNeighbor();
        device.set(OID::remoteSubtype + ".17600.3.2", subtype);
        device.set(OID::remoteChassis + ".17600.3.2", octets(id));
        EXPECT_EQ(TopologyReader::read(device).neighbors.at(0).chassisMAC, expected) << subtype << ", " << id.size() << " bytes";
    }
    FakeSNMPTarget untold;
    untold.set(OID::remoteChassis + ".0.3.1", octets(switchMAC));
    EXPECT_EQ(TopologyReader::read(untold).neighbors, (std::vector{Neighbor{3, "", "", {}, {}}})) << "no subtype";
}

TEST(TopologyReader, APortThatIsNoTextIsWrittenAsBytes) {
    auto device = withNeighbor();
    device.set(OID::remotePort + ".17600.3.2", octets({0x02, 0x00, 0x5E, 0x10, 0x00, 0xFF}));
    EXPECT_EQ(TopologyReader::read(device).neighbors.at(0).portID, secondText);
    device.set(OID::remotePort + ".17600.3.2", SNMPValue(SNMPValue::NoSuch{}));
    EXPECT_EQ(TopologyReader::read(device).neighbors.at(0).portID, "");
}

TEST(TopologyReader, OfSeveralManagementAddressesTheFirstIPv4AddressCounts) {
    FakeSNMPTarget device;
    const std::string index = ".0.3.1", address = OID::remoteManagement + index;
    device.set(OID::remoteName + index, "pult");
    device.set(address + ".2.16.254.128.0.0.0.0.0.0.0.0.0.0.0.0.0.1", 1);
    EXPECT_EQ(TopologyReader::read(device).neighbors.at(0).managementIP, std::nullopt) << "IPv6 alone";
    device.set(address + ".1.4.10.1.2.9", 1);
    device.set(address + ".1.4.10.1.2.3", 1);
    EXPECT_EQ(TopologyReader::read(device).neighbors.at(0).managementIP, "10.1.2.3");
}

TEST(TopologyReader, ManagementAddressesMayLackTheirLengthButNothingElse) {
    struct Row {
        const char* index;
        std::optional<std::string> expected;
    };
    for (const auto& [index, expected] :
         {Row{".0.3.1.1.4.10.1.2.3", "10.1.2.3"}, Row{".0.3.1.1.10.1.2.3", "10.1.2.3"}, Row{".0.3.1.1.4.10.1.2", "4.10.1.2"},
          Row{".0.3.1.1.4.10.1.2.3.9", {}}, Row{".0.3.1.1.4.10.1.2.256", {}}, Row{".0.3.1.1.5.10.1.2.3.4", {}}, Row{".0.3.1.1", {}},
          Row{".0.3", {}}, Row{"", {}}, Row{".0.3.1.6.4.10.1.2.3", {}}, Row{".0.3.2.1.4.10.1.2.3", {}},
          Row{".0.4.1.1.4.10.1.2.3", {}}, Row{".0.4294967296.1.1.4.10.1.2.3", {}}}) {
        NeighborRows rows;
        rows.names.push_back({OID::remoteName + ".0.3.1", octets({'a'})});
        rows.management.push_back({OID::remoteManagement + index, SNMPValue(std::int64_t(1))});
        EXPECT_EQ(neighbors(rows).at(0).managementIP, expected) << index;
    }
}

TEST(TopologyReader, ANeighborIsKnownByLocalPortAndRemoteIndex) {
    NeighborRows rows;
    rows.names = {{OID::remoteName + ".5.3.1", octets({'a'})}, {OID::remoteName + ".9.3.2", octets({'b'})}};
    // The time mark of another column may be another one.
    rows.ports = {{OID::remotePort + ".7.3.1", octets({'1'})}, {OID::remotePort + ".9.4.2", octets({'2'})}};
    EXPECT_EQ(neighbors(rows),
              (std::vector{Neighbor{3, "a", "1", {}, {}}, Neighbor{3, "b", "", {}, {}}, Neighbor{4, "", "2", {}, {}}}));
}

TEST(TopologyReader, NeighborsOfBrokenRowsAreDropped) {
    for (const char* index :
         {"", ".1", ".3.1", ".0.0.1", ".0.4294967295.1", ".0.4294967296.1", ".0.3.99999999999999999999", ".0.x.1"}) {
        NeighborRows rows;
        rows.names = {{OID::remoteName + index, octets({'a'})}};
        rows.chassisSubtypes = {{OID::remoteSubtype + index, SNMPValue(std::int64_t(4))}};
        EXPECT_EQ(neighbors(rows), std::vector<Neighbor>()) << index;
    }
}

TEST(TopologyReader, ASwitchWithoutTheseTablesIsNoFailure) {
    const FakeSNMPTarget device;
    const auto topology = TopologyReader::read(device);
    EXPECT_TRUE(topology.macPorts.empty());
    EXPECT_TRUE(topology.neighbors.empty());
    EXPECT_TRUE(topology.ownMACs.empty());
}

TEST(TopologyReader, OnlyTheFirstQueryFailsTheReading) {
    FakeSNMPTarget silent;
    silent.failAll();
    EXPECT_THROW(TopologyReader::read(silent), NetError);
    EXPECT_EQ(silent.walks, std::vector{OID::basePortIfIndex}) << "nobody waits for the others";

    auto device = withNeighbor();
    device.set(OID::learntByVLAN + ".1" + firstMAC, 1);
    for (const auto& later : {OID::learntByVLAN, OID::learnt, OID::physicalAddress, OID::bridgeAddress, OID::remoteName,
                              OID::remotePort, OID::remoteChassis, OID::remoteSubtype, OID::remoteManagement})
        device.fail(later);
    EXPECT_NO_THROW(TopologyReader::read(device));
    device.fail(OID::basePortIfIndex);
    EXPECT_THROW(TopologyReader::read(device), NetError);
}

TEST(TopologyReader, EveryWalkHasItsLimit) {
    const FakeSNMPTarget device;
    TopologyReader::read(device);
    using namespace TopologyReader;
    EXPECT_EQ(device.walks,
              (std::vector{OID::basePortIfIndex, OID::learntByVLAN, OID::learnt, OID::physicalAddress, OID::remoteName,
                           OID::remotePort, OID::remoteChassis, OID::remoteSubtype, OID::remoteManagement}));
    EXPECT_EQ(device.limits, (std::vector{mostPorts, mostLearnt, mostLearnt, mostPorts, mostNeighbors, mostNeighbors, mostNeighbors,
                                          mostNeighbors, mostNeighbors}));
    EXPECT_EQ(device.gets, (std::vector<std::vector<std::string>>{{OID::bridgeAddress}}));
}

}  // namespace netcore
