#include "NetCore/UPowerFacts.hpp"

#include <gtest/gtest.h>

#include <limits>

#include "Support/FakeClock.hpp"

namespace netcore {

namespace {

using Source = UPSStatus::Source;
using Battery = UPSStatus::Battery;

UPowerDevice anyUPS() {
    UPowerDevice device;
    device.path = "/org/freedesktop/UPower/devices/ups_hiddev0";
    device.vendor = "APC";
    device.model = "Back-UPS 700";
    device.type = 3;
    device.state = 4;
    device.warningLevel = 1;
    device.percentage = 88;
    device.timeToEmpty = 1830;
    device.voltage = 13.6;
    return device;
}

UPSStatus statusOf(const UPowerDevice& device) {
    const auto finding = upowerFinding(device, {});
    EXPECT_TRUE(finding);
    return finding ? finding->status : UPSStatus();
}

}  // namespace

TEST(UPowerFacts, AUPSIsReadWhole) {
    const FakeClock clock;
    const auto finding = upowerFinding(anyUPS(), clock.moment());
    ASSERT_TRUE(finding);
    EXPECT_EQ(finding->key, "upower /org/freedesktop/UPower/devices/ups_hiddev0");
    EXPECT_EQ(finding->name, "Back-UPS 700");
    const auto& status = finding->status;
    EXPECT_EQ(status.protocolName, "USB (UPower)");
    EXPECT_EQ(status.manufacturer, "APC");
    EXPECT_EQ(status.model, "Back-UPS 700");
    EXPECT_EQ(status.charge, 88);
    EXPECT_EQ(status.runtimeMinutes, 30.5);
    EXPECT_EQ(status.batteryVoltage, 13.6);
    EXPECT_EQ(status.source, Source::online);
    EXPECT_EQ(status.battery, Battery::normal);
    EXPECT_EQ(status.time.wall, clock.now());
}

TEST(UPowerFacts, OnlyAUPSIsOne) {
    for (std::uint32_t type = 0; type < 30; ++type) {
        auto device = anyUPS();
        device.type = type;
        EXPECT_EQ(upowerFinding(device, {}).has_value(), type == 3) << type << ": 2 is the battery of a laptop";
    }
}

TEST(UPowerFacts, ANamelessOneHasAName) {
    auto device = anyUPS();
    device.model = "  ";
    device.vendor = "";
    const auto finding = upowerFinding(device, {});
    ASSERT_TRUE(finding);
    EXPECT_EQ(finding->name, "USB-USV");
    EXPECT_EQ(finding->status.model, "USB-USV");
    EXPECT_EQ(finding->status.manufacturer, "");
}

TEST(UPowerFacts, TextsAreShortAndWhole) {
    auto device = anyUPS();
    device.vendor = std::string(500, 'x');
    device.model = " Back\nUPS ";
    const auto status = statusOf(device);
    EXPECT_EQ(status.manufacturer.size(), 64U);
    EXPECT_EQ(status.model, "Back\uFFFDUPS");
}

TEST(UPowerFacts, TheStateTellsTheSource) {
    struct Row {
        std::uint32_t state;
        Source expected;
    };
    for (const auto& [state, expected] :
         {Row{0, Source::unknown}, Row{1, Source::online}, Row{2, Source::battery}, Row{3, Source::battery}, Row{4, Source::online},
          Row{5, Source::online}, Row{6, Source::unknown}, Row{99, Source::unknown}}) {
        auto device = anyUPS();
        device.state = state;
        EXPECT_EQ(statusOf(device).source, expected) << state;
    }
}

TEST(UPowerFacts, TheWarningTellsALowBattery) {
    for (std::uint32_t level = 0; level <= 5; ++level) {
        auto device = anyUPS();
        device.warningLevel = level;
        EXPECT_EQ(statusOf(device).battery, level >= 3 ? Battery::low : Battery::normal) << level;
    }
}

TEST(UPowerFacts, WhatIsNotKnownIsAbsent) {
    for (const std::int64_t seconds : {std::int64_t(0), std::int64_t(-1), std::numeric_limits<std::int64_t>::min()}) {
        auto device = anyUPS();
        device.timeToEmpty = seconds;
        EXPECT_EQ(statusOf(device).runtimeMinutes, std::nullopt) << seconds;
    }
    for (const double number : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        auto device = anyUPS();
        device.voltage = number;
        EXPECT_EQ(statusOf(device).batteryVoltage, std::nullopt) << number;
    }
    auto device = anyUPS();
    device.percentage = std::nullopt;
    EXPECT_EQ(statusOf(device).charge, std::nullopt);
    device.percentage = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(statusOf(device).charge, std::nullopt);
    device.percentage = 0;
    EXPECT_EQ(statusOf(device).charge, 0) << "an empty battery is known";
}

}  // namespace netcore
