#include "Kestrelyne/Network/UPSWatch.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "Findings.hpp"

namespace kestrelyne {

namespace {

using netcore::UPSStatus;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr UPSLimits limits{.runtimeMinutes = 10, .load = 90};

UPSStatus healthy() {
    UPSStatus status;
    status.source = UPSStatus::Source::online;
    status.battery = UPSStatus::Battery::normal;
    status.charge = 100;
    status.runtimeMinutes = 42;
    status.load = {30, 35, 40};
    status.batteryTemperature = 24;
    return status;
}

}  // namespace

TEST(UPSWatch, EachWatchRaisesOnceAndTellsTheEnd) {
    struct Row {
        std::function<void(UPSStatus&)> spoil;
        const char *raised, *cleared;
    };
    const Row rows[] = {
        {[](auto& s) { s.source = UPSStatus::Source::battery; }, "USV läuft auf Batterie – Restlaufzeit 42 min",
         "wieder im Netzbetrieb"},
        {[](auto& s) { s.battery = UPSStatus::Battery::low; }, "Batterie schwach", "Batterie wieder normal"},
        {[](auto& s) { s.battery = UPSStatus::Battery::depleted; }, "Batterie leer", "Batterie wieder normal"},
        {[](auto& s) { s.battery = UPSStatus::Battery::fault; }, "Batterie meldet Fehler – Tausch prüfen",
         "Batteriefehler behoben"},
        {[](auto& s) { s.runtimeMinutes = 9.9; }, "Restlaufzeit nur noch 9 min", "Restlaufzeit wieder ausreichend"},
        {[](auto& s) { s.load[1] = 90; }, "Auslastung 90 %", "Auslastung wieder normal"},
        {[](auto& s) { s.source = UPSStatus::Source::bypass; }, "USV im Bypass – Last ungeschützt", "Bypass beendet"},
        {[](auto& s) { s.batteryTemperature = 40.0; }, "Batterietemperatur 40 °C", "Batterietemperatur normal"},
    };
    for (const auto& row : rows) {
        UPSWatch watch;
        auto bad = healthy();
        row.spoil(bad);
        EXPECT_THAT(watch.checkUPS("USV A", bad, limits),
                    ElementsAre(NetFinding{NetEvent::Level::alarm, std::string("USV A: ") + row.raised, "Strom"}));
        EXPECT_THAT(watch.checkUPS("USV A", bad, limits), IsEmpty());
        EXPECT_THAT(watch.checkUPS("USV A", healthy(), limits),
                    ElementsAre(NetFinding{NetEvent::Level::info, std::string("USV A: ") + row.cleared, "Strom"}));
        EXPECT_THAT(watch.checkUPS("USV A", healthy(), limits), IsEmpty());
    }
}

TEST(UPSWatch, WhatIsNotKnownIsNotWrong) {
    UPSWatch watch;
    EXPECT_THAT(watch.checkUPS("USV", UPSStatus{}, limits), IsEmpty());
    auto status = UPSStatus{};
    status.source = UPSStatus::Source::battery;
    const auto findings = watch.checkUPS("USV", status, limits);
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(findings[0].text, "USV: USV läuft auf Batterie");
}

TEST(UPSWatch, JustInsideTheLimitsNothingIsWrong) {
    UPSWatch watch;
    auto status = healthy();
    status.runtimeMinutes = 10;
    status.load = {89.9};
    status.batteryTemperature = 39.9;
    EXPECT_THAT(watch.checkUPS("USV", status, limits), IsEmpty());
}

TEST(UPSWatch, SeveralThingsStandInTheirOrder) {
    UPSWatch watch;
    auto status = healthy();
    status.source = UPSStatus::Source::battery;
    status.battery = UPSStatus::Battery::low;
    status.runtimeMinutes = 4;
    status.load = {104};
    std::vector<std::string> texts;
    for (const auto& finding : watch.checkUPS("U", status, limits)) texts.push_back(finding.text);
    EXPECT_THAT(texts, ElementsAre("U: USV läuft auf Batterie – Restlaufzeit 4 min", "U: Batterie schwach",
                                   "U: Restlaufzeit nur noch 4 min", "U: Auslastung 104 %"));
}

TEST(UPSWatch, TwoAreKnownByTheirNamesAndOneIsForgottenAlone) {
    UPSWatch watch;
    auto status = healthy();
    status.source = UPSStatus::Source::battery;
    EXPECT_EQ(watch.checkUPS("A", status, limits).size(), 1u);
    EXPECT_EQ(watch.checkUPS("B", status, limits).size(), 1u);
    watch.forget("A");
    EXPECT_EQ(watch.checkUPS("A", status, limits).size(), 1u);
    EXPECT_THAT(watch.checkUPS("B", status, limits), IsEmpty());
}

}  // namespace kestrelyne
