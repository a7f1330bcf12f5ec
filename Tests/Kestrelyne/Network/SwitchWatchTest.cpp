#include "Kestrelyne/Network/SwitchWatch.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Findings.hpp"

namespace kestrelyne {

namespace {

using netcore::SwitchStatus;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr double limit = 70;

class SwitchWatchTest : public testing::Test {
protected:
    NetFindings read(SwitchStatus status) {
        auto findings = watch.checkSwitch(device, status, last ? &*last : nullptr, limit);
        last = std::move(status);
        return findings;
    }
    static SwitchStatus heat(double celsius) {
        SwitchStatus status;
        status.temperatures = {{"CPU", celsius}};
        return status;
    }
    static SwitchStatus port(bool up, std::optional<std::string> neighbor = std::nullopt) {
        SwitchStatus status;
        status.ports = {{.index = 10003, .name = "gi3", .alias = {}, .up = up, .neighbor = std::move(neighbor)}};
        return status;
    }
    static NetFinding alarm(std::string text) { return {NetEvent::Level::alarm, std::move(text)}; }
    static NetFinding info(std::string text) { return {NetEvent::Level::info, std::move(text)}; }

    NetDevice device{.name = "FOH", .ip = "10.0.0.2", .role = NetDeviceRole::networkSwitch, .snmp = true};
    SwitchWatch watch;
    std::optional<SwitchStatus> last;
};

}  // namespace

TEST_F(SwitchWatchTest, AFanThatIsBadAtTheFirstReadingRaisesAtOnceAndOnce) {
    SwitchStatus bad;
    bad.fans = {{"Lüfter 1", false, "defekt"}, {"Lüfter 2", true, "normal"}};
    EXPECT_THAT(read(bad), ElementsAre(alarm("FOH: Lüfter 1 defekt")));
    EXPECT_THAT(read(bad), IsEmpty());
    auto good = bad;
    good.fans[0] = {"Lüfter 1", true, "normal"};
    EXPECT_THAT(read(good), ElementsAre(info("FOH: Lüfter 1 wieder in Ordnung")));
    EXPECT_THAT(read(good), IsEmpty());
}

TEST_F(SwitchWatchTest, FansStandBeforeSupplies) {
    SwitchStatus bad;
    bad.powerSupplies = {{"Netzteil 1", false, "ausgefallen"}};
    bad.fans = {{"Lüfter 1", false, "defekt"}};
    EXPECT_THAT(read(bad), ElementsAre(alarm("FOH: Lüfter 1 defekt"), alarm("FOH: Netzteil 1 ausgefallen")));
}

TEST_F(SwitchWatchTest, ATemperatureRaisesAtTheLimitAndClearsBelowTheHysteresis) {
    EXPECT_THAT(read(heat(69.9)), IsEmpty());
    EXPECT_THAT(read(heat(70.0)), ElementsAre(alarm("FOH: Temperatur CPU 70 °C (Grenze 70 °C)")));
    EXPECT_TRUE(watch.isHot(device.id, "CPU"));
    EXPECT_THAT(read(heat(67.5)), IsEmpty());
    EXPECT_THAT(read(heat(67.0)), IsEmpty());
    EXPECT_TRUE(watch.isHot(device.id, "CPU"));
    EXPECT_THAT(read(heat(66.9)), ElementsAre(info("FOH: Temperatur CPU wieder normal (66 °C)")));
    EXPECT_FALSE(watch.isHot(device.id, "CPU"));
}

TEST_F(SwitchWatchTest, DegreesAreCut) {
    EXPECT_THAT(watch.checkSwitch(device, heat(79.9), nullptr, 70.7),
                ElementsAre(alarm("FOH: Temperatur CPU 79 °C (Grenze 70 °C)")));
}

TEST_F(SwitchWatchTest, ASensorThatNoLongerTellsStaysAsItWas) {
    read(heat(80));
    EXPECT_THAT(read(SwitchStatus{}), IsEmpty());
    EXPECT_THAT(read(heat(80)), IsEmpty());
}

TEST_F(SwitchWatchTest, OfSensorsWithOneNameTheHottestCounts) {
    auto status = heat(40);
    status.temperatures.push_back({"CPU", 75});
    EXPECT_EQ(read(status).size(), 1u);
    EXPECT_THAT(read(status), IsEmpty()) << "the cool one does not clear it";
    EXPECT_THAT(watch.standing(device.id, status), ElementsAre("CPU 75 °C"));
}

TEST_F(SwitchWatchTest, OfPartsWithOneNameTheWorstCounts) {
    SwitchStatus status;
    status.fans = {{"Lüfter", true, "normal"}, {"Lüfter", false, "defekt"}};
    status.powerSupplies = {{"Lüfter", true, "ok"}};
    EXPECT_THAT(read(status), ElementsAre(alarm("FOH: Lüfter defekt")));
    EXPECT_THAT(read(status), IsEmpty());
}

TEST_F(SwitchWatchTest, ASensorAndAFanOfOneNameAreTwoThings) {
    auto status = heat(75);
    status.fans = {{"CPU", true, "normal"}};
    EXPECT_EQ(read(status).size(), 1u);
    EXPECT_THAT(read(status), IsEmpty());
}

TEST_F(SwitchWatchTest, APortThatIsDownAtTheFirstReadingNeverAlarms) {
    EXPECT_THAT(read(port(false)), IsEmpty());
    EXPECT_THAT(read(port(false)), IsEmpty());
}

TEST_F(SwitchWatchTest, APortThatDropsTellsWhoWasThere) {
    read(port(true, "Pult"));
    EXPECT_THAT(read(port(false)), ElementsAre(alarm("FOH: Port gi3 ist ausgefallen (war: Pult)")));
    EXPECT_THAT(read(port(false)), IsEmpty());
    EXPECT_THAT(read(port(true)), IsEmpty()) << "its return is no news";
    EXPECT_THAT(read(port(false)), ElementsAre(alarm("FOH: Port gi3 ist ausgefallen")));
}

TEST_F(SwitchWatchTest, ANeighbourWithoutANameIsNotTold) {
    read(port(true, ""));
    EXPECT_THAT(read(port(false)), ElementsAre(alarm("FOH: Port gi3 ist ausgefallen")));
}

TEST_F(SwitchWatchTest, APortThatTheReadingBeforeDidNotHaveNeverAlarms) {
    read(SwitchStatus{});
    EXPECT_THAT(read(port(false)), IsEmpty());
}

TEST_F(SwitchWatchTest, WhatStandsIsTold) {
    auto before = port(true), now = port(false);
    now.temperatures = {{"CPU", 74.9}};
    now.fans = {{"Lüfter 1", false, "defekt"}};
    read(before);
    read(now);
    EXPECT_THAT(watch.standing(device.id, now), ElementsAre("Lüfter 1 defekt", "CPU 74 °C", "Port gi3 ist ausgefallen"));
    EXPECT_THAT(watch.standing(base::UUID::random(), now), IsEmpty());
    watch.forget(device.id);
    EXPECT_THAT(watch.standing(device.id, now), IsEmpty());
}

TEST_F(SwitchWatchTest, ClearedItRaisesAnew) {
    read(heat(80));
    watch.clear();
    EXPECT_EQ(read(heat(80)).size(), 1u);
}

TEST_F(SwitchWatchTest, TwoSwitchesAreTwo) {
    read(heat(80));
    const NetDevice other{.name = "Bühne", .ip = "10.0.0.3"};
    EXPECT_EQ(watch.checkSwitch(other, heat(80), nullptr, limit).size(), 1u);
    watch.forget(other.id);
    EXPECT_TRUE(watch.isHot(device.id, "CPU"));
}

}  // namespace kestrelyne
