#include "Kestrelyne/Metering/AlarmEngine.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "Kestrelyne/Metering/AlarmPreset.hpp"

using namespace kestrelyne;
using metercore::ValueSet;

namespace {

// An engine whose time is passed by the test, and all that it tells the world.
class AlarmEngineTest : public testing::Test {
protected:
    base::Moment at(double seconds) const {
        const auto passed = std::chrono::duration_cast<std::chrono::nanoseconds>(base::Seconds(seconds));
        return {base::WallTime(std::chrono::seconds(1782900000)) + passed, base::SteadyTime(std::chrono::seconds(50)) + passed};
    }
    AlarmRule addRule(AlarmCondition condition, double threshold, double hysteresis, double delay, int address = 19000) {
        AlarmRule rule;
        rule.address = address;
        rule.condition = condition;
        rule.threshold = threshold;
        rule.hysteresis = hysteresis;
        rule.delay = delay;
        engine.upsert(rule);
        return rule;
    }
    void evaluate(double seconds, double value, int address = 19000) { engine.evaluate({{address, value}}, at(seconds)); }
    std::vector<std::string> texts() const {
        std::vector<std::string> all;
        for (const auto& event : *engine.events()) all.push_back(event.text);
        return all;
    }

    struct Recorded {
        std::string source, level, text;
        bool operator==(const Recorded&) const = default;
    };
    SettingsStore settings;
    std::vector<Recorded> recorded;
    std::vector<Notifier::PushMessage> pushed;
    std::vector<Notifier::DesktopNotice> notices;
    std::vector<std::string> sounds;
    AlarmOutlets outlets{{[this](Notifier::PushMessage message) { pushed.push_back(std::move(message)); },
                          [this](Notifier::DesktopNotice notice) { notices.push_back(std::move(notice)); }},
                         [this](const std::string& source, std::string_view level, const std::string& text) {
                             recorded.push_back({source, std::string(level), text});
                         },
                         [this](std::string_view name) { sounds.emplace_back(name); }};
    const base::UUID device = *base::UUID::parse("E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
    AlarmEngine engine{device, "Bühne", settings, outlets};
};

}  // namespace

TEST_F(AlarmEngineTest, AValueAtTheLimitIsNoViolation) {
    const auto rule = addRule(AlarmCondition::above, 253, 2, 10);
    evaluate(0, 253.0);
    EXPECT_FALSE(engine.isPending(rule.id));
    evaluate(1, 253.1);
    EXPECT_TRUE(engine.isPending(rule.id));
}

TEST_F(AlarmEngineTest, ClearsAtTheFarEdgeOfTheHysteresisBand) {
    struct Row {
        AlarmCondition condition;
        double threshold, raising, holding, edge;
    };
    for (const auto& row :
         {Row{AlarmCondition::above, 253, 254, 251.1, 251.0}, Row{AlarmCondition::below, 207, 206, 208.9, 209.0}}) {
        const auto rule = addRule(row.condition, row.threshold, 2, 0);
        evaluate(0, row.raising);
        ASSERT_TRUE(engine.state(rule.id).active);
        evaluate(1, row.holding);
        EXPECT_TRUE(engine.state(rule.id).active);
        evaluate(2, row.edge);
        EXPECT_FALSE(engine.state(rule.id).active);
        engine.remove(rule.id);
    }
}

TEST_F(AlarmEngineTest, TheDelayGovernsComingAndGoing) {
    const auto rule = addRule(AlarmCondition::above, 253, 2, 5);
    for (int second = 0; second < 5; ++second) evaluate(second, 260);
    EXPECT_FALSE(engine.state(rule.id).active);
    EXPECT_TRUE(engine.events()->empty());
    evaluate(5, 260);
    EXPECT_TRUE(engine.state(rule.id).active);
    EXPECT_EQ(engine.state(rule.id).since, at(5).wall);
    for (int second = 6; second < 11; ++second) evaluate(second, 230);
    EXPECT_TRUE(engine.state(rule.id).active);
    evaluate(11, 230);
    EXPECT_FALSE(engine.state(rule.id).active);
    EXPECT_EQ(engine.state(rule.id).since, at(11).wall);
}

TEST_F(AlarmEngineTest, OnePollOutsideTheBandResetsTheDelay) {
    const auto rule = addRule(AlarmCondition::above, 253, 2, 10);
    for (int second = 0; second <= 9; ++second) evaluate(second, 260);
    evaluate(10, 250);
    EXPECT_FALSE(engine.isPending(rule.id));
    for (int second = 11; second <= 20; ++second) evaluate(second, 260);
    EXPECT_FALSE(engine.state(rule.id).active);
    evaluate(21, 260);
    EXPECT_TRUE(engine.state(rule.id).active);
}

TEST_F(AlarmEngineTest, AMissingValueNeitherAdvancesNorBreaksADelay) {
    const auto rule = addRule(AlarmCondition::above, 253, 2, 10);
    evaluate(0, 260);
    engine.evaluate({}, at(5));
    engine.evaluate({{19000, NAN}}, at(9));
    EXPECT_TRUE(engine.isPending(rule.id));
    engine.evaluate({}, at(11));
    EXPECT_FALSE(engine.state(rule.id).active);
    evaluate(12, 260);
    EXPECT_TRUE(engine.state(rule.id).active);
}

TEST_F(AlarmEngineTest, DelaysRunOnTheSteadyClock) {
    const auto rule = addRule(AlarmCondition::above, 253, 2, 10);
    auto moment = at(0);
    engine.evaluate({{19000, 260.0}}, moment);
    moment.wall += std::chrono::hours(2);  // daylight saving set by hand
    moment.steady += std::chrono::seconds(1);
    engine.evaluate({{19000, 260.0}}, moment);
    EXPECT_FALSE(engine.state(rule.id).active);
}

TEST_F(AlarmEngineTest, TellsTheWorldOfComingAndGoing) {
    auto rule = addRule(AlarmCondition::above, 253, 2, 0);
    rule.note = "Aggregat prüfen";
    engine.upsert(rule);
    evaluate(0, 254.2);
    evaluate(1, 230);
    EXPECT_EQ(texts(), (std::vector<std::string>{"Wieder normal: Spannung L-N L1 = 230,0 V (Aggregat prüfen)",
                                                 "Spannung L-N L1 > 253,0 V – aktuell 254,2 V (Aggregat prüfen)"}));
    EXPECT_EQ(recorded,
              (std::vector<Recorded>{{"Bühne", "Alarm", "Spannung L-N L1 > 253,0 V – aktuell 254,2 V (Aggregat prüfen)"},
                                     {"Bühne", "Info", "Behoben: Wieder normal: Spannung L-N L1 = 230,0 V (Aggregat prüfen)"}}));
    ASSERT_EQ(pushed.size(), 2u);
    EXPECT_EQ(pushed[0].title, "Bühne");
    EXPECT_TRUE(pushed[0].isAlarm && !pushed[0].isCleared);
    EXPECT_TRUE(!pushed[1].isAlarm && pushed[1].isCleared);
    ASSERT_EQ(notices.size(), 2u);
    EXPECT_EQ(notices[0].title, "⚠️ Alarm – Bühne");
    EXPECT_EQ(notices[0].identifier, engine.events()->at(1).id.text());
    EXPECT_EQ(notices[1].title, "✅ Behoben – Bühne");
    EXPECT_EQ(sounds, std::vector<std::string>{"Sosumi"});
    EXPECT_FALSE(engine.events()->at(1).acknowledged);
    EXPECT_TRUE(engine.events()->at(0).acknowledged);
    EXPECT_EQ(engine.events()->at(1).ruleID, rule.id);
}

TEST_F(AlarmEngineTest, AQuietRuleIsOnlyLogged) {
    auto rule = addRule(AlarmCondition::above, 253, 2, 0);
    rule.notify = rule.sound = false;
    rule.severity = AlarmSeverity::warning;
    engine.upsert(rule);
    evaluate(0, 260);
    EXPECT_EQ(engine.events()->size(), 1u);
    EXPECT_EQ(recorded.at(0).level, "Warnung");
    EXPECT_TRUE(pushed.empty());
    EXPECT_TRUE(notices.empty());
    EXPECT_TRUE(sounds.empty());
    rule.notify = rule.sound = true;
    engine.upsert(rule);
    evaluate(1, 230);
    evaluate(2, 260);
    EXPECT_EQ(notices.back().title, "Warnung – Bühne");
    EXPECT_FALSE(pushed.back().isAlarm);
    EXPECT_EQ(sounds, std::vector<std::string>{"Funk"});
}

TEST_F(AlarmEngineTest, ARuleSwitchedOffGoesQuietWithoutAnEvent) {
    auto rule = addRule(AlarmCondition::above, 253, 2, 0);
    evaluate(0, 260);
    EXPECT_EQ(engine.activeCount(), 1);
    rule.enabled = false;
    engine.upsert(rule);
    EXPECT_EQ(engine.activeCount(), 0);
    evaluate(1, 260);
    EXPECT_FALSE(engine.state(rule.id).active);
    EXPECT_EQ(engine.events()->size(), 1u);
}

TEST_F(AlarmEngineTest, LossOfCommunicationComesAfterItsDelayAndCountsFromTheLastGoodReading) {
    engine.setCommLoss(true, 10.9);
    evaluate(0, 230);
    engine.communicationFailed(at(5));
    engine.communicationFailed(at(10));
    EXPECT_FALSE(*engine.commLost());
    engine.communicationFailed(at(10.9));
    EXPECT_TRUE(*engine.commLost());
    EXPECT_EQ(texts(), std::vector<std::string>{"Kommunikationsausfall – keine Antwort seit 10 s"});
    engine.communicationFailed(at(30));
    EXPECT_EQ(engine.events()->size(), 1u);
    evaluate(31, 230);
    EXPECT_FALSE(*engine.commLost());
    EXPECT_EQ(texts().front(), "Kommunikation wiederhergestellt");
    EXPECT_TRUE(engine.events()->front().acknowledged);
    EXPECT_EQ(engine.events()->front().severity, AlarmSeverity::alarm);
    EXPECT_EQ(pushed.size(), 2u);
    EXPECT_EQ(sounds, std::vector<std::string>{"Sosumi"});
    EXPECT_EQ(recorded.back(), (Recorded{"Bühne", "Info", "Behoben: Kommunikation wiederhergestellt"}));
}

TEST_F(AlarmEngineTest, WithoutAGoodReadingTheLossCountsFromTheFirstFailure) {
    engine.communicationFailed(at(100));
    engine.communicationFailed(at(109));
    EXPECT_FALSE(*engine.commLost());
    engine.communicationFailed(at(110));
    EXPECT_TRUE(*engine.commLost());
}

TEST_F(AlarmEngineTest, ADelayOfZeroRaisesOnTheFirstFailure) {
    engine.setCommLoss(true, 0);
    engine.communicationFailed(at(0));
    EXPECT_TRUE(*engine.commLost());
    EXPECT_EQ(texts(), std::vector<std::string>{"Kommunikationsausfall – keine Antwort seit 0 s"});
}

TEST_F(AlarmEngineTest, ALossRaisedBeforeItWasSwitchedOffIsRestoredWithoutANotice) {
    engine.setCommLoss(true, 0);
    engine.communicationFailed(at(0));
    engine.setCommLoss(false, 0);
    EXPECT_EQ(pushed.size(), 1u);
    evaluate(1, 230);
    EXPECT_EQ(texts().front(), "Kommunikation wiederhergestellt");
    EXPECT_EQ(pushed.size(), 1u);
    engine.communicationFailed(at(2));
    EXPECT_FALSE(*engine.commLost());
}

TEST_F(AlarmEngineTest, RulesKeepTheirStateWhileCommunicationIsLost) {
    const auto rule = addRule(AlarmCondition::above, 253, 2, 0);
    const auto second = addRule(AlarmCondition::above, 250, 2, 0);
    engine.setCommLoss(true, 1);
    evaluate(0, 260);
    engine.communicationFailed(at(2));
    EXPECT_TRUE(engine.state(rule.id).active);
    EXPECT_TRUE(engine.state(second.id).active);
    EXPECT_EQ(engine.activeCount(), 3);
}

TEST_F(AlarmEngineTest, StoppingEndsAlarmsSilentlyAndTheyComeAgain) {
    const auto rule = addRule(AlarmCondition::above, 253, 2, 0);
    evaluate(0, 260);
    engine.reset();
    EXPECT_EQ(engine.activeCount(), 0);
    EXPECT_EQ(engine.events()->size(), 1u);
    evaluate(1, 260);
    EXPECT_TRUE(engine.state(rule.id).active);
    EXPECT_EQ(engine.events()->size(), 2u);
}

TEST_F(AlarmEngineTest, ARuleOutsideTheTableCountsWithoutAnEvent) {
    addRule(AlarmCondition::above, 1, 0, 0, 4711);
    evaluate(0, 5, 4711);
    EXPECT_EQ(engine.activeCount(), 1);
    EXPECT_TRUE(engine.events()->empty());
}

TEST_F(AlarmEngineTest, ARuleOnAnAbsentDerivedValueDoesNothing) {
    const auto rule = addRule(AlarmCondition::above, 2, 0.2, 0, 90000);
    engine.evaluate({{804, 5.0}, {806, 0.0}}, at(0));
    EXPECT_FALSE(engine.state(rule.id).active);
    EXPECT_FALSE(engine.isPending(rule.id));
}

TEST_F(AlarmEngineTest, ADeletedRuleNoLongerCounts) {
    const auto rule = addRule(AlarmCondition::above, 253, 2, 0);
    evaluate(0, 260);
    ASSERT_EQ(engine.activeCount(), 1);
    engine.remove(rule.id);
    EXPECT_EQ(engine.activeCount(), 0);
    EXPECT_TRUE(engine.config()->rules.empty());
}

TEST_F(AlarmEngineTest, TheHighestSeverityOfAnAddressCounts) {
    auto warning = addRule(AlarmCondition::above, 240, 0, 0);
    warning.severity = AlarmSeverity::warning;
    engine.upsert(warning);
    EXPECT_EQ(engine.severity(19000), std::nullopt);
    evaluate(0, 245);
    EXPECT_EQ(engine.severity(19000), AlarmSeverity::warning);
    addRule(AlarmCondition::above, 241, 0, 0);
    evaluate(1, 245);
    EXPECT_EQ(engine.severity(19000), AlarmSeverity::alarm);
    EXPECT_EQ(engine.severity(19002), std::nullopt);
}

TEST_F(AlarmEngineTest, The1001stEventPushesOutTheOldest) {
    addRule(AlarmCondition::above, 253, 2, 0);
    for (int i = 0; i < 1001; ++i) evaluate(i, i % 2 == 0 ? 260 : 230);
    EXPECT_EQ(engine.events()->size(), 1000u);
    EXPECT_EQ(engine.events()->back().date, at(1).wall);
    EXPECT_EQ(engine.events()->front().date, at(1000).wall);
    EXPECT_EQ(decodeAlarmLog(*settings.blob("alarmlog." + device.text())), *engine.events());
}

TEST_F(AlarmEngineTest, AcknowledgingMarksAndSaves) {
    addRule(AlarmCondition::above, 253, 2, 0);
    addRule(AlarmCondition::above, 254, 2, 0);
    evaluate(0, 260);
    EXPECT_EQ(engine.unacknowledgedCount(), 2);
    engine.acknowledge(engine.events()->at(1).id);
    EXPECT_EQ(engine.unacknowledgedCount(), 1);
    EXPECT_TRUE(decodeAlarmLog(*settings.blob("alarmlog." + device.text())).at(1).acknowledged);
    engine.acknowledgeAll();
    EXPECT_EQ(engine.unacknowledgedCount(), 0);
    EXPECT_EQ(decodeAlarmLog(*settings.blob("alarmlog." + device.text())), *engine.events());
    int told = 0;
    engine.onChange = [&told] { ++told; };
    engine.clearEvents();
    EXPECT_TRUE(engine.events()->empty());
    EXPECT_EQ(told, 1);
    EXPECT_EQ(settings.blob("alarmlog." + device.text()), "[]");
}

TEST_F(AlarmEngineTest, LoadsWhatItSavedAndFallsBackToDefaults) {
    addRule(AlarmCondition::above, 253, 2, 0);
    engine.setCommLoss(false, 3);
    evaluate(0, 260);
    const AlarmEngine again(device, "Bühne", settings, outlets);
    EXPECT_EQ(*again.config(), *engine.config());
    EXPECT_EQ(*again.events(), *engine.events());
    settings.setBlob("alarms." + device.text(), R"({"rules":[]})");
    settings.setBlob("alarmlog." + device.text(), "{");
    const AlarmEngine fresh(device, "Bühne", settings, outlets);
    EXPECT_EQ(*fresh.config(), AlarmConfig{});
    EXPECT_TRUE(fresh.events()->empty());
}

TEST_F(AlarmEngineTest, TellsItsOwnerAfterEachEvaluation) {
    int told = 0;
    engine.onChange = [&told] { ++told; };
    evaluate(0, 1);
    evaluate(1, 1);
    EXPECT_EQ(told, 2);
    engine.reset();
    EXPECT_EQ(told, 3);
}

TEST_F(AlarmEngineTest, ExportsTheLogNewestFirst) {
    addRule(AlarmCondition::above, 253, 2, 0);
    engine.setCommLoss(true, 0);
    evaluate(0, 260);
    engine.communicationFailed(at(1));
    evaluate(2, 230);
    EXPECT_EQ(engine.exportCSV(),
              "Zeitpunkt;Gerät;Art;Stufe;Meldung;Quittiert\n"
              "2026-07-01 12:00:02;Bühne;Geht;Alarm;Wieder normal: Spannung L-N L1 = 230,0 V;ja\n"
              "2026-07-01 12:00:02;Bühne;Kommunikation da;Alarm;Kommunikation wiederhergestellt;ja\n"
              "2026-07-01 12:00:01;Bühne;Kommunikation weg;Alarm;Kommunikationsausfall – keine Antwort seit 0 s;nein\n"
              "2026-07-01 12:00:00;Bühne;Kommt;Alarm;Spannung L-N L1 > 253,0 V – aktuell 260,0 V;nein\n");
    EXPECT_EQ(engine.exportName(), "Bühne Alarmprotokoll.csv");
}

TEST_F(AlarmEngineTest, EachRuleKeepsItsOwnStateWhileOthersComeAndGo) {
    const auto first = addRule(AlarmCondition::above, 253, 2, 0, 19000);
    auto second = addRule(AlarmCondition::above, 253, 2, 0, 19002);
    const auto third = addRule(AlarmCondition::above, 253, 2, 0, 19004);
    const auto active = [this] {
        std::vector<base::UUID> ids;
        for (const auto& rule : engine.activeRules()) ids.push_back(rule.id);
        return ids;
    };
    using IDs = std::vector<base::UUID>;
    // Without a value a rule has no state yet.
    engine.evaluate({{19002, 260.0}, {19004, 260.0}}, at(0));
    EXPECT_EQ(active(), (IDs{second.id, third.id}));
    engine.evaluate({{19000, 260.0}}, at(1));
    EXPECT_EQ(active(), (IDs{first.id, second.id, third.id}));
    second.enabled = false;
    engine.upsert(second);
    engine.evaluate({}, at(2));
    EXPECT_EQ(active(), (IDs{first.id, third.id}));
    second.enabled = true;
    engine.upsert(second);
    engine.evaluate({}, at(3));
    EXPECT_EQ(active(), (IDs{first.id, third.id}));
    engine.remove(first.id);
    EXPECT_EQ(active(), IDs{third.id});
    engine.evaluate({{19002, 260.0}}, at(4));
    EXPECT_EQ(active(), (IDs{second.id, third.id}));
    EXPECT_EQ(engine.events()->size(), 4u);
}

TEST_F(AlarmEngineTest, OfAStoredLogOnlyTheNewestThousandAreHeld) {
    std::string list = "[";
    for (int i = 0; i < 1500; ++i) {
        AlarmEvent event;
        event.date = at(-i).wall;
        list += (i > 0 ? "," : "") + encodeAlarmEvent(event);
    }
    settings.setBlob("alarmlog." + device.text(), list + "]");
    const AlarmEngine again(device, "Bühne", settings, outlets);
    ASSERT_EQ(again.events()->size(), 1000u);
    EXPECT_EQ(again.events()->front().date, at(0).wall);
}
