#include "NetCore/NUTFacts.hpp"

#include <gtest/gtest.h>

#include "Support/FakeClock.hpp"

namespace netcore {

namespace {

using Source = UPSStatus::Source;
using Battery = UPSStatus::Battery;

NUTDevice deviceWith(std::map<std::string, std::string> variables) { return {"rack", std::move(variables)}; }

UPSStatus statusOf(std::map<std::string, std::string> variables) {
    const auto finding = nutFinding(deviceWith(std::move(variables)), {});
    EXPECT_TRUE(finding);
    return finding ? finding->status : UPSStatus();
}

}  // namespace

TEST(NUTFacts, AUPSIsReadWhole) {
    const FakeClock clock;
    const auto finding = nutFinding(deviceWith({{"device.type", "ups"},
                                                {"device.mfr", "EATON"},
                                                {"device.model", "5P 1550"},
                                                {"battery.charge", "88"},
                                                {"battery.runtime", "1860"},
                                                {"battery.voltage", "13.60"},
                                                {"ups.status", "OL CHRG"}}),
                                    clock.moment());
    ASSERT_TRUE(finding);
    EXPECT_EQ(finding->key, "nut rack");
    EXPECT_EQ(finding->name, "5P 1550");
    const auto& status = finding->status;
    EXPECT_EQ(status.protocolName, "NUT");
    EXPECT_EQ(status.manufacturer, "EATON");
    EXPECT_EQ(status.model, "5P 1550");
    EXPECT_EQ(status.charge, 88);
    EXPECT_EQ(status.runtimeMinutes, 31);
    EXPECT_EQ(status.batteryVoltage, 13.6);
    EXPECT_EQ(status.source, Source::online);
    EXPECT_EQ(status.battery, Battery::normal);
    EXPECT_EQ(status.time.wall, clock.now());
}

TEST(NUTFacts, OlderNamesStandInAndANamelessOneHasAName) {
    const auto older = statusOf({{"ups.mfr", "APC"}, {"ups.model", " Smart-UPS "}, {"device.mfr", " "}});
    EXPECT_EQ(older.manufacturer, "APC");
    EXPECT_EQ(older.model, "Smart-UPS");
    const auto finding = nutFinding(deviceWith({}), {});
    ASSERT_TRUE(finding);
    EXPECT_EQ(finding->name, "USB-USV");
    EXPECT_EQ(finding->status.model, "USB-USV");
    EXPECT_EQ(finding->status.source, Source::unknown);
    EXPECT_EQ(finding->status.battery, Battery::normal);
    EXPECT_EQ(finding->status.charge, std::nullopt);
}

TEST(NUTFacts, TextsAreShortAndWhole) {
    const auto status = statusOf({{"ups.mfr", std::string(500, 'x')},
                                  {"ups.model",
                                   "a\xFF"
                                   "b"}});
    EXPECT_EQ(status.manufacturer.size(), 64U);
    EXPECT_EQ(status.model, "a\uFFFDb");
}

TEST(NUTFacts, OnlyAUPSIsOne) {
    EXPECT_FALSE(nutFinding(deviceWith({{"device.type", "pdu"}}), {}));
    EXPECT_TRUE(nutFinding(deviceWith({{"device.type", "ups"}}), {}));
}

TEST(NUTFacts, TheStatusTellsTheSource) {
    struct Row {
        const char* status;
        Source expected;
    };
    for (const auto& [status, expected] :
         {Row{"OL", Source::online}, Row{"OL CHRG", Source::online}, Row{"OB DISCHRG", Source::battery},
          Row{"ALARM OB LB", Source::battery}, Row{"OL OB", Source::battery}, Row{"", Source::unknown},
          Row{"WAIT", Source::unknown}, Row{"OFF", Source::unknown}, Row{"OLD", Source::unknown}, Row{"ol", Source::unknown}})
        EXPECT_EQ(statusOf({{"ups.status", status}}).source, expected) << status;
}

TEST(NUTFacts, TheBatteryIsLowByMarkOrByChargeAndFaultyByItsMark) {
    struct Row {
        const char *status, *charge, *low;
        Battery expected;
    };
    for (const auto& [status, charge, low, expected] :
         {Row{"OB", "80", "20", Battery::normal}, Row{"OB LB", "80", "20", Battery::low}, Row{"OB", "21", "20", Battery::normal},
          Row{"OB", "20", "20", Battery::low}, Row{"OL", "5", "20", Battery::low}, Row{"OL", "20", "", Battery::normal},
          Row{"OL", "", "20", Battery::normal}, Row{"OL RB", "80", "20", Battery::fault},
          Row{"OB LB RB", "5", "20", Battery::fault}})
        EXPECT_EQ(statusOf({{"ups.status", status}, {"battery.charge", charge}, {"battery.charge.low", low}}).battery, expected)
            << status << ", " << charge << ", " << low;
}

TEST(NUTFacts, NumbersThatAreNoneAreAbsent) {
    const auto status = statusOf({{"battery.charge", "viel"}, {"battery.runtime", "-1"}, {"battery.voltage", "0"}});
    EXPECT_EQ(status.charge, std::nullopt);
    EXPECT_EQ(status.runtimeMinutes, std::nullopt);
    EXPECT_EQ(status.batteryVoltage, std::nullopt);
    EXPECT_EQ(statusOf({{"battery.runtime", "0"}}).runtimeMinutes, 0) << "an empty battery is known";
}

}  // namespace netcore
