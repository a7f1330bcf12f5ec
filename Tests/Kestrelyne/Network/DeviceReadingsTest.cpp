#include "Kestrelyne/Network/DeviceReadings.hpp"

#include <gtest/gtest.h>

namespace kestrelyne {

namespace {

using netcore::SwitchStatus;
using namespace std::chrono_literals;

SwitchStatus reading(std::chrono::nanoseconds at, std::uint64_t in, std::uint64_t out) {
    SwitchStatus status;
    status.ports = {{.index = 7, .name = "7", .alias = {}, .inOctets = in, .outOctets = out, .neighbor = {}}};
    status.time.steady = base::SteadyTime(at);
    return status;
}

}  // namespace

TEST(PortRates, AreBitsPerSecondBetweenTwoReadings) {
    EXPECT_EQ(portRates(reading(0s, 1000, 500), reading(16s, 3000, 501), {}), (PortRates{{7, {1000, 0.5}}}));
}

TEST(PortRates, OfTwoReadingsAtOnceAreThoseOfASecond) {
    EXPECT_EQ(portRates(reading(5s, 0, 0), reading(5s + 1ms, 125, 250), {}), (PortRates{{7, {1000, 2000}}}));
}

TEST(PortRates, ACounterThatGoesBackwardsKeepsThePreviousRate) {
    const PortRates standing{{7, {11, 22}}};
    EXPECT_EQ(portRates(reading(0s, 1000, 500), reading(10s, 999, 600), standing), standing);
    EXPECT_EQ(portRates(reading(0s, 1000, 500), reading(10s, 1100, 499), standing), standing);
    EXPECT_EQ(portRates(reading(0s, 1000, 500), reading(10s, 999, 600), {}), PortRates{});
}

TEST(PortRates, APortThatIsNewHasNoneAndOneThatIsGoneLosesIts) {
    auto after = reading(10s, 10, 10);
    after.ports[0].index = 8;
    EXPECT_EQ(portRates(reading(0s, 0, 0), after, {{7, {1, 1}}}), PortRates{});
}

TEST(PortRates, StandWhenAReadingCameWithoutCounters) {
    const PortRates standing{{7, {11, 22}}};
    auto mute = reading(10s, 0, 0);
    mute.countersAnswered = false;
    EXPECT_EQ(portRates(reading(0s, 0, 0), mute, standing), standing);
    EXPECT_EQ(portRates(mute, reading(20s, 1000000, 1000000), standing), standing) << "no jump from nothing";
}

TEST(CompletedReading, KeepsTheStatesOfPortsThatWereNotAnswered) {
    auto before = reading(0s, 1, 1), after = reading(10s, 2, 2);
    before.ports[0].up = true;
    after.ports.push_back({.index = 8, .name = "8"});
    after.portStatesAnswered = false;
    const auto whole = completed(after, before);
    EXPECT_TRUE(whole.ports[0].up);
    EXPECT_EQ(whole.ports[0].inOctets, 2u) << "what was answered counts";
    EXPECT_FALSE(whole.ports[1].up) << "a port that was not there stays unknown";
    after.portStatesAnswered = true;
    EXPECT_FALSE(completed(after, before).ports[0].up) << "an answer counts";
}

TEST(CompletedReading, KeepsThePortsThatWereNotAnswered) {
    const auto before = reading(0s, 5, 6);
    SwitchStatus after;
    after.portsAnswered = false;
    const auto whole = completed(after, before);
    EXPECT_EQ(whole.ports, before.ports);
    EXPECT_FALSE(whole.countersAnswered) << "their counters are old";
}

TEST(DeviceReading, TemperatureIsThatOfTheHottestPlaceOrOfTheBattery) {
    DeviceReading reading;
    EXPECT_FALSE(reading.temperature());
    SwitchStatus status;
    reading.snmp = std::make_shared<const SwitchStatus>(status);
    EXPECT_FALSE(reading.temperature());
    status.temperatures = {{"A", 41}, {"B", 58}, {"C", 44}};
    reading.snmp = std::make_shared<const SwitchStatus>(status);
    EXPECT_EQ(reading.temperature(), 58);
    netcore::UPSStatus ups;
    ups.batteryTemperature = 25;
    reading.ups = std::make_shared<const netcore::UPSStatus>(ups);
    EXPECT_EQ(reading.temperature(), 25);
}

}  // namespace kestrelyne
