#include "Kestrelyne/Metering/AlarmRule.hpp"

#include <gtest/gtest.h>

#include "Base/JSONFields.hpp"
#include "Kestrelyne/Metering/AlarmPreset.hpp"

using namespace kestrelyne;

TEST(AlarmRule, TheSummaryNamesMeasurementConditionAndLimit) {
    AlarmRule rule;
    rule.address = 19050;
    rule.threshold = 50.5;
    EXPECT_EQ(rule.summary(), "Netz Frequenz > 50,500 Hz");
    rule.address = 19000;
    rule.condition = AlarmCondition::below;
    rule.threshold = 207;
    EXPECT_EQ(rule.summary(), "Spannung L-N L1 < 207,0 V");
}

// The limit is a number even for the field whose values read as words.
TEST(AlarmRule, TheSummaryFormatsTheLimitWithoutTheChannel) {
    AlarmRule rule;
    rule.address = 19052;
    rule.threshold = 1;
    EXPECT_EQ(rule.summary(), "Netz Drehfeld > 1,000");
}

TEST(AlarmRule, AnAddressOutsideTheTableReadsAsRegister) {
    AlarmRule rule;
    rule.address = 4711;
    EXPECT_EQ(rule.summary(), "Register 4711");
}

TEST(AlarmConfig, RoundTrips) {
    AlarmConfig config;
    config.rules = rules(AlarmPreset::starPoint);
    config.rules.front().enabled = false;
    config.commLossEnabled = false;
    config.commLossDelay = 2.5;
    EXPECT_EQ(decodeAlarmConfig(encodeAlarmConfig(config)), config);
}

TEST(AlarmConfig, HasTheStoredFormOfEachField) {
    AlarmRule rule;
    rule.id = *base::UUID::parse("E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
    const auto json = base::parseJSON(encodeAlarmConfig({{rule}, true, 10}));
    EXPECT_EQ(json, base::parseJSON(R"({"rules":[{"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","enabled":true,"address":19026,
        "condition":"größer als","threshold":0.0,"hysteresis":0.0,"delay":5.0,"severity":"Alarm","notify":true,"sound":true,"note":"",
        "displayScale":1.0}],"commLossEnabled":true,"commLossDelay":10.0})"));
}

TEST(AlarmConfig, EveryKeyIsRequired) {
    const auto whole = base::parseJSON(encodeAlarmConfig({rules(AlarmPreset::neutral), true, 10}));
    for (const auto& [key, value] : whole.items()) {
        auto lacking = whole;
        lacking.erase(key);
        EXPECT_THROW(decodeAlarmConfig(lacking.dump()), base::DecodeError) << key;
    }
    for (const auto& [key, value] : whole["rules"][0].items()) {
        auto lacking = whole;
        lacking["rules"][0].erase(key);
        EXPECT_THROW(decodeAlarmConfig(lacking.dump()), base::DecodeError) << key;
    }
    auto wrong = whole;
    wrong["rules"][0]["severity"] = "Panik";
    EXPECT_THROW(decodeAlarmConfig(wrong.dump()), base::DecodeError);
}

TEST(AlarmEvent, RoundTripsWithAndWithoutARule) {
    AlarmEvent event;
    event.date = *base::wallTimeSince2001(800000000.25);
    event.kind = AlarmEvent::Kind::commRestored;
    event.text = "Kommunikation wiederhergestellt";
    event.acknowledged = true;
    EXPECT_EQ(decodeAlarmLog("[" + encodeAlarmEvent(event) + "]"), std::vector{event});
    EXPECT_EQ(encodeAlarmEvent(event).find("ruleID"), std::string::npos);
    event.ruleID = base::UUID::random();
    event.kind = AlarmEvent::Kind::raised;
    EXPECT_EQ(decodeAlarmLog("[" + encodeAlarmEvent(event) + "]"), std::vector{event});
}

TEST(AlarmEvent, AnEndingReadsAsInfo) {
    AlarmEvent event;
    event.text = "x";
    event.severity = AlarmSeverity::warning;
    EXPECT_EQ(event.level(), "Warnung");
    EXPECT_EQ(event.recordText(), "x");
    event.kind = AlarmEvent::Kind::cleared;
    EXPECT_EQ(event.level(), "Info");
    EXPECT_EQ(event.recordText(), "Behoben: x");
}

TEST(AlarmPreset, HasTheRulesOfItsTable) {
    struct Row {
        AlarmPreset preset;
        const char* title;
        std::vector<int> addresses;
        AlarmCondition condition;
        double threshold, hysteresis, delay;
        AlarmSeverity severity;
    };
    using enum AlarmCondition;
    using enum AlarmSeverity;
    const std::vector<Row> rows = {
        {AlarmPreset::overvoltage, "Überspannung L-N > 253 V (+10 %)", {19000, 19002, 19004}, above, 253, 2, 10, alarm},
        {AlarmPreset::undervoltage, "Unterspannung L-N < 207 V (−10 %)", {19000, 19002, 19004}, below, 207, 2, 10, alarm},
        {AlarmPreset::thdU, "THD Spannung > 8 % (EN 50160)", {19110, 19112, 19114}, above, 8, 0.5, 60, warning},
        {AlarmPreset::powerFactor, "cos φ < 0,9", {19044, 19046, 19048}, below, 0.9, 0.02, 60, warning},
        {AlarmPreset::overcurrent, "Überstrom (Grenzwert anpassen)", {19012, 19014, 19016}, above, 63, 2, 5, alarm},
        {AlarmPreset::neutral, "N-Leiterstrom > 20 A", {19018}, above, 20, 2, 10, warning},
        {AlarmPreset::starPoint, "Sternpunktverschiebung U0 > 5 V", {802}, above, 5, 1, 5, alarm},
        {AlarmPreset::unbalance, "Spannungsunsymmetrie > 2 % (EN 50160)", {90000}, above, 2, 0.2, 60, warning},
        {AlarmPreset::rcm, "Differenzstrom (RCM) > 30 mA", {10873, 10875}, above, 0.03, 0.005, 1, alarm},
        {AlarmPreset::power, "Wirkleistung Σ > 50 kW (Grenzwert anpassen)", {19026}, above, 50000, 2000, 10, warning}};
    for (const auto& row : rows) {
        EXPECT_EQ(title(row.preset), row.title);
        const auto made = rules(row.preset);
        ASSERT_EQ(made.size(), row.addresses.size()) << row.title;
        for (std::size_t i = 0; i < made.size(); ++i) {
            EXPECT_EQ(made[i].address, row.addresses[i]) << row.title;
            EXPECT_EQ(made[i].condition, row.condition) << row.title;
            EXPECT_EQ(made[i].threshold, row.threshold) << row.title;
            EXPECT_EQ(made[i].hysteresis, row.hysteresis) << row.title;
            EXPECT_EQ(made[i].delay, row.delay) << row.title;
            EXPECT_EQ(made[i].severity, row.severity) << row.title;
            EXPECT_TRUE(made[i].enabled && made[i].notify && made[i].sound) << row.title;
            EXPECT_EQ(made[i].note, row.preset == AlarmPreset::starPoint ? "N-Leiter prüfen" : "") << row.title;
            EXPECT_EQ(made[i].displayScale, row.preset == AlarmPreset::power ? 1000 : 1) << row.title;
            EXPECT_NE(made[i].measurement(), nullptr) << row.title;
        }
    }
    const auto band = rules(AlarmPreset::frequency);
    ASSERT_EQ(band.size(), 2u);
    EXPECT_EQ(band[0].summary(), "Netz Frequenz > 50,500 Hz");
    EXPECT_EQ(band[1].summary(), "Netz Frequenz < 49,500 Hz");
    EXPECT_EQ(title(AlarmPreset::frequency), "Frequenz außerhalb 49,5 … 50,5 Hz");
    EXPECT_EQ(allAlarmPresets().size(), rows.size() + 1);
    EXPECT_NE(rules(AlarmPreset::neutral)[0].id, rules(AlarmPreset::neutral)[0].id);
}

TEST(AlarmConfig, AnAddressOutOfRangeIsRefused) {
    auto json = base::parseJSON(encodeAlarmConfig({rules(AlarmPreset::neutral), true, 10}));
    for (const auto address : {std::numeric_limits<long long>::min(), std::numeric_limits<long long>::max(), 2147483648LL}) {
        json["rules"][0]["address"] = address;
        EXPECT_THROW(decodeAlarmConfig(json.dump()), base::DecodeError) << address;
    }
    json["rules"][0]["address"] = std::numeric_limits<int>::min();
    EXPECT_EQ(decodeAlarmConfig(json.dump()).rules.at(0).summary(), "Register -2147483648");
}

TEST(AlarmConfig, OfRulesWithOneIdTheFirstCounts) {
    AlarmConfig config;
    config.rules = rules(AlarmPreset::rcm);
    config.rules[1].id = config.rules[0].id;
    const auto decoded = decodeAlarmConfig(encodeAlarmConfig(config));
    ASSERT_EQ(decoded.rules.size(), 1u);
    EXPECT_EQ(decoded.rules[0], config.rules[0]);
}
