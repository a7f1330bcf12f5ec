#include "NetCore/SwitchReader.hpp"

#include <limits>

#include "NetCore/SwitchFixture.hpp"
#include "Support/FakeClock.hpp"

using namespace netcore;
using namespace netcore::switches;

// System group

TEST(SwitchReader, ReadsASwitchThatHasNothingButItsName) {
    auto target = switchOf(anyMaker);
    FakeClock clock;
    const auto begun = clock.moment();
    const auto status = SwitchReader::read(target, {}, clock);
    EXPECT_EQ(status.name, "sw-foh");
    EXPECT_EQ(status.description, "Managed switch");
    EXPECT_EQ(status.uptime, 1234.5);
    EXPECT_EQ(status.vendor, "");
    EXPECT_TRUE(status.ports.empty());
    EXPECT_TRUE(status.temperatures.empty());
    EXPECT_TRUE(status.fans.empty());
    EXPECT_TRUE(status.powerSupplies.empty());
    EXPECT_TRUE(status.custom.empty());
    EXPECT_EQ(status.poeBudgetW, std::nullopt);
    EXPECT_EQ(status.poeUsedW, std::nullopt);
    EXPECT_EQ(status.cpuPercent, std::nullopt);
    EXPECT_EQ(status.software, "");
    EXPECT_EQ(status.serial, "");
    EXPECT_EQ(status.time.wall, begun.wall);
    EXPECT_EQ(status.time.steady, begun.steady);
}

TEST(SwitchReader, AsksForTheSystemGroupInOneRequest) {
    auto target = switchOf(anyMaker);
    read(target);
    ASSERT_EQ(target.gets.size(), 1u);
    EXPECT_EQ(target.gets[0],
              (std::vector<std::string>{"1.3.6.1.2.1.1.1.0", "1.3.6.1.2.1.1.2.0", "1.3.6.1.2.1.1.3.0", "1.3.6.1.2.1.1.5.0"}));
    for (const auto limit : target.limits) EXPECT_EQ(limit, 2000);
}

TEST(SwitchReader, FailsOnlyWithTheSystemGroup) {
    auto silent = switchOf(anyMaker);
    silent.failAll();
    EXPECT_THROW(read(silent), NetError);
    EXPECT_TRUE(silent.walks.empty());
}

TEST(SwitchReader, TakesEveryOtherFailureForAnEmptyTable) {
    auto target = withPorts({1});
    // Signs of all makers, so that every query is made.
    target.set("1.3.6.1.2.1.1.2.0", SNMPValue(SNMPValue::OID{ciscoBusiness}));
    target.set("1.3.6.1.2.1.1.1.0", "Netgear Luminex");
    const std::vector<ExtraOID> extra{{.name = "X", .oid = "1.3.6.1.4.1.99.1"}};
    const auto first = read(target, extra);
    EXPECT_EQ(first.ports.size(), 1u);
    for (const auto& base : std::vector(target.walks)) target.fail(base);
    for (const auto& oid : {business + ".10.1", luminexSupply, std::string("1.3.6.1.4.1.99.1")}) target.fail(oid);
    const auto status = read(target, extra);
    EXPECT_EQ(status.name, "sw-foh");
    EXPECT_TRUE(status.ports.empty());
    EXPECT_TRUE(status.custom.empty());
    EXPECT_TRUE(first.portsAnswered && first.portStatesAnswered && first.countersAnswered);
    EXPECT_FALSE(status.portsAnswered || status.portStatesAnswered || status.countersAnswered);
}

TEST(SwitchReader, TellsWhichTablesOfPortsWereNotAnswered) {
    auto target = withPorts({1});
    target.fail(ifOperStatus);
    auto status = read(target);
    ASSERT_EQ(status.ports.size(), 1u);
    EXPECT_FALSE(status.ports[0].up);
    EXPECT_TRUE(status.portsAnswered && status.countersAnswered);
    EXPECT_FALSE(status.portStatesAnswered);
    auto other = withPorts({1});
    other.fail("1.3.6.1.2.1.31.1.1.1.10");
    status = read(other);
    EXPECT_TRUE(status.portsAnswered && status.portStatesAnswered);
    EXPECT_FALSE(status.countersAnswered);
}

TEST(SwitchReader, TakesAnUptimeThatIsNoNumberForNone) {
    auto target = switchOf(anyMaker);
    target.set("1.3.6.1.2.1.1.3.0", "two days");
    EXPECT_EQ(read(target).uptime, 0);
}

// Ports

TEST(SwitchReader, ReadsAPortWhole) {
    auto target = withPorts({7});
    target.set(ifDescr + ".7", "GigabitEthernet0/7");
    target.set(ifName + ".7", "Gi0/7");
    target.set("1.3.6.1.2.1.31.1.1.1.18.7", "Pult");
    target.set(ifOperStatus + ".7", 1);
    target.set(ifAdminStatus + ".7", 1);
    target.set("1.3.6.1.2.1.31.1.1.1.15.7", gauge(1000));
    target.set("1.3.6.1.2.1.31.1.1.1.6.7", counter(18446744073709551615u));
    target.set("1.3.6.1.2.1.31.1.1.1.10.7", counter(9007199254740993u));
    target.set("1.3.6.1.2.1.2.2.1.14.7", counter(12));
    target.set("1.3.6.1.2.1.2.2.1.20.7", counter(99));  // ifOutErrors
    const auto status = read(target);
    ASSERT_EQ(status.ports.size(), 1u);
    EXPECT_EQ(status.ports[0], (SwitchStatus::Port{.index = 7,
                                                   .name = "Gi0/7",
                                                   .alias = "Pult",
                                                   .up = true,
                                                   .adminUp = true,
                                                   .speedMbit = 1000,
                                                   .inOctets = 18446744073709551615u,
                                                   .outOctets = 9007199254740993u,
                                                   .errors = 12,
                                                   .poeDelivering = {},
                                                   .neighbor = {}}));
}

TEST(SwitchReader, ListsEthernetAlone) {
    auto target = withPorts({3, 1, 20});
    target.set(ifType + ".10", 24);   // softwareLoopback
    target.set(ifType + ".11", 53);   // propVirtual
    target.set(ifType + ".12", 161);  // ieee8023adLag
    target.set(ifType + ".13", "6");
    std::vector<int> indices;
    for (const auto& port : read(target).ports) indices.push_back(port.index);
    EXPECT_EQ(indices, (std::vector<int>{1, 3, 20}));
}

TEST(SwitchReader, NamesAPortByWhatThereIs) {
    auto target = withPorts({7, 8, 9});
    target.set(ifDescr + ".8", "eth8");
    target.set(ifDescr + ".9", "eth9");
    target.set(ifName + ".9", "Port-9");
    const auto ports = read(target).ports;
    EXPECT_EQ(ports[0].name, "Port 7");
    EXPECT_EQ(ports[0].alias, "");
    EXPECT_EQ(ports[1].name, "eth8");
    EXPECT_EQ(ports[2].name, "Port-9");
}

TEST(SwitchReader, TakesAMissingStateForDownAndForSwitchedOn) {
    auto target = withPorts({1, 2, 3, 4, 5});
    for (const int state : {2, 3, 4, 5}) {  // down, testing, unknown, dormant
        target.set(ifOperStatus + "." + std::to_string(state), state);
        target.set(ifAdminStatus + "." + std::to_string(state), state);
    }
    for (const auto& port : read(target).ports) {
        EXPECT_FALSE(port.up) << port.index;
        EXPECT_EQ(port.adminUp, port.index != 2) << port.index;
    }
}

TEST(SwitchReader, TakesNumbersOfAnotherKindForNone) {
    auto target = withPorts({1});
    target.set("1.3.6.1.2.1.31.1.1.1.15.1", gauge(std::numeric_limits<std::uint64_t>::max()));
    target.set("1.3.6.1.2.1.31.1.1.1.6.1", "many");
    target.set("1.3.6.1.2.1.31.1.1.1.10.1", -5);
    const auto port = read(target).ports.at(0);
    EXPECT_EQ(port.speedMbit, std::numeric_limits<int>::max());
    EXPECT_EQ(port.inOctets, 0u);
    EXPECT_EQ(port.outOctets, 0u);
}

TEST(SwitchReader, DropsRowsWithoutAUsableIndex) {
    auto target = withPorts({2147483647});
    target.set(ifType + ".4294967295", 6);
    target.set(ifType + ".18446744073709551615", 6);
    const auto ports = read(target).ports;
    ASSERT_EQ(ports.size(), 1u);
    EXPECT_EQ(ports[0].index, 2147483647);
}

TEST(SwitchReader, KeysRowsByTheLastNumberAndKeepsTheLater) {
    auto target = withPorts({1});
    target.set(ifName + ".1.1", "first");
    target.set(ifName + ".2.1", "second");
    EXPECT_EQ(read(target).ports.at(0).name, "second");
}

// Inventory

TEST(SwitchReader, TakesTheFirstUsableTextsOfTheInventory) {
    auto target = switchOf(anyMaker);
    target.set(physical + ".10.1", "");
    target.set(physical + ".10.2", "–");
    target.set(physical + ".9.1", " ");
    target.set(physical + ".9.3", "3.1.2");
    target.set(physical + ".9.4", "4.0");
    target.set(physical + ".11.1", "");
    target.set(physical + ".11.9", "SN9");
    target.set(physical + ".11.10", "SN10");
    auto status = read(target);
    EXPECT_EQ(status.software, "3.1.2");
    EXPECT_EQ(status.serial, "SN9");
    target.set(physical + ".10.50", "16.12.4");
    EXPECT_EQ(read(target).software, "16.12.4") << "software comes before firmware";
}

// PoE

TEST(SwitchReader, SumsThePowerOfAllGroups) {
    auto target = switchOf(anyMaker);
    target.set(pseMain + ".2.1", gauge(370));
    target.set(pseMain + ".2.2", gauge(370));
    target.set(pseMain + ".4.1", gauge(55));
    target.set(pseMain + ".4.2", "n/a");
    const auto status = read(target);
    EXPECT_EQ(status.poeBudgetW, 740);
    EXPECT_EQ(status.poeUsedW, 55);
}

TEST(SwitchReader, ReportsNoConsumptionAsZero) {
    auto target = switchOf(anyMaker);
    target.set(pseMain + ".2.1", gauge(370));
    EXPECT_EQ(read(target).poeUsedW, 0);
}

TEST(SwitchReader, AsksNoPortsOfASwitchWithoutPowerToGive) {
    auto target = withPorts({1});
    target.set(pseMain + ".4.1", gauge(55));
    target.set(pseDetection + ".1.1", 3);
    const auto status = read(target);
    EXPECT_EQ(status.poeBudgetW, std::nullopt);
    EXPECT_EQ(status.poeUsedW, std::nullopt);
    EXPECT_EQ(status.ports[0].poeDelivering, std::nullopt);
    EXPECT_FALSE(walked(target, pseDetection));
}

TEST(SwitchReader, FindsAPortsPowerByItsIndexThenByItsPosition) {
    auto target = withPorts({2, 10101, 10102, 10103});
    target.set(pseMain + ".2.1", gauge(370));
    target.set(pseDetection + ".1.1", 3);      // position of 2, which has a row of its own
    target.set(pseDetection + ".1.2", 2);      // index 2, and position of 10101
    target.set(pseDetection + ".1.3", 3);      // position of 10102
    target.set(pseDetection + ".1.10102", 4);  // index
    const auto ports = read(target).ports;
    EXPECT_EQ(ports[0].poeDelivering, false);
    EXPECT_EQ(ports[1].poeDelivering, false);
    EXPECT_EQ(ports[2].poeDelivering, false) << "the index comes first";
    EXPECT_EQ(ports[3].poeDelivering, std::nullopt);
}

TEST(SwitchReader, DeliversOnlyInTheStateOfThatName) {
    for (const int state : {1, 2, 3, 4, 5, 6}) {
        auto target = withPorts({1});
        target.set(pseMain + ".2.1", gauge(370));
        target.set(pseDetection + ".1.1", state);
        EXPECT_EQ(read(target).ports[0].poeDelivering, state == 3) << state;
    }
}

TEST(SwitchReader, KeepsTheLaterOfTwoGroupsOfPowerPorts) {
    auto target = withPorts({1});
    target.set(pseMain + ".2.1", gauge(370));
    target.set(pseDetection + ".1.1", 3);
    target.set(pseDetection + ".2.1", 2);
    EXPECT_EQ(read(target).ports[0].poeDelivering, false);
}

// LLDP

TEST(SwitchReader, NamesTheNeighborOfAPort) {
    auto target = withPorts({1, 10, 11, 12});
    target.set(lldpNames + ".0.10.1", "pult");
    target.set(lldpNames + ".0.3.7", "rack");     // no such index: the third port
    target.set(lldpNames + ".0.4.1", "first");    // the fourth port
    target.set(lldpNames + ".5.12.1", "second");  // the same by its index, later
    target.set(lldpNames + ".0.0.1", "nobody");   // no such position
    target.set(lldpNames + ".0.5.1", "nobody");
    target.set(lldpNames + ".0.18446744073709551615.1", "nobody");
    target.set(lldpNames + ".1", "nobody");
    const auto ports = read(target).ports;
    EXPECT_EQ(ports[0].neighbor, std::nullopt);
    EXPECT_EQ(ports[1].neighbor, "pult");
    EXPECT_EQ(ports[2].neighbor, "rack");
    EXPECT_EQ(ports[3].neighbor, "second");
}

TEST(SwitchReader, TakesASecondPartForTheWholeIndex) {
    auto target = withPorts({3});
    target.set(lldpNames + ".0.3", "short");
    EXPECT_EQ(read(target).ports[0].neighbor, "short");
}

// All together

TEST(SwitchReader, GoesThroughItsStepsInOrder) {
    auto target = switchOf(netgear, "Luminex");
    setEntitySensor(target, entitySensors, 1, 10, 1);
    target.set(pseMain + ".2.1", gauge(370));
    read(target);
    const std::vector<std::string> expected{ifType,
                                            ifDescr,
                                            ifName,
                                            "1.3.6.1.2.1.31.1.1.1.18",
                                            ifOperStatus,
                                            ifAdminStatus,
                                            "1.3.6.1.2.1.31.1.1.1.15",
                                            "1.3.6.1.2.1.31.1.1.1.6",
                                            "1.3.6.1.2.1.31.1.1.1.10",
                                            "1.3.6.1.2.1.2.2.1.14",  // interfaces
                                            entitySensors + ".1",
                                            entitySensors + ".2",
                                            entitySensors + ".3",
                                            entitySensors + ".4",
                                            physical + ".7",  // sensors
                                            environment + ".3",
                                            environment + ".2",  //
                                            luminexBox + ".8.1.5",
                                            luminexBox + ".6.1.3",
                                            luminexBox + ".7.1.3",  // boxes
                                            netgearBox + ".8.1.5",
                                            netgearBox + ".6.1.3",
                                            netgearBox + ".7.1.3",  //
                                            physical + ".10",
                                            physical + ".9",
                                            physical + ".11",  // inventory
                                            pseMain + ".2",
                                            pseMain + ".4",
                                            pseDetection,  // PoE
                                            lldpNames};
    EXPECT_EQ(target.walks, expected);
}
