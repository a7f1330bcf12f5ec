#include "Kestrelyne/Network/Reachability.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "Support/FakeClock.hpp"

using kestrelyne::NetDevice;
using kestrelyne::NetEvent;
using kestrelyne::NetFindings;
using kestrelyne::Reachability;
using netcore::Ping::Answers;
using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;
using testing::IsEmpty;

namespace {

constexpr auto info = NetEvent::Level::info, warning = NetEvent::Level::warning, alarm = NetEvent::Level::alarm;

NetDevice device(const std::string& name, const std::string& ip, bool alarmOnOffline = true) {
    return {.name = name, .ip = ip, .alarmOnOffline = alarmOnOffline};
}

class ReachabilityTest : public testing::Test {
protected:
    // One round of pings, a second after the last one.
    NetFindings round(const Answers& answers, int offlineAfter = 1) {
        clock.advance(1s);
        return reachability.judge(devices, answers, offlineAfter, clock.moment());
    }
    const kestrelyne::DeviceState& state(std::size_t index) { return reachability.states()->at(devices[index].id); }

    FakeClock clock;
    Reachability reachability;
    NetDevice desk = device("Pult", "10.0.0.1"), node = device("Node", "10.0.0.2"), media = device("Server", "10.0.0.3"),
              quiet = device("Drucker", "10.0.0.9", false);
    std::vector<NetDevice> devices;
    const Answers none;
};

TEST_F(ReachabilityTest, TheFirstAnswerSaysNothing) {
    devices = {desk};
    EXPECT_EQ(reachability.state(desk.id), nullptr);
    EXPECT_THAT(round({{desk.ip, 0.004}}), IsEmpty());
    EXPECT_EQ(state(0).online, true);
    EXPECT_EQ(state(0).latency, 0.004);
    EXPECT_EQ(state(0).failures, 0);
    EXPECT_EQ(state(0).lastSeen->wall, clock.now());
    EXPECT_EQ(state(0).since->wall, clock.now());
    EXPECT_FALSE(state(0).offlineSince);
    EXPECT_EQ(reachability.state(desk.id)->online, true);
}

TEST_F(ReachabilityTest, GoesOfflineAfterSoManyRoundsWithoutAnAnswer) {
    devices = {desk};
    round({{desk.ip, 0.004}}, 2);
    const auto seen = clock.now();
    EXPECT_THAT(round(none, 2), IsEmpty());
    EXPECT_EQ(state(0).online, true);
    EXPECT_EQ(state(0).failures, 1);
    EXPECT_FALSE(state(0).latency);
    EXPECT_EQ(round(none, 2), (NetFindings{{alarm, "Pult (10.0.0.1) nicht erreichbar"}}));
    EXPECT_EQ(state(0).online, false);
    EXPECT_EQ(state(0).lastSeen->wall, seen);
    EXPECT_EQ(state(0).since->wall, clock.now());
    EXPECT_EQ(state(0).offlineSince->wall, clock.now());
    EXPECT_THAT(round(none, 2), IsEmpty());
    EXPECT_EQ(state(0).failures, 3);
}

TEST_F(ReachabilityTest, OneAnswerResetsTheCount) {
    devices = {desk};
    for (int i = 0; i < 5; ++i) {
        EXPECT_THAT(round({{desk.ip, 0.004}}, 2), IsEmpty());
        EXPECT_THAT(round(none, 2), IsEmpty());
    }
    EXPECT_EQ(state(0).online, true);
}

TEST_F(ReachabilityTest, ACountBelowOneIsOne) {
    for (const int offlineAfter : {0, -7, std::numeric_limits<int>::min()}) {
        reachability.clear();
        devices = {desk};
        round({{desk.ip, 0.004}}, offlineAfter);
        EXPECT_EQ(round(none, offlineAfter).size(), 1u) << offlineAfter;
    }
}

TEST_F(ReachabilityTest, TellsHowLongTheOutageTook) {
    devices = {desk};
    round({{desk.ip, 0.004}});
    round(none);
    clock.advance(10900ms);
    clock.jumpWall(-3600s);  // what the wall clock does is no outage
    EXPECT_EQ(round({{desk.ip, 0.004}}), (NetFindings{{info, "Pult (10.0.0.1) wieder online nach 11 s"}}));
    EXPECT_EQ(state(0).online, true);
    EXPECT_FALSE(state(0).offlineSince);
    EXPECT_EQ(state(0).since->wall, clock.now());
}

TEST_F(ReachabilityTest, ADeviceThatIsDownAtTheStartRaisesNoAlarm) {
    devices = {desk};
    EXPECT_THAT(round(none, 2), IsEmpty());
    EXPECT_FALSE(state(0).online);
    EXPECT_EQ(round(none, 2), (NetFindings{{warning, "Pult (10.0.0.1) nicht erreichbar"}}));
    EXPECT_THAT(round(none, 2), IsEmpty());
    EXPECT_EQ(round({{desk.ip, 0.004}}, 2), (NetFindings{{info, "Pult (10.0.0.1) wieder online nach 2 s"}}));
}

TEST_F(ReachabilityTest, TwoDevicesOfOneAddressAreJudgedByOneAnswer) {
    devices = {desk, device("Zweitname", desk.ip)};
    round({{desk.ip, 0.004}});
    EXPECT_EQ(state(0).online, true);
    EXPECT_EQ(state(1).online, true);
    EXPECT_EQ(state(1).latency, 0.004);
    EXPECT_EQ(round(none).back().text, "2 Geräte gleichzeitig nicht erreichbar: Pult, Zweitname");
}

TEST_F(ReachabilityTest, SeveralOutagesInOneRoundAreOneAlarm) {
    devices = {desk, quiet, node, media};
    round({{desk.ip, 0.001}, {node.ip, 0.001}, {media.ip, 0.001}, {quiet.ip, 0.001}});
    EXPECT_EQ(round(none), (NetFindings{{warning, "Drucker (10.0.0.9) nicht erreichbar"},
                                        {warning, "Pult (10.0.0.1) nicht erreichbar"},
                                        {warning, "Node (10.0.0.2) nicht erreichbar"},
                                        {warning, "Server (10.0.0.3) nicht erreichbar"},
                                        {alarm, "3 Geräte gleichzeitig nicht erreichbar: Pult, Node, Server"}}));
}

TEST_F(ReachabilityTest, OutagesInDifferentRoundsAreAnAlarmEach) {
    devices = {desk, node, media};
    round({{desk.ip, 0.001}, {node.ip, 0.001}, {media.ip, 0.001}});
    EXPECT_EQ(round({{node.ip, 0.001}, {media.ip, 0.001}}), (NetFindings{{alarm, "Pult (10.0.0.1) nicht erreichbar"}}));
    EXPECT_EQ(round({{media.ip, 0.001}}), (NetFindings{{alarm, "Node (10.0.0.2) nicht erreichbar"}}));
    EXPECT_EQ(round(none), (NetFindings{{alarm, "Server (10.0.0.3) nicht erreichbar"}}));
    EXPECT_THAT(reachability.passing(clock.steadyNow()), IsEmpty());
}

TEST_F(ReachabilityTest, ADeviceWithoutAlarmNeverRaisesOne) {
    devices = {quiet, desk};
    round({{quiet.ip, 0.001}, {desk.ip, 0.001}});
    EXPECT_EQ(round(none),
              (NetFindings{{warning, "Drucker (10.0.0.9) nicht erreichbar"}, {alarm, "Pult (10.0.0.1) nicht erreichbar"}}));
    // Its return does not count among several, either.
    EXPECT_EQ(round({{quiet.ip, 0.001}, {desk.ip, 0.001}}),
              (NetFindings{{info, "Drucker (10.0.0.9) wieder online nach 1 s"}, {info, "Pult (10.0.0.1) wieder online nach 1 s"}}));
}

TEST_F(ReachabilityTest, SeveralReturnsInOneRoundAreCounted) {
    devices = {desk, node};
    round({{desk.ip, 0.001}, {node.ip, 0.001}});
    round(none);
    EXPECT_EQ(round({{desk.ip, 0.001}, {node.ip, 0.001}}), (NetFindings{{info, "Pult (10.0.0.1) wieder online nach 1 s"},
                                                                        {info, "Node (10.0.0.2) wieder online nach 1 s"},
                                                                        {info, "2 Geräte wieder online"}}));
}

TEST_F(ReachabilityTest, FindingsOfSeveralStandForAMinute) {
    devices = {desk, node};
    round({{desk.ip, 0.001}, {node.ip, 0.001}});
    round(none);
    const auto outage = clock.steadyNow();
    const auto standing = reachability.passing(outage + 59s);
    ASSERT_EQ(standing.size(), 1u);
    EXPECT_EQ(standing[0].level, alarm);
    EXPECT_EQ(standing[0].text, "2 Geräte gleichzeitig nicht erreichbar: Pult, Node");
    EXPECT_EQ(standing[0].at, outage);
    EXPECT_THAT(reachability.passing(outage + 60s), IsEmpty());
}

TEST_F(ReachabilityTest, AnOutageOfSeveralIsOverWhenTheyAreBack) {
    devices = {desk, node};
    round({{desk.ip, 0.001}, {node.ip, 0.001}});
    round(none);
    clock.advance(9s);
    round({{desk.ip, 0.001}, {node.ip, 0.001}});
    const auto back = clock.steadyNow();
    const auto standing = reachability.passing(back + 59s);
    ASSERT_EQ(standing.size(), 1u);
    EXPECT_EQ(standing[0].level, info);
    EXPECT_EQ(standing[0].text, "2 Geräte wieder online");
    EXPECT_EQ(standing[0].at, back);
    EXPECT_THAT(reachability.passing(back + 60s), IsEmpty());
    round(none);
    EXPECT_EQ(reachability.passing(clock.steadyNow()).size(), 2u) << "one outage, not the earlier one too";
}

TEST_F(ReachabilityTest, ForgottenDevicesStartAnew) {
    devices = {desk, node};
    round({{desk.ip, 0.001}, {node.ip, 0.001}});
    reachability.forget(desk.id);
    EXPECT_EQ(reachability.state(desk.id), nullptr);
    EXPECT_NE(reachability.state(node.id), nullptr);
    // The first verdict of the one is no outage, that of the other is.
    EXPECT_EQ(round(none),
              (NetFindings{{warning, "Pult (10.0.0.1) nicht erreichbar"}, {alarm, "Node (10.0.0.2) nicht erreichbar"}}));
    reachability.clear();
    EXPECT_THAT(*reachability.states(), IsEmpty());
}

TEST_F(ReachabilityTest, StatesOfDevicesThatAreGoneAreDropped) {
    devices = {desk, node};
    round({{desk.ip, 0.001}});
    devices = {node};
    round(none);
    EXPECT_EQ(reachability.states()->size(), 1u);
    EXPECT_EQ(reachability.state(desk.id), nullptr);
    devices.clear();
    round(none);
    EXPECT_THAT(*reachability.states(), IsEmpty());
}

TEST_F(ReachabilityTest, WithoutDevicesNothingIsPublished) {
    int told = 0;
    const auto subscription = reachability.states().observe([&told] { ++told; });
    round(none);
    reachability.forget(desk.id);
    reachability.clear();
    EXPECT_EQ(told, 0);
    devices = {desk};
    round(none);
    EXPECT_EQ(told, 1);
    reachability.clear();
    EXPECT_EQ(told, 2);
}

TEST(Reachability, TheTimeLimitFollowsTheIntervalWithinBounds) {
    struct Row {
        double interval, limit;
    };
    constexpr auto infinity = std::numeric_limits<double>::infinity();
    for (const auto& [interval, limit] : std::initializer_list<Row>{{0.5, 0.4},
                                                                    {1, 0.8},
                                                                    {5, 0.8},
                                                                    {0.2, 0.3},
                                                                    {0, 0.3},
                                                                    {-10, 0.3},
                                                                    {infinity, 0.8},
                                                                    {std::numeric_limits<double>::quiet_NaN(), 0.8}})
        EXPECT_DOUBLE_EQ(Reachability::timeout(interval).count(), limit) << interval;
}

}  // namespace
