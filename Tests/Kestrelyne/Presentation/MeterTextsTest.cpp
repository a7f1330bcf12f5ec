#include "Kestrelyne/Presentation/MeterTexts.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "Support/TestLoop.hpp"

using namespace kestrelyne;

namespace {

class MeterTextsTest : public testing::Test {
protected:
    TestLoop loop;
    base::StoreWriter writer;
    SettingsStore settings;
    MeteringServices services{settings, writer, loop.clock()};
    DeviceMonitor monitor{Device{}, services};
};

}  // namespace

TEST(MeterTexts, NamesEachState) {
    using Kind = MonitorStatus::Kind;
    EXPECT_EQ(statusText({Kind::online, ""}), "verbunden");
    EXPECT_EQ(statusText({Kind::connecting, ""}), "verbinde …");
    EXPECT_EQ(statusText({Kind::idle, ""}), "getrennt");
    EXPECT_EQ(statusText({Kind::error, "weg"}), "Fehler: weg");
}

TEST(MeterTexts, AgesInWholeUnits) {
    struct Row {
        double seconds;
        const char* text;
    };
    for (const auto& row : {Row{0.4, "gerade eben"}, Row{1, "vor 1 s"}, Row{12.9, "vor 12 s"}, Row{119, "vor 119 s"},
                            Row{120, "vor 2 min"}, Row{7199, "vor 119 min"}, Row{7200, "vor 2 h"}, Row{172800, "vor 2 d"}})
        EXPECT_EQ(ageText(base::Seconds(row.seconds)), row.text);
}

TEST(MeterTexts, SideBarLine) {
    EXPECT_EQ(sidebarLine(2, 1), "2 Messgeräte · 1 Alarm");
    EXPECT_EQ(sidebarLine(1, 0), "1 Messgerät · keine Alarme");
    EXPECT_EQ(sidebarLine(0, 3), "0 Messgeräte · 3 Alarme");
}

TEST_F(MeterTextsTest, TheStateLineTellsTheInterval) {
    EXPECT_EQ(stateLine(monitor), "Getrennt – ⌘R zum Verbinden");
    monitor.applyValues({}, loop.clock().moment(), 0);
    EXPECT_EQ(stateLine(monitor), "Online · Intervall 1,0 s");
}

TEST_F(MeterTextsTest, AReadingIsStaleAfterThreeIntervals) {
    EXPECT_TRUE(isStale(monitor));
    monitor.applyValues({}, loop.clock().moment(), 0);
    loop.clock().advance(base::Seconds(3));
    EXPECT_FALSE(isStale(monitor));
    loop.clock().advance(base::Seconds(0.1));
    EXPECT_TRUE(isStale(monitor));
}

TEST_F(MeterTextsTest, KeyFigures) {
    monitor.applyValues({{19026, 1500.0}, {19034, 2000.0}, {19012, 8.0}, {19014, 12.5}, {19016, NAN}, {19050, 50.0}, {802, 2.5}},
                        loop.clock().moment(), 0);
    std::string line;
    for (const auto& figure : keyFigures(monitor)) line += std::string(figure.caption) + "=" + figure.text + ";";
    EXPECT_EQ(line, "P=1,500 kW;S=2,000 kVA;I max=12,50 A;f=50,000 Hz;cos φ=0,750;Sternpunkt=2,500 V;Alarme=0;");
}

TEST_F(MeterTextsTest, KeyFiguresOfAMeterWithoutValues) {
    for (const auto& figure : keyFigures(monitor))
        if (figure.caption != "Alarme") EXPECT_TRUE(figure.text.starts_with("–")) << figure.caption;
}

TEST(MeterTexts, MenuRowsJoinTheirValues) {
    const auto rows =
        menuRows({{19026, 11000.0}, {19000, 230.4}, {19002, 229.0}, {19012, 5.0}, {19014, 6.0}, {19016, 17.0}, {19050, 49.98}});
    ASSERT_EQ(rows.size(), 4u);
    EXPECT_EQ(rows[0].caption, "P Σ");
    EXPECT_EQ(rows[0].text, "11,00 kW");
    EXPECT_EQ(rows[1].text, "230,4 / 229,0 / – V");
    EXPECT_EQ(rows[2].caption, "I L1 / L2 / L3");
    EXPECT_EQ(rows[2].text, "5,000 / 6,000 / 17,00 A");
    EXPECT_EQ(rows[3].text, "49,980 Hz");
}

TEST_F(MeterTextsTest, TheButtonNamesWhatItDoes) {
    EXPECT_EQ(menuButton(monitor), "Verbinden");
    monitor.start();
    EXPECT_EQ(menuButton(monitor), "Trennen");
    monitor.stop();
}

TEST_F(MeterTextsTest, TheTableHasARowForEachMeasurement) {
    monitor.applyValues({{19000, 230.0}, {19052, 1.0}}, loop.clock().moment(), 0);
    const auto table = valueTable(monitor);
    EXPECT_NE(table.find("Spannung L-N L1\t230,0 V\t230,0 V\t230,0 V\n"), std::string::npos);
    EXPECT_NE(table.find("Netz Drehfeld\trechts\trechts\trechts\n"), std::string::npos);
    EXPECT_NE(table.find("Spannung L-N L2\t– V\t– V\t– V\n"), std::string::npos) << table.substr(0, 200);
    EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 80);
}

TEST_F(MeterTextsTest, LossOfCommunicationComesFirstAmongTheAlarms) {
    AlarmRule rule;
    rule.address = 19050;
    rule.threshold = 50;
    rule.delay = 0;
    rule.severity = AlarmSeverity::warning;
    monitor.alarms().upsert(rule);
    monitor.alarms().setCommLoss(true, 0);
    monitor.applyValues({{19050, 51.0}}, loop.clock().moment(), 0);
    monitor.alarms().communicationFailed(loop.clock().moment());
    const auto alarms = activeAlarms(monitor.alarms());
    ASSERT_EQ(alarms.size(), 2u);
    EXPECT_EQ(alarms[0].text, "Kommunikationsausfall");
    EXPECT_EQ(alarms[0].severity, AlarmSeverity::alarm);
    EXPECT_EQ(alarms[1].text, "Netz Frequenz > 50,000 Hz");
    EXPECT_EQ(alarms[1].severity, AlarmSeverity::warning);
}
