#include "Kestrelyne/Presentation/NetworkProblems.hpp"

#include <gtest/gtest.h>

#include "Kestrelyne/Network/MonitorBench.hpp"

namespace kestrelyne {

namespace {

using Level = NetEvent::Level;
using namespace std::chrono_literals;

base::Moment at(double seconds) {
    const auto span = base::nanoseconds(base::Seconds(seconds));
    return {base::WallTime(std::chrono::seconds(1781978400)) + span, base::SteadyTime(std::chrono::seconds(1000)) + span};
}

NetworkProblem alarm(std::string text) { return {Level::alarm, NetworkProblem::Area::light, std::move(text)}; }

SourceState source(const std::string& name, std::optional<int> priority, double seen = 0) {
    SourceState source;
    source.id = source.name = name;
    source.priority = priority;
    source.lastSeen = at(seen);
    return source;
}

UniverseState universe(NetProtocol proto, int number, std::vector<SourceState> sources) {
    UniverseState universe;
    universe.key = {proto, number};
    universe.sources = std::move(sources);
    return universe;
}

PTPClock clock(const std::string& sender, const std::string& grandmaster) {
    PTPClock clock;
    clock.sender = sender;
    clock.grandmaster = grandmaster;
    return clock;
}

IGMPInterfaceState capturedAdapter(const std::string& name, bool missing) {
    IGMPInterfaceState state;
    state.displayName = name;
    state.missing = missing;
    return state;
}

NetDevice device(const std::string& name, const std::string& ip) {
    NetDevice device;
    device.name = name;
    device.ip = ip;
    return device;
}

}  // namespace

TEST(NetworkProblems, TwoSourcesOfAUniverseAreNamedInTheirOrder) {
    const std::vector<UniverseState> universes = {universe(NetProtocol::artnet, 1, {source("Pult", {}), source("Backup", {})}),
                                                  universe(NetProtocol::sacn, 1, {source("A", 100), source("B", 100)})};
    EXPECT_EQ(universeProblems(universes, at(1).steady),
              (NetworkProblems{alarm("Art-Net 1 (0:0:1): Konflikt Pult ↔ Backup"), alarm("sACN 1: Konflikt A ↔ B")}));
}

TEST(NetworkProblems, ThreeAndMoreAreCounted) {
    const std::vector<UniverseState> universes = {
        universe(NetProtocol::artnet, 1792, {source("A", {}), source("B", {}), source("C", {})}),
        universe(NetProtocol::sacn, 7, {source("A", 120), source("B", 120), source("C", 120), source("D", 120)})};
    EXPECT_EQ(universeProblems(universes, at(1).steady),
              (NetworkProblems{alarm("3 Quellen gleicher Priorität (1792 (7:0:0))"), alarm("4 Quellen gleicher Priorität (7)")}));
}

TEST(NetworkProblems, OnlyActiveSourcesOfTheHighestPriorityFight) {
    struct Row {
        std::vector<SourceState> sources;
        NetworkProblems problems;
    };
    auto ended = source("B", 100);
    ended.terminated = true;
    for (const auto& [sources, problems] :
         std::initializer_list<Row>{{{}, {}},
                                    {{source("A", 100)}, {}},
                                    {{source("A", 120), source("B", 100)}, {}},
                                    {{source("A", 120), source("B", 100), source("C", 100)}, {}},
                                    {{source("A", 120), source("B", 120), source("C", 100)}, {alarm("sACN 3: Konflikt A ↔ B")}},
                                    {{source("A", 120), source("B", 120), source("C", 120, -3)}, {alarm("sACN 3: Konflikt A ↔ B")}},
                                    {{source("A", 100), source("B", 100, -3)}, {}},
                                    {{source("A", 100), ended}, {}}})
        EXPECT_EQ(universeProblems({universe(NetProtocol::sacn, 3, sources)}, at(0).steady), problems);
}

TEST(NetworkProblems, DevicesThatDoNotAnswerAreNamed) {
    const std::vector<NetDevice> devices = {device("Pult", "10.0.0.10"), device("Switch", "10.0.0.2")};
    Reachability reachability;
    EXPECT_EQ(deviceProblems(devices, reachability, at(0).steady), NetworkProblems{}) << "nothing is known yet";
    reachability.judge(devices, {{"10.0.0.2", 0.001}}, 2, at(0));
    EXPECT_EQ(deviceProblems(devices, reachability, at(0).steady), NetworkProblems{}) << "no verdict after one round";
    reachability.judge(devices, {{"10.0.0.2", 0.001}}, 2, at(1));
    EXPECT_EQ(deviceProblems(devices, reachability, at(1).steady), NetworkProblems{alarm("Pult (10.0.0.10) nicht erreichbar")});
    reachability.judge(devices, {{"10.0.0.2", 0.001}, {"10.0.0.10", 0.001}}, 2, at(2));
    EXPECT_EQ(deviceProblems(devices, reachability, at(2).steady), NetworkProblems{});
}

TEST(NetworkProblems, WhatSeveralDidAtOnceStandsForAMinuteAnOutageUntilItIsOver) {
    const std::vector<NetDevice> devices = {device("A", "10.0.0.1"), device("B", "10.0.0.2")};
    const netcore::Ping::Answers both = {{"10.0.0.1", 0.001}, {"10.0.0.2", 0.001}};
    Reachability reachability;
    reachability.judge(devices, both, 1, at(0));
    reachability.judge(devices, {}, 1, at(1));
    const auto outage = alarm("2 Geräte gleichzeitig nicht erreichbar: A, B");
    EXPECT_EQ(deviceProblems(devices, reachability, at(1).steady),
              (NetworkProblems{alarm("A (10.0.0.1) nicht erreichbar"), alarm("B (10.0.0.2) nicht erreichbar"), outage}));
    reachability.judge(devices, both, 1, at(2));
    const NetworkProblem back{Level::info, NetworkProblem::Area::light, "2 Geräte wieder online"};
    EXPECT_EQ(deviceProblems(devices, reachability, at(2).steady), NetworkProblems{back});
    reachability.judge(devices, {}, 1, at(3));
    EXPECT_EQ(deviceProblems(devices, reachability, at(3).steady),
              (NetworkProblems{alarm("A (10.0.0.1) nicht erreichbar"), alarm("B (10.0.0.2) nicht erreichbar"), outage, back}));
    reachability.judge(devices, both, 1, at(4));
    EXPECT_EQ(deviceProblems(devices, reachability, at(4).steady), (NetworkProblems{back, back}));
    EXPECT_EQ(deviceProblems(devices, reachability, at(62.5).steady), NetworkProblems{back});
    EXPECT_EQ(deviceProblems(devices, reachability, at(64).steady), NetworkProblems{});
}

TEST(NetworkProblems, ADomainWithTwoGrandmastersIsOne) {
    const PTPDomainState calm{.version = 2, .domain = "Domäne 1", .clocks = {clock("a", "g"), clock("b", "g")}};
    const PTPDomainState torn{.version = 2, .domain = "Domäne 0", .clocks = {clock("a", "g"), clock("b", "h")}};
    const PTPDomainState old{.version = 1, .domain = "_DFLT", .clocks = {clock("a", "g"), clock("b", "h"), clock("c", "i")}};
    EXPECT_EQ(clockProblems({calm, torn, old}), (NetworkProblems{alarm("PTPv2 · Domäne 0: mehrere Grandmaster"),
                                                                 alarm("PTPv1 (Dante) · _DFLT: mehrere Grandmaster")}));
}

TEST(NetworkProblems, AMissingQuerierIsAWarningOfItsAdapter) {
    EXPECT_EQ(querierProblems({capturedAdapter("Licht", false), capturedAdapter("Ton", true)}),
              (NetworkProblems{{Level::warning, NetworkProblem::Area::light, "Kein IGMP-Querier auf Ton"}}));
}

namespace {
class NetworkProblemsOfAMonitor : public testing::Test, protected MonitorBench {};
}  // namespace

TEST_F(NetworkProblemsOfAMonitor, StandWhileTheNetworkIsWatched) {
    make().start();
    artDmx(1, "10.0.0.5");
    artDmx(1, "10.0.0.6");
    monitor->refreshPackets();
    // The sources are sorted by name, the last first.
    EXPECT_EQ(networkProblems(*monitor, now().steady), NetworkProblems{alarm("Art-Net 1 (0:0:1): Konflikt 10.0.0.6 ↔ 10.0.0.5")});
    monitor->stop();
    EXPECT_EQ(networkProblems(*monitor, now().steady), NetworkProblems{});
}

}  // namespace kestrelyne
