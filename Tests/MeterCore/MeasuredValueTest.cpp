#include "MeterCore/MeasuredValue.hpp"

#include <gtest/gtest.h>

#include <vector>

#include "MeterCore/DeviceProfile.hpp"
#include "MeterCore/SerialParity.hpp"

namespace metercore {

TEST(MeasuredValue, NameIsGroupAndChannel) {
    EXPECT_EQ((MeasuredValue{19000, MeasureGroup::voltageLN, "L1", MeasureUnit::volt}.name()), "Spannung L-N L1");
    EXPECT_EQ((MeasuredValue{19026, MeasureGroup::activePower, "Σ", MeasureUnit::watt}.name()), "Wirkleistung Σ");
    EXPECT_EQ((MeasuredValue{1, MeasureGroup::neutral, "", MeasureUnit::ampere}.name()), "N-Leiter / Differenzstrom");
}

TEST(MeasuredValue, GroupsComeInTheOrderOfTheScreens) {
    const std::vector<std::string_view> expected = {"Spannung L-N",
                                                    "Spannung L-L",
                                                    "Strom",
                                                    "Wirkleistung",
                                                    "Blindleistung",
                                                    "Scheinleistung",
                                                    "cos φ",
                                                    "Netz",
                                                    "THD Spannung",
                                                    "THD Strom",
                                                    "Wirkenergie",
                                                    "Wirkenergie bezogen",
                                                    "Wirkenergie geliefert",
                                                    "Scheinenergie",
                                                    "Blindenergie",
                                                    "Blindenergie induktiv",
                                                    "Blindenergie kapazitiv",
                                                    "Symmetrie Spannung",
                                                    "Symmetrie Strom",
                                                    "N-Leiter / Differenzstrom",
                                                    "Crest-Faktor"};
    std::vector<std::string_view> texts;
    for (const auto group : allMeasureGroups) texts.push_back(text(group));
    EXPECT_EQ(texts, expected);
}

TEST(MeasuredValue, SevenGroupsAreCounters) {
    std::vector<MeasureGroup> counters;
    for (const auto group : allMeasureGroups)
        if (isEnergy(group)) counters.push_back(group);
    ASSERT_EQ(counters.size(), 7u);
    EXPECT_EQ(counters.front(), MeasureGroup::energyActive);
    EXPECT_EQ(counters.back(), MeasureGroup::energyReactiveCap);
}

TEST(MeasuredValue, UnitsHaveTheirSymbols) {
    struct Row {
        MeasureUnit unit;
        std::string_view expected;
    };
    for (const auto& [unit, expected] : std::initializer_list<Row>{{MeasureUnit::volt, "V"},
                                                                   {MeasureUnit::ampere, "A"},
                                                                   {MeasureUnit::watt, "W"},
                                                                   {MeasureUnit::voltAmpere, "VA"},
                                                                   {MeasureUnit::var_, "var"},
                                                                   {MeasureUnit::wattHour, "Wh"},
                                                                   {MeasureUnit::voltAmpereHour, "VAh"},
                                                                   {MeasureUnit::varHour, "varh"},
                                                                   {MeasureUnit::hertz, "Hz"},
                                                                   {MeasureUnit::percent, "%"},
                                                                   {MeasureUnit::none, ""}})
        EXPECT_EQ(text(unit), expected);
}

TEST(SerialParity, TextsAreTheStoredForm) {
    EXPECT_EQ(text(SerialParity::none), "Keine");
    EXPECT_EQ(serialParity("Gerade"), SerialParity::even);
    EXPECT_EQ(serialParity("Ungerade"), SerialParity::odd);
    EXPECT_EQ(serialParity("gerade"), std::nullopt);
}

TEST(DeviceProfiles, TheFirstIsTheNativeJanitzaProfile) {
    const auto& profile = DeviceProfiles::builtIn().front();
    EXPECT_EQ(profile.id, DeviceProfiles::janitzaID);
    EXPECT_EQ(profile.displayName(), "Janitza UMG (Messwerttabelle 19000)");
    EXPECT_TRUE(profile.isJanitzaNative);
    EXPECT_TRUE(profile.registers.empty());
    EXPECT_EQ(profile.defaultPort, 502);
}

TEST(DeviceProfiles, AVanishedProfileFallsBackToTheJanitzaTable) {
    EXPECT_EQ(DeviceProfiles::profile("janitza-umg").id, "janitza-umg");
    EXPECT_EQ(DeviceProfiles::profile("mein-zaehler").id, "janitza-umg");
    EXPECT_EQ(DeviceProfiles::profile("").id, "janitza-umg");
}

}  // namespace metercore
