#include "NetCore/UPSReader.hpp"

#include <gtest/gtest.h>

#include "FakeSNMPTarget.hpp"
#include "Support/FakeClock.hpp"

namespace netcore {

namespace {

using Source = UPSStatus::Source;
using Battery = UPSStatus::Battery;
using Numbers = std::vector<double>;

const std::string ups = "1.3.6.1.2.1.33.1.";
const std::string apc = "1.3.6.1.4.1.318.1.1.1.";
const std::string description = "1.3.6.1.2.1.1.1.0";

// What a call throws.
template <class Call>
std::pair<NetError::Case, std::string> failureOf(Call call) {
    try {
        call();
    } catch (const NetError& error) {
        return {error.kind(), error.text()};
    }
    ADD_FAILURE() << "nothing was thrown";
    return {};
}

const std::pair failsAsNoStandard(NetError::Case::protocolError, std::string("keine UPS-MIB"));
const std::pair failsAsNoAPC(NetError::Case::protocolError, std::string("keine APC-MIB"));
const std::pair failsByTimeout(NetError::Case::timeout, std::string());

FakeSNMPTarget standardDevice() {
    FakeSNMPTarget device;
    device.set(ups + "1.1.0", "Hersteller");
    device.set(ups + "1.2.0", "Modell 10");
    device.set(ups + "2.1.0", 2);
    device.set(ups + "2.2.0", 7);
    device.set(ups + "2.3.0", 42);
    device.set(ups + "2.4.0", 98);
    device.set(ups + "2.5.0", 2165);
    device.set(ups + "2.7.0", 27);
    device.set(ups + "3.3.1.2.1", 499);
    device.set(ups + "3.3.1.2.2", 501);
    device.set(ups + "4.1.0", 3);
    device.set(ups + "4.2.0", 500);
    device.set(ups + "6.1.0", SNMPValue(SNMPValue::Gauge{2}));
    for (int phase = 1; phase <= 3; ++phase) {
        const auto end = "." + std::to_string(phase);
        device.set(ups + "3.3.1.3" + end, 228 + phase);
        device.set(ups + "4.4.1.2" + end, 231 + phase);
        device.set(ups + "4.4.1.3" + end, 60 + phase);
        device.set(ups + "4.4.1.4" + end, 1400 + phase);
    }
    device.set(ups + "4.4.1.5.1", 38);
    device.set(ups + "4.4.1.5.2", 44);
    device.set(ups + "4.4.1.5.3", 41);
    return device;
}

FakeSNMPTarget apcDevice() {
    FakeSNMPTarget device;
    device.set(apc + "1.1.1.0", "Smart-UPS 3000");
    device.set(apc + "2.1.1.0", 2);
    device.set(apc + "2.2.1.0", SNMPValue(SNMPValue::Gauge{97}));
    device.set(apc + "2.2.2.0", SNMPValue(SNMPValue::Gauge{31}));
    device.set(apc + "2.2.3.0", SNMPValue(SNMPValue::Ticks{150000}));
    device.set(apc + "3.2.1.0", SNMPValue(SNMPValue::Gauge{229}));
    device.set(apc + "3.2.4.0", SNMPValue(SNMPValue::Gauge{50}));
    device.set(apc + "4.1.1.0", 2);
    device.set(apc + "4.2.1.0", SNMPValue(SNMPValue::Gauge{230}));
    device.set(apc + "4.2.2.0", SNMPValue(SNMPValue::Gauge{50}));
    device.set(apc + "4.2.3.0", SNMPValue(SNMPValue::Gauge{21}));
    device.set(apc + "4.2.4.0", SNMPValue(SNMPValue::Gauge{3}));
    return device;
}

}  // namespace

TEST(UPSStatus, IsUnknownUntilItIsRead) {
    const UPSStatus status;
    EXPECT_EQ(status.source, Source::unknown);
    EXPECT_EQ(status.battery, Battery::unknown);
    EXPECT_EQ(status.alarmCount, 0);
    EXPECT_EQ(status.charge, std::nullopt);
    EXPECT_EQ(status.maxLoad(), std::nullopt) << "no phases";
}

TEST(UPSStatus, TextsAreThoseThatUsersRead) {
    EXPECT_EQ(text(Source::online), "Netzbetrieb");
    EXPECT_EQ(text(Source::battery), "Batteriebetrieb");
    EXPECT_EQ(text(Source::bypass), "Bypass");
    EXPECT_EQ(text(Source::boost), "Boost (Unterspannung)");
    EXPECT_EQ(text(Source::reducer), "Buck (Überspannung)");
    EXPECT_EQ(text(Source::off), "Ausgang aus");
    EXPECT_EQ(text(Source::unknown), "unbekannt");
    EXPECT_EQ(text(Battery::normal), "normal");
    EXPECT_EQ(text(Battery::low), "schwach");
    EXPECT_EQ(text(Battery::depleted), "leer");
    EXPECT_EQ(text(Battery::fault), "Fehler / tauschen");
    EXPECT_EQ(text(Battery::unknown), "unbekannt");
}

TEST(UPSReader, ReadsTheStandardTables) {
    const auto device = standardDevice();
    const FakeClock clock;
    const auto status = UPSReader::read(device, clock);
    EXPECT_EQ(status.protocolName, "UPS-MIB (RFC 1628)");
    EXPECT_EQ(status.manufacturer, "Hersteller");
    EXPECT_EQ(status.model, "Modell 10");
    EXPECT_EQ(status.source, Source::online);
    EXPECT_EQ(status.battery, Battery::normal);
    EXPECT_EQ(status.charge, 98);
    EXPECT_EQ(status.runtimeMinutes, 42);
    EXPECT_EQ(status.secondsOnBattery, 7);
    EXPECT_EQ(status.batteryVoltage, 216.5);
    EXPECT_EQ(status.batteryTemperature, 27);
    EXPECT_EQ(status.inputVoltage, (Numbers{229, 230, 231}));
    EXPECT_EQ(status.inputFrequency, 49.9) << "of the first line";
    EXPECT_EQ(status.outputVoltage, (Numbers{232, 233, 234}));
    EXPECT_EQ(status.outputCurrent, (Numbers{6.1, 6.2, 6.3}));
    EXPECT_EQ(status.outputPowerW, (Numbers{1401, 1402, 1403}));
    EXPECT_EQ(status.load, (Numbers{38, 44, 41}));
    EXPECT_EQ(status.maxLoad(), 44);
    EXPECT_EQ(status.outputFrequency, 50);
    EXPECT_EQ(status.alarmCount, 2);
    EXPECT_EQ(status.time.wall, clock.now());
    ASSERT_EQ(device.gets.size(), 1U) << "one request, then the tables";
    EXPECT_EQ(device.gets[0].size(), 11U);
    EXPECT_EQ(device.walks.size(), 6U);
    EXPECT_EQ(device.limits, std::vector(6, 2000));
}

TEST(UPSReader, ReadsAPCWhereTheStandardIsUnknown) {
    const auto device = apcDevice();
    EXPECT_EQ(failureOf([&] { UPSReader::readRFC1628(device); }), failsAsNoStandard);
    device.gets.clear();
    const auto status = UPSReader::read(device);
    EXPECT_EQ(status.protocolName, "APC PowerNet-MIB");
    EXPECT_EQ(status.manufacturer, "APC");
    EXPECT_EQ(status.model, "Smart-UPS 3000");
    EXPECT_EQ(status.source, Source::online);
    EXPECT_EQ(status.battery, Battery::normal);
    EXPECT_EQ(status.charge, 97);
    EXPECT_EQ(status.runtimeMinutes, 25) << "150000 hundredths of a second";
    EXPECT_EQ(status.batteryTemperature, 31);
    EXPECT_EQ(status.inputVoltage, Numbers{229});
    EXPECT_EQ(status.inputFrequency, 50);
    EXPECT_EQ(status.outputVoltage, Numbers{230});
    EXPECT_EQ(status.outputCurrent, Numbers{3});
    EXPECT_EQ(status.outputFrequency, 50);
    EXPECT_EQ(status.load, Numbers{21});
    EXPECT_EQ(status.secondsOnBattery, std::nullopt);
    EXPECT_EQ(status.batteryVoltage, std::nullopt);
    EXPECT_EQ(status.outputPowerW, Numbers());
    EXPECT_EQ(status.alarmCount, 0);
    ASSERT_EQ(device.gets.size(), 2U);
    EXPECT_EQ(device.gets[1].size(), 12U);
    EXPECT_TRUE(device.walks.empty());
}

TEST(UPSReader, TheStandardComesFirst) {
    auto device = standardDevice();
    device.set(apc + "1.1.1.0", "Smart-UPS 3000");
    EXPECT_EQ(UPSReader::read(device).protocolName, "UPS-MIB (RFC 1628)");
}

TEST(UPSReader, KnowsTheStatesOfTheStandard) {
    struct Row {
        int number;
        Source source;
        Battery battery;
    };
    for (const auto& [number, source, battery] :
         {Row{0, Source::unknown, Battery::unknown}, Row{1, Source::unknown, Battery::unknown},
          Row{2, Source::off, Battery::normal}, Row{3, Source::online, Battery::low}, Row{4, Source::bypass, Battery::depleted},
          Row{5, Source::battery, Battery::unknown}, Row{6, Source::boost, Battery::unknown},
          Row{7, Source::reducer, Battery::unknown}, Row{8, Source::unknown, Battery::unknown},
          Row{-3, Source::unknown, Battery::unknown}}) {
        auto device = standardDevice();
        device.set(ups + "4.1.0", number);
        device.set(ups + "2.1.0", number);
        const auto status = UPSReader::read(device);
        EXPECT_EQ(status.source, source) << number;
        EXPECT_EQ(status.battery, battery) << number;
    }
}

TEST(UPSReader, KnowsTheStatesOfAPC) {
    struct Row {
        int number;
        Source source;
        Battery battery;
    };
    for (const auto& [number, source, battery] :
         {Row{1, Source::unknown, Battery::unknown}, Row{2, Source::online, Battery::normal}, Row{3, Source::battery, Battery::low},
          Row{4, Source::boost, Battery::fault}, Row{5, Source::unknown, Battery::unknown}, Row{6, Source::off, Battery::unknown},
          Row{7, Source::off, Battery::unknown}, Row{8, Source::unknown, Battery::unknown},
          Row{9, Source::bypass, Battery::unknown}, Row{10, Source::unknown, Battery::unknown},
          Row{11, Source::unknown, Battery::unknown}, Row{12, Source::reducer, Battery::unknown},
          Row{13, Source::unknown, Battery::unknown}}) {
        auto device = apcDevice();
        device.set(apc + "4.1.1.0", number);
        device.set(apc + "2.1.1.0", number);
        const auto status = UPSReader::read(device);
        EXPECT_EQ(status.source, source) << number;
        EXPECT_EQ(status.battery, battery) << number;
    }
}

TEST(UPSReader, WhatIsMissingStaysAbsent) {
    FakeSNMPTarget standard;
    standard.set(ups + "2.1.0", 2);
    auto status = UPSReader::read(standard);
    EXPECT_EQ(status.protocolName, "UPS-MIB (RFC 1628)");
    EXPECT_EQ(status.manufacturer + status.model, "");
    EXPECT_EQ(status.source, Source::unknown);
    EXPECT_EQ(status.inputFrequency, std::nullopt);
    EXPECT_EQ(status.load, Numbers());
    EXPECT_EQ(status.maxLoad(), std::nullopt);
    EXPECT_EQ(status.alarmCount, 0);

    FakeSNMPTarget apcAlone;
    apcAlone.set(apc + "1.1.1.0", "Smart-UPS");
    status = UPSReader::read(apcAlone);
    EXPECT_EQ(status.battery, Battery::unknown);
    EXPECT_EQ(status.runtimeMinutes, std::nullopt);
    EXPECT_EQ(status.inputVoltage, Numbers());
    EXPECT_EQ(status.load, Numbers());
}

TEST(UPSReader, AValueOfTheWrongKindIsAbsentAndTheRestIsRead) {
    auto device = standardDevice();
    for (const char* number : {"2.2.0", "2.3.0", "2.4.0", "2.5.0", "2.7.0", "4.1.0", "4.2.0", "6.1.0"})
        device.set(ups + number, "12");
    device.set(ups + "1.1.0", 5);
    device.set(ups + "1.2.0", SNMPValue(SNMPValue::Null{}));
    device.set(ups + "4.4.1.5.2", "44");
    const auto status = UPSReader::read(device);
    EXPECT_EQ(status.battery, Battery::normal);
    EXPECT_EQ(status.manufacturer + status.model, "");
    EXPECT_EQ(status.secondsOnBattery, std::nullopt);
    EXPECT_EQ(status.runtimeMinutes, std::nullopt);
    EXPECT_EQ(status.charge, std::nullopt);
    EXPECT_EQ(status.batteryVoltage, std::nullopt);
    EXPECT_EQ(status.batteryTemperature, std::nullopt);
    EXPECT_EQ(status.source, Source::unknown);
    EXPECT_EQ(status.outputFrequency, std::nullopt);
    EXPECT_EQ(status.alarmCount, 0);
    EXPECT_EQ(status.load, (Numbers{38, 41})) << "the numeric rows in their order";
    EXPECT_EQ(status.inputVoltage.size(), 3U);

    auto other = apcDevice();
    for (const char* number :
         {"2.1.1.0", "2.2.1.0", "2.2.2.0", "2.2.3.0", "3.2.1.0", "3.2.4.0", "4.1.1.0", "4.2.1.0", "4.2.2.0", "4.2.3.0", "4.2.4.0"})
        other.set(apc + number, "12");
    const auto apcStatus = UPSReader::read(other);
    EXPECT_EQ(apcStatus.model, "Smart-UPS 3000");
    EXPECT_EQ(apcStatus.battery, Battery::unknown);
    EXPECT_EQ(apcStatus.charge, std::nullopt);
    EXPECT_EQ(apcStatus.runtimeMinutes, std::nullopt);
    EXPECT_EQ(apcStatus.inputVoltage, Numbers());
    EXPECT_EQ(apcStatus.outputCurrent, Numbers());
}

TEST(UPSReader, TheIdentifyingValuesMustBeOfTheirKind) {
    auto device = standardDevice();
    device.set(ups + "2.1.0", "2");
    EXPECT_EQ(failureOf([&] { UPSReader::readRFC1628(device); }), failsAsNoStandard);
    auto other = apcDevice();
    other.set(apc + "1.1.1.0", 3000);
    EXPECT_EQ(failureOf([&] { UPSReader::readAPC(other); }), failsAsNoAPC);
}

TEST(UPSReader, AHugeCountOfAlarmsIsHeldToWhatCanBeCounted) {
    auto device = standardDevice();
    device.set(ups + "6.1.0", SNMPValue(SNMPValue::Counter{0xFFFFFFFFFFFFFFFF}));
    EXPECT_EQ(UPSReader::read(device).alarmCount, std::numeric_limits<int>::max());
}

TEST(UPSReader, ATableThatFailsIsEmpty) {
    auto device = standardDevice();
    device.fail(ups + "3.3.1.2");
    device.fail(ups + "4.4.1.5");
    const auto status = UPSReader::read(device);
    EXPECT_EQ(status.inputFrequency, std::nullopt);
    EXPECT_EQ(status.load, Numbers());
    EXPECT_EQ(status.outputVoltage.size(), 3U);
}

TEST(UPSReader, ADeviceThatSpeaksNeitherIsToldSo) {
    FakeSNMPTarget device;
    device.set(description, "ein Drucker");
    EXPECT_EQ(failureOf([&] { UPSReader::read(device); }),
              (std::pair(NetError::Case::protocolError,
                         std::string("Gerät antwortet, liefert aber weder UPS-MIB (RFC 1628) noch APC-PowerNet-Daten"))));
    ASSERT_EQ(device.gets.size(), 3U);
    EXPECT_EQ(device.gets[2], std::vector{description});
}

TEST(UPSReader, ASilentDeviceTimesOutAfterThreeWaits) {
    FakeSNMPTarget device;
    device.failAll();
    EXPECT_EQ(failureOf([&] { UPSReader::read(device); }), failsByTimeout);
    EXPECT_EQ(device.gets.size(), 3U);
    EXPECT_TRUE(device.walks.empty());
    EXPECT_EQ(failureOf([&] { UPSReader::readRFC1628(device); }), failsByTimeout) << "alone, it tells why";
    EXPECT_EQ(failureOf([&] { UPSReader::readAPC(device); }), failsByTimeout);
}

TEST(UPSReader, AnErrorOfTheFirstReaderIsDroppedForTheSecond) {
    auto device = apcDevice();
    device.fail(ups + "2.1.0");
    EXPECT_EQ(UPSReader::read(device).protocolName, "APC PowerNet-MIB");
}

}  // namespace netcore
