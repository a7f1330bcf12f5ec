#include "NetCore/SwitchExtras.hpp"

#include "NetCore/SwitchFixture.hpp"

using namespace netcore;
using namespace netcore::switches;
using Custom = std::vector<SwitchStatus::CustomValue>;

TEST(ExtraOID, ReadsLines) {
    EXPECT_EQ(
        ExtraOID::parse("Lüfter = 1.3.6.1.4.1.99.1 × 0,1\n"
                        "\r\n"
                        "Temp Rack = .1.3.6.1.4.1.99.2\r\n"
                        "  Drehzahl\t=1.3.6.1.4.1.99.3*60  "),
        (std::vector<ExtraOID>{
            {"Lüfter", "1.3.6.1.4.1.99.1", 0.1}, {"Temp Rack", "1.3.6.1.4.1.99.2", 1}, {"Drehzahl", "1.3.6.1.4.1.99.3", 60}}));
}

TEST(ExtraOID, SkipsBadLines) {
    for (const auto* line :
         {"", "   ", "no equals sign", "Kurz = 1.3.6", "Leer =", "Leer =   ", "Nur Faktor = × 2", "Malzeichen = ×", "Punkte = ....",
          "Zu groß = 7.1.1.1", "Zu groß = x.99.99.1.1", "Zahl = 0,1 × 1.3.6.1.4"})
        EXPECT_TRUE(ExtraOID::parse(line).empty()) << line;
}

TEST(ExtraOID, ReadsOddLines) {
    struct Row {
        const char* line;
        ExtraOID expected;
    };
    for (const auto& [line, expected] : std::initializer_list<Row>{{"a = b = 1.3.6.1", {"a", "b = 1.3.6.1", 1}},
                                                                   {"= 1.3.6.1", {"", "1.3.6.1", 1}},
                                                                   {"A = ..1.3.6.1", {"A", ".1.3.6.1", 1}},
                                                                   {"A = 1.3.6.1 ×", {"A", "1.3.6.1", 1}},
                                                                   {"A = 1.3.6.1 × viel", {"A", "1.3.6.1", 1}},
                                                                   {"A = 1.3.6.1 ×× 2", {"A", "1.3.6.1", 2}},
                                                                   {"A = 1.3.6.1 × * 2", {"A", "1.3.6.1", 1}},
                                                                   {"A = 1.3.6.1 × 2 × 3", {"A", "1.3.6.1", 2}},
                                                                   {"A = 1.3.6.1 * -1.5e2", {"A", "1.3.6.1", -150}},
                                                                   {"A = 1.3.6.1 × 1.000,5", {"A", "1.3.6.1", 1}},
                                                                   {"A = 1.3.6.1 × nan", {"A", "1.3.6.1", 1}}})
        EXPECT_EQ(ExtraOID::parse(line), std::vector<ExtraOID>{expected}) << line;
}

TEST(SwitchReader, WritesExtraValuesAsTheUserDoes) {
    auto target = switchOf(anyMaker);
    target.set("1.3.6.1.4.1.99.1", 305);
    target.set("1.3.6.1.4.1.99.2", gauge(41));
    target.set("1.3.6.1.4.1.99.3", "läuft");
    const auto status = read(target, ExtraOID::parse("Lüfter = 1.3.6.1.4.1.99.1 × 0,1\n"
                                                     "Temp Rack = .1.3.6.1.4.1.99.2\n"
                                                     "Zustand = 1.3.6.1.4.1.99.3\n"
                                                     "Fehlt = 1.3.6.1.4.1.99.4\n"
                                                     "Viertel = 1.3.6.1.4.1.99.2 × 0,25"));
    EXPECT_EQ(status.custom,
              (Custom{{"Lüfter", "30,5"}, {"Temp Rack", "41"}, {"Zustand", "läuft"}, {"Fehlt", "–"}, {"Viertel", "10,25"}}));
    EXPECT_EQ(status.temperatures, (Sensors{{"Temp Rack", 41}}));
    ASSERT_EQ(target.gets.size(), 2u);
    EXPECT_EQ(target.gets[1].size(), 5u) << "one request for all";
}

TEST(SwitchReader, WritesAtMostTwoDecimals) {
    for (const auto& [factor, expected] : std::initializer_list<std::pair<double, const char*>>{{1, "1000"},
                                                                                                {0.1, "100"},
                                                                                                {0.0015, "1,5"},
                                                                                                {0.00125, "1,25"},
                                                                                                {0.001234, "1,23"},
                                                                                                {0.000999, "1"},
                                                                                                {-0.01, "-10"},
                                                                                                {0, "0"},
                                                                                                {1e6, "1000000000"}}) {
        auto target = switchOf(anyMaker);
        target.set("1.3.6.1.4.1.99.1", 1000);
        EXPECT_EQ(read(target, {{.name = "X", .oid = "1.3.6.1.4.1.99.1", .factor = factor}}).custom, (Custom{{"X", expected}}));
    }
}

TEST(SwitchReader, TakesExtraValuesNamedTempForTemperatures) {
    auto target = switchOf(anyMaker);
    target.set("1.3.6.1.4.1.99.1", 215);
    target.set("1.3.6.1.4.1.99.2", "warm");
    setEntitySensor(target, entitySensors, 1, 8, 40);
    const auto status = read(
        target, {{"Raumtemperatur", "1.3.6.1.4.1.99.1", 0.1}, {"TEMP", "1.3.6.1.4.1.99.1", 1}, {"temp", "1.3.6.1.4.1.99.2", 1}});
    EXPECT_EQ(status.temperatures, (Sensors{{"Raumtemperatur", 21.5}, {"Sensor 1", 40}, {"TEMP", 215}}));
    EXPECT_EQ(status.custom.size(), 3u);
}

TEST(SwitchReader, ShowsAnOverflowAsADashAndNoTemperature) {
    auto target = switchOf(anyMaker);
    target.set("1.3.6.1.4.1.99.1", 1000);
    const auto status = read(target, {{"Temp", "1.3.6.1.4.1.99.1", 1e308}});
    EXPECT_EQ(status.custom, (Custom{{"Temp", "–"}}));
    EXPECT_TRUE(status.temperatures.empty());
}

TEST(SwitchReader, LosesOnlyTheExtraValuesWithTheirRequest) {
    auto target = withPorts({1});
    target.set("1.3.6.1.4.1.99.1", 1);
    target.fail("1.3.6.1.4.1.99.2");
    const auto status = read(target, {{"A", "1.3.6.1.4.1.99.1", 1}, {"B", "1.3.6.1.4.1.99.2", 1}});
    EXPECT_TRUE(status.custom.empty());
    EXPECT_EQ(status.ports.size(), 1u);
}
