#include "NetCore/SwitchMakers.hpp"

#include "NetCore/SwitchFixture.hpp"

using namespace netcore;
using namespace netcore::switches;

// Makers

TEST(SwitchReader, KnowsMakersByTheirSigns) {
    struct Row {
        const char *objectID, *description;
        SwitchReader::MakerSigns signs;
        const char* vendor;
    };
    for (const auto& [objectID, description, signs, vendor] : std::initializer_list<Row>{
             {"1.3.6.1.4.1.9.1.1208", "", {.cisco = true}, "Cisco"},
             {"1.3.6.1.4.1.9.6.1.1004", "", {.cisco = true, .ciscoBusiness = true}, "Cisco Business"},
             {"1.3.6.1.4.1.9", "", {}, ""},
             {"1.3.6.1.4.1.99.1", "Cisco", {}, ""},
             {"1.3.6.1.4.1.9.6.10", "", {.cisco = true}, "Cisco"},
             {"1.3.6.1.4.1.4526.100.4.37", "", {.netgear = true}, "Netgear"},
             {"1.3.6.1.4.1.4526", "", {}, ""},
             {"", "M4250 by NETGEAR", {.netgear = true}, "Netgear"},
             {"1.3.6.1.4.1.56979.1", "", {.luminex = true}, "Luminex"},
             {"1.3.6.1.4.1.4413.1", "", {.luminex = true}, "Luminex"},
             {"", "GigaCore 30i", {.luminex = true}, "Luminex"},
             {"", "LUMINEX", {.luminex = true}, "Luminex"},
             {"1.3.6.1.4.1.4526.1", "Luminex inside", {.netgear = true, .luminex = true}, "Netgear"},
             {"1.3.6.1.4.1.9.1", "netgear gigacore", {.cisco = true, .netgear = true, .luminex = true}, "Cisco"},
             {"–", "–", {}, ""}}) {
        EXPECT_EQ(SwitchReader::makerSigns(objectID, description), signs) << objectID << " " << description;
        EXPECT_EQ(SwitchReader::vendorName(signs), vendor);
    }
}

// Cisco Business

TEST(SwitchReader, ReadsTheSmallCiscoSeries) {
    auto target = switchOf(ciscoBusiness);
    target.set(business + ".10.1", 51);
    target.set(businessLoad, 12);
    for (const auto& [fan, state] : std::initializer_list<std::pair<int, int>>{{4, 1}, {5, 4}, {6, 5}, {7, 9}, {8, 6}})
        target.set(business + "." + std::to_string(fan) + ".1", state);
    const auto status = read(target);
    EXPECT_EQ(status.vendor, "Cisco Business");
    EXPECT_EQ(status.temperatures, (Sensors{{"Gehäuse", 51}}));
    EXPECT_EQ(status.cpuPercent, 12);
    EXPECT_EQ(status.fans, (Components{{"Lüfter 1", true, "normal"},
                                       {"Lüfter 2", false, "abgeschaltet"},
                                       {"Lüfter 4", false, "9"},
                                       {"Lüfter 5", false, "defekt"}}));
    ASSERT_EQ(target.gets.size(), 2u);
    EXPECT_EQ(target.gets[1], (std::vector<std::string>{business + ".10.1", businessLoad, business + ".4.1", business + ".5.1",
                                                        business + ".6.1", business + ".7.1", business + ".8.1"}));
}

TEST(SwitchReader, NamesTheStatesOfFansOfTheSmallCiscoSeries) {
    for (const auto& [state, expected] : std::initializer_list<std::pair<int, const char*>>{
             {1, "normal"}, {2, "Warnung"}, {3, "kritisch"}, {4, "abgeschaltet"}, {6, "defekt"}, {7, "7"}, {0, "0"}, {-1, "-1"}}) {
        auto target = switchOf(ciscoBusiness);
        target.set(business + ".4.1", state);
        EXPECT_EQ(read(target).fans, (Components{{"Lüfter 1", state == 1, expected}}));
    }
}

TEST(SwitchReader, KeepsTheTemperatureOfTheSmallCiscoSeriesForWhenThereIsNone) {
    auto cold = switchOf(ciscoBusiness);
    cold.set(business + ".10.1", std::int64_t(0));
    EXPECT_TRUE(read(cold).temperatures.empty());
    auto known = switchOf(ciscoBusiness);
    known.set(business + ".10.1", 51);
    setEntitySensor(known, entitySensors, 1, 8, 40);
    EXPECT_EQ(read(known).temperatures, (Sensors{{"Sensor 1", 40}}));
}

TEST(SwitchReader, LosesAllOfTheSmallCiscoSeriesWithItsRequest) {
    auto target = switchOf(ciscoBusiness);
    target.set(business + ".10.1", 51);
    target.set(businessLoad, 12);
    target.set(business + ".4.1", 1);
    target.fail(businessLoad);
    const auto status = read(target);
    EXPECT_TRUE(status.temperatures.empty());
    EXPECT_TRUE(status.fans.empty());
    EXPECT_EQ(status.cpuPercent, std::nullopt);
}

TEST(SwitchReader, AsksOnlyTheSmallCiscoSeriesForItsObjects) {
    for (const auto* maker : {anyMaker, cisco, netgear, luminex}) {
        auto target = switchOf(maker);
        read(target);
        EXPECT_FALSE(asked(target, businessLoad)) << maker;
    }
}

// Box services

TEST(SwitchReader, ReadsBoxServices) {
    for (const auto& [maker, box] :
         std::initializer_list<std::pair<const char*, std::string>>{{netgear, netgearBox}, {luminex, luminexBox}}) {
        auto target = switchOf(maker);
        target.set(box + ".8.1.5.0", 37);
        target.set(box + ".8.1.5.1", std::int64_t(0));
        target.set(box + ".8.1.5.2", "hot");
        for (int state = 1; state <= 7; ++state) {
            target.set(box + ".6.1.3." + std::to_string(state), state);
            target.set(box + ".7.1.3.1." + std::to_string(10 + state), state);
        }
        target.set(box + ".6.1.3.8", gauge(2));
        const auto status = read(target);
        EXPECT_EQ(status.temperatures, (Sensors{{"Sensor 0", 37}})) << maker;
        EXPECT_EQ(status.fans, (Components{{"Lüfter 2", true, "in Betrieb"},
                                           {"Lüfter 3", false, "ausgefallen"},
                                           {"Lüfter 4", false, "Leistungsaufnahme"},
                                           {"Lüfter 5", false, "keine Leistung"},
                                           {"Lüfter 6", false, "6"},
                                           {"Lüfter 7", false, "7"}}));
        EXPECT_EQ(status.powerSupplies, (Components{{"Netzteil 12", true, "in Betrieb"},
                                                    {"Netzteil 13", false, "ausgefallen"},
                                                    {"Netzteil 14", false, "Leistungsaufnahme"},
                                                    {"Netzteil 15", false, "keine Leistung"},
                                                    {"Netzteil 16", false, "6"},
                                                    {"Netzteil 17", false, "7"}}));
    }
}

TEST(SwitchReader, AsksBothBoxesOfASwitchWithBothSigns) {
    auto target = switchOf(netgear, "Luminex");
    target.set(luminexBox + ".8.1.5.1", 30);
    target.set(netgearBox + ".8.1.5.1", 40);
    target.set(luminexBox + ".6.1.3.1", 2);
    target.set(netgearBox + ".6.1.3.1", 3);
    target.set(luminexSupply, 1);
    const auto status = read(target);
    EXPECT_EQ(status.vendor, "Netgear");
    EXPECT_EQ(status.temperatures, (Sensors{{"Sensor 1", 30}})) << "the first box has some, the second is not asked";
    EXPECT_FALSE(walked(target, netgearBox + ".8.1.5"));
    EXPECT_EQ(status.fans, (Components{{"Lüfter 1", true, "in Betrieb"}, {"Lüfter 1", false, "ausgefallen"}}));
    EXPECT_EQ(status.powerSupplies, (Components{{"Redundantes Netzteil", true, "ok"}}));
}

TEST(SwitchReader, AsksTheSecondBoxForTemperaturesThatTheFirstLacks) {
    auto target = switchOf(netgear, "Luminex");
    target.set(luminexBox + ".8.1.5.1", std::int64_t(0));
    target.set(netgearBox + ".8.1.5.4", 40);
    EXPECT_EQ(read(target).temperatures, (Sensors{{"Sensor 4", 40}}));
}

TEST(SwitchReader, AsksOnlyItsMakersForBoxServices) {
    for (const auto* maker : {anyMaker, cisco, ciscoBusiness}) {
        auto target = switchOf(maker);
        read(target);
        for (const auto& box : {luminexBox, netgearBox}) EXPECT_FALSE(walked(target, box + ".6.1.3")) << maker;
        EXPECT_FALSE(asked(target, luminexSupply)) << maker;
    }
    auto target = switchOf(netgear);
    read(target);
    EXPECT_FALSE(walked(target, luminexBox + ".6.1.3"));
    EXPECT_FALSE(asked(target, luminexSupply));
}

TEST(SwitchReader, ReadsTheRedundantSupply) {
    struct Row {
        SNMPValue value;
        Components expected;
    };
    const std::string_view text = "ok";
    for (const auto& [value, expected] :
         std::initializer_list<Row>{{SNMPValue(std::int64_t(1)), {{"Redundantes Netzteil", true, "ok"}}},
                                    {gauge(1), {{"Redundantes Netzteil", true, "ok"}}},
                                    {SNMPValue(std::int64_t(0)), {{"Redundantes Netzteil", false, "Status 0"}}},
                                    {SNMPValue(std::int64_t(-3)), {{"Redundantes Netzteil", false, "Status -3"}}},
                                    {SNMPValue(SNMPValue::String(text.begin(), text.end())), {}},
                                    {SNMPValue(SNMPValue::NoSuch{}), {}}}) {
        auto target = switchOf(luminex);
        target.set(luminexSupply, value);
        EXPECT_EQ(read(target).powerSupplies, expected) << value.text();
    }
}
