#include "Kestrelyne/Network/SNMPRounds.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <future>

#include "MonitorBench.hpp"

namespace kestrelyne {

namespace {

using netcore::FakeSNMPTarget;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* description = "1.3.6.1.2.1.1.1.0";
constexpr const char* fdb = "1.3.6.1.2.1.17.7.1.2.2.1.2";

std::shared_ptr<FakeSNMPTarget> switchAgent(std::int64_t portState = 1) {
    auto agent = std::make_shared<FakeSNMPTarget>();
    agent->set(description, "GigaCore 26i");
    agent->set("1.3.6.1.2.1.1.5.0", "sw-foh");
    agent->set("1.3.6.1.2.1.2.2.1.3.1", 6);
    agent->set("1.3.6.1.2.1.31.1.1.1.1.1", "P1");
    agent->set("1.3.6.1.2.1.2.2.1.8.1", portState);
    return agent;
}

std::shared_ptr<FakeSNMPTarget> upsAgent(std::int64_t source) {
    auto agent = std::make_shared<FakeSNMPTarget>();
    agent->set("1.3.6.1.2.1.33.1.2.1.0", 2);
    agent->set("1.3.6.1.2.1.33.1.2.3.0", 42);
    agent->set("1.3.6.1.2.1.33.1.4.1.0", source);
    return agent;
}

// Answers as the agent does, but not before it may.
struct Slow final : netcore::SNMPTarget {
    Slow(std::shared_ptr<FakeSNMPTarget> agent, std::shared_future<void> wait) : agent_(std::move(agent)), wait_(std::move(wait)) {}
    std::map<std::string, netcore::SNMPValue> get(const std::vector<std::string>& oids) const override {
        wait_.wait();
        return agent_->get(oids);
    }
    std::vector<netcore::SNMPRow> walk(const std::string& base, int maxRows) const override { return agent_->walk(base, maxRows); }
    std::shared_ptr<FakeSNMPTarget> agent_;
    std::shared_future<void> wait_;
};

class SNMPRoundsTest : public testing::Test, protected MonitorBench {
protected:
    NetDevice add(const std::string& name, const std::string& ip, NetDeviceRole role = NetDeviceRole::networkSwitch) {
        NetDevice device{.name = name, .ip = ip, .role = role, .snmp = true};
        monitor->upsert(device);
        return device;
    }
    const SNMPRounds& snmp() const { return monitor->snmp(); }
    // Rounds until it holds: the pause between two begins when the pool has brought the last answer.
    bool roundsUntil(const std::function<bool()>& holds) {
        for (int i = 0; i < 100; ++i) {
            time.advance(base::Seconds(15));
            if (time.runUntil(holds, base::Seconds(0.05))) return true;
        }
        return false;
    }
    // The reading of the last one asked is in.
    bool isIdle() const {
        const auto& devices = monitor->config()->devices;
        return devices.empty() || snmp().reading(devices.back().id) != nullptr;
    }
    bool firstRound() {
        monitor->start();
        return time.runUntil([&] { return isIdle() && asked.size() >= monitor->config()->devices.size(); });
    }
};

}  // namespace

TEST(SNMPRounds, TopologyIsDueAboutOnceAMinuteAndWhileThereIsNone) {
    struct Row {
        int round;
        double interval;
        bool hasNone, due;
    };
    const Row rows[] = {
        {1, 15, false, true},  {2, 15, false, false},  {4, 15, false, false}, {5, 15, false, true},  // each fourth
        {1, 5, false, true},   {2, 5, false, false},   {13, 5, false, true},                         // each twelfth
        {13, 1, false, true},  {12, 1, false, false},                          // a shorter interval counts as five seconds
        {1, 60, false, false}, {2, 60, false, false},                          // each one: modulo never 1
        {1, 61, false, false}, {7, 300, false, false},                         // none fits into a minute
        {2, 15, true, true},   {1, 60, true, true},    {1, 1000, true, true},  // nothing is known yet
        {1, NAN, false, true}, {13, NAN, false, true},
    };
    for (const auto& row : rows)
        EXPECT_EQ(SNMPRounds::topologyIsDue(row.round, row.interval, row.hasNone), row.due)
            << "round " << row.round << " interval " << row.interval << " none " << row.hasNone;
}

TEST_F(SNMPRoundsTest, AsksSwitchesAndUPSsInTheOrderOfTheList) {
    agents = {{"10.0.0.2", switchAgent()}, {"10.0.0.3", upsAgent(3)}};
    make();
    const auto first = add("Switch", "10.0.0.2");
    const auto second = add("USV", "10.0.0.3", NetDeviceRole::ups);
    NetDevice quiet{.name = "Pult", .ip = "10.0.0.4", .role = NetDeviceRole::console, .snmp = false};
    monitor->upsert(quiet);
    monitor->start();
    ASSERT_TRUE(time.runUntil([&] { return snmp().reading(second.id) != nullptr; }));
    EXPECT_THAT(asked, ElementsAre("10.0.0.2", "10.0.0.3"));
    ASSERT_NE(snmp().reading(first.id)->snmp, nullptr);
    EXPECT_EQ(snmp().reading(first.id)->snmp->name, "sw-foh");
    EXPECT_FALSE(snmp().reading(first.id)->snmpError);
    EXPECT_EQ(snmp().reading(second.id)->ups->source, netcore::UPSStatus::Source::online);
    EXPECT_EQ(snmp().reading(quiet.id), nullptr);
}

TEST_F(SNMPRoundsTest, AFailureKeepsTheLastReadingAndRaisesNothing) {
    answers = netcore::Ping::Answers{{"10.0.0.2", 0.001}};
    agents = {{"10.0.0.2", switchAgent()}};
    make();
    const auto device = add("Switch", "10.0.0.2");
    ASSERT_TRUE(firstRound());
    agents.clear();
    const auto before = lines();
    ASSERT_TRUE(roundsUntil([&] { return snmp().reading(device.id)->snmpError.has_value(); }));
    EXPECT_EQ(snmp().reading(device.id)->snmpError, "Zeitüberschreitung");
    EXPECT_EQ(snmp().reading(device.id)->snmp->name, "sw-foh");
    EXPECT_EQ(lines(), before);
    agents["10.0.0.2"] = switchAgent();
    EXPECT_TRUE(roundsUntil([&] { return !snmp().reading(device.id)->snmpError; })) << "the next success clears it";
}

TEST_F(SNMPRoundsTest, APortThatDropsIsAnAlarmWithinOneRound) {
    agents = {{"10.0.0.2", switchAgent(1)}};
    make();
    const auto device = add("FOH", "10.0.0.2");
    ASSERT_TRUE(firstRound());
    agents["10.0.0.2"] = switchAgent(2);
    ASSERT_TRUE(roundsUntil([&] { return !snmp().reading(device.id)->snmp->ports[0].up; }));
    EXPECT_EQ(count("alarm: FOH: Port P1 ist ausgefallen"), 1u);
}

TEST_F(SNMPRoundsTest, PortsWhoseStatesAreNotAnsweredHaveNotFailed) {
    agents = {{"10.0.0.2", switchAgent(1)}};
    make();
    const auto device = add("FOH", "10.0.0.2");
    ASSERT_TRUE(firstRound());
    auto lossy = switchAgent(1);
    lossy->fail("1.3.6.1.2.1.2.2.1.8");
    agents["10.0.0.2"] = lossy;
    ASSERT_TRUE(roundsUntil([&] { return !snmp().reading(device.id)->snmp->portStatesAnswered; }));
    EXPECT_TRUE(snmp().reading(device.id)->snmp->ports[0].up);
    agents["10.0.0.2"] = switchAgent(2);
    ASSERT_TRUE(roundsUntil([&] { return !snmp().reading(device.id)->snmp->ports[0].up; }));
    EXPECT_EQ(count("alarm: FOH: Port P1 ist ausgefallen"), 1u) << "what happened meanwhile is seen by the next answer";
}

TEST_F(SNMPRoundsTest, AUPSAlreadyOnBatteryIsAnAlarmAtOnce) {
    agents = {{"10.0.0.3", upsAgent(5)}};
    make();
    add("USV", "10.0.0.3", NetDeviceRole::ups);
    ASSERT_TRUE(firstRound());
    EXPECT_EQ(count("alarm: USV: USV läuft auf Batterie – Restlaufzeit 42 min"), 1u);
    EXPECT_EQ(monitor->events()->front().source, "Strom");
}

TEST_F(SNMPRoundsTest, ALoadThatIsNotAnsweredIsThatOfTheReadingBefore) {
    const auto loaded = [] {
        auto agent = upsAgent(3);
        agent->set("1.3.6.1.2.1.33.1.4.4.1.5.1", 104);
        return agent;
    };
    agents = {{"10.0.0.3", loaded()}};
    make();
    const auto device = add("USV", "10.0.0.3", NetDeviceRole::ups);
    ASSERT_TRUE(firstRound());
    EXPECT_EQ(count("alarm: USV: Auslastung 104 %"), 1u);
    agents["10.0.0.3"] = loaded();
    agents["10.0.0.3"]->fail("1.3.6.1.2.1.33.1.4.4.1.5");
    ASSERT_TRUE(roundsUntil([&] { return !snmp().reading(device.id)->ups->loadAnswered; }));
    EXPECT_EQ(snmp().reading(device.id)->ups->maxLoad(), 104);
    EXPECT_EQ(count("info: USV: Auslastung wieder normal"), 0u);
    EXPECT_EQ(count("alarm: USV: Auslastung 104 %"), 1u);
}

TEST_F(SNMPRoundsTest, TopologyIsReadInTheFirstRound) {
    agents = {{"10.0.0.2", switchAgent()}};
    agents["10.0.0.2"]->set(std::string(fdb) + ".1.2.0.0.0.0.1", 1);
    make();
    const auto device = add("FOH", "10.0.0.2");
    monitor->start();
    ASSERT_TRUE(time.runUntil([&] { return snmp().topologies()->contains(device.id); }));
    EXPECT_EQ(snmp().topologies()->at(device.id)->macPorts, (std::map<std::string, int>{{"02:00:00:00:00:01", 1}}));
}

TEST_F(SNMPRoundsTest, ADeviceTakenAwayWhileItIsAskedCountsNoMore) {
    std::promise<void> release;
    const auto released = release.get_future().share();
    make();
    slow = std::make_shared<Slow>(upsAgent(5), released);
    const auto gone = add("Weg", "10.0.0.8", NetDeviceRole::ups);
    const auto moved = add("Anders", "10.0.0.9", NetDeviceRole::ups);
    monitor->start();
    ASSERT_TRUE(time.runUntil([&] { return !asked.empty(); }));
    monitor->remove(gone.id);
    auto elsewhere = moved;
    elsewhere.ip = "10.0.0.10";
    monitor->upsert(elsewhere);
    release.set_value();
    ASSERT_TRUE(roundsUntil([&] { return snmp().reading(moved.id) != nullptr; }));
    EXPECT_EQ(snmp().reading(gone.id), nullptr);
    EXPECT_EQ(count("alarm: Weg: USV läuft auf Batterie – Restlaufzeit 42 min"), 0u);
    EXPECT_THAT(asked, testing::Not(testing::Contains("10.0.0.9"))) << "it was changed before its turn came";
    monitor->stop();
}

TEST_F(SNMPRoundsTest, AChangedDeviceStartsAnewAndOneTakenAwayIsForgotten) {
    agents = {{"10.0.0.2", switchAgent()}};
    make();
    auto device = add("FOH", "10.0.0.2");
    monitor->start();
    ASSERT_TRUE(time.runUntil([&] { return snmp().topologies()->contains(device.id); }));
    device.notes = "neu";
    monitor->upsert(device);
    EXPECT_EQ(snmp().reading(device.id), nullptr);
    EXPECT_TRUE(snmp().topologies()->contains(device.id));
    monitor->remove(device.id);
    EXPECT_THAT(*snmp().topologies(), IsEmpty());
}

TEST_F(SNMPRoundsTest, ClearingTheNetworkForgetsAllReadings) {
    agents = {{"10.0.0.2", switchAgent()}};
    make();
    const auto device = add("FOH", "10.0.0.2");
    monitor->start();
    ASSERT_TRUE(time.runUntil([&] { return snmp().topologies()->contains(device.id); }));
    monitor->clearNetworkData();
    EXPECT_THAT(*snmp().readings(), IsEmpty());
    EXPECT_THAT(*snmp().topologies(), IsEmpty());
}

TEST_F(SNMPRoundsTest, UPSsOfThisComputerAreJudgedWithThePings) {
    netcore::LocalUPS::Entry entry{.id = "usb-1", .name = "Back-UPS", .status = {}};
    entry.status.source = netcore::UPSStatus::Source::battery;
    entry.status.time = now();
    localUPS = {entry};
    make();
    monitor->start();
    ASSERT_TRUE(time.runUntil([&] { return !snmp().localUPS()->empty(); }));
    EXPECT_EQ(snmp().localUPS()->front().id, "usb-1");
    EXPECT_EQ(count("alarm: Back-UPS (USB): USV läuft auf Batterie"), 1u);
    int published = 0;
    const auto subscription = snmp().localUPS().observe([&published] { ++published; });
    time.advance(base::Seconds(3));
    EXPECT_EQ(published, 0) << "the same reading is no news";
    localUPS.clear();
    EXPECT_TRUE(roundsUntil([&] { return snmp().localUPS()->empty(); }));
}

TEST_F(SNMPRoundsTest, ARoundLeavesTheMainThreadFree) {
    make();
    std::promise<void> release;
    const auto released = release.get_future().share();
    slow = std::make_shared<Slow>(upsAgent(5), released);
    add("FOH", "10.0.0.2");
    monitor->start();
    ASSERT_TRUE(time.runUntil([&] { return !asked.empty(); }));
    artDmx(3, "10.0.0.9");
    time.advance(base::Seconds(1));
    EXPECT_EQ(monitor->lighting().universes()->size(), 1u) << "the picture is renewed while a switch is silent";
    monitor->stop();
    release.set_value();
}

}  // namespace kestrelyne
