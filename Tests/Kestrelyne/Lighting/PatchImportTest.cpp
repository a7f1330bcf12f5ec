#include "Kestrelyne/Lighting/PatchImport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Archives.hpp"
#include "Base/Text.hpp"
#include "Support/TemporaryFolder.hpp"

namespace kestrelyne {
namespace {

using namespace kestrelyne::testing;
using enum PatchField;
using Place = std::optional<std::pair<int, int>>;

std::vector<PatchField> guessed(std::string_view header) {
    std::vector<std::string> cells;
    for (const auto cell : base::split(header, ';', true)) cells.emplace_back(cell);
    return PatchImport::guessMapping(cells);
}

std::vector<PatchFixture> imported(std::string_view text) {
    const auto table = PatchImport::parseCSVText(text);
    return PatchImport::fixtures(table, PatchImport::guessMapping(table.header));
}

// Addresses

TEST(PatchAddress, UniverseAndAddressApartByAPointOrASlash) {
    for (const auto* text : {"1.001", "1/1", "1.1", "01.01", " 1 / 1 ", "\t1.001\r\n"})
        EXPECT_EQ(PatchImport::parseAddress(text, 7), Place({1, 1})) << text;
    EXPECT_EQ(PatchImport::parseAddress("2.041", {}), Place({2, 41}));
    EXPECT_EQ(PatchImport::parseAddress("2/338", {}), Place({2, 338}));
    EXPECT_EQ(PatchImport::parseAddress("63999.512", {}), Place({63999, 512}));
    EXPECT_EQ(PatchImport::parseAddress("1.600", {}), Place({1, 600})) << "kept as it is written";
}

TEST(PatchAddress, ANumberUpTo512StandsInTheUniverseOfItsColumn) {
    EXPECT_EQ(PatchImport::parseAddress("512", {}), Place({1, 512}));
    EXPECT_EQ(PatchImport::parseAddress("1", {}), Place({1, 1}));
    EXPECT_EQ(PatchImport::parseAddress("041", 3), Place({3, 41}));
    EXPECT_EQ(PatchImport::parseAddress("41", 0), Place({1, 41}));
    EXPECT_EQ(PatchImport::parseAddress("41", -2), Place({1, 41}));
}

TEST(PatchAddress, ANumberAbove512IsAbsolute) {
    EXPECT_EQ(PatchImport::parseAddress("513", {}), Place({2, 1}));
    EXPECT_EQ(PatchImport::parseAddress("1024", {}), Place({2, 512}));
    EXPECT_EQ(PatchImport::parseAddress("1025", {}), Place({3, 1}));
    EXPECT_EQ(PatchImport::parseAddress("513", 9), Place({2, 1})) << "whatever the column says";
    EXPECT_EQ(PatchImport::parseAddress("32767488", {}), Place({63999, 512}));
}

TEST(PatchAddress, AnythingElseGivesNothing) {
    for (const auto* text : {"",         " ",
                             "0",        "000",
                             "0.1",      "1.0",
                             "0/0",      "A.1",
                             "1.A",      "1.",
                             ".1",       "/",
                             ".",        "1.1.1",
                             "1/1/1",    "1.1/1",
                             "-5",       "+5",
                             "1-1",      "1 1",
                             "1,5",      "5a",
                             "–",        "64000.1",
                             "32767489", "99999999999999999999",
                             "1.99999",  "1e3",
                             "٣"})
        EXPECT_EQ(PatchImport::parseAddress(text, 2), std::nullopt) << text;
}

// Power

TEST(PatchPower, ReadsWattsInTheFormsOfLists) {
    struct Row {
        std::string_view text;
        std::optional<double> watts;
    };
    for (const auto& [text, watts] : std::initializer_list<Row>{
             {"750", 750},
             {"750 W", 750},
             {"750W", 750},
             {" 750 Watt ", 750},
             {"1,2 kW", 1200},
             {"1.2kW", 1200},
             {"1.200 kW", 1200},
             {"1,250 KW", 1250},
             {"0.75 kW", 750},
             {"62,5", 62.5},
             {"62.5 W", 62.5},
             {"1.200 W", 1200},
             {"1,200", 1200},
             {"1.200,5", 1200.5},
             {"1,200.5", 1200.5},
             {"0,125", 0.125},
             {"1200.125", 1200.125},
             {"12.1250", 12.125},
             {"1.000.000", 1e6},
             {"750 VA", 750},
             {"0", 0},
             {"", {}},
             {"W", {}},
             {"n/a", {}},
             {"-750", {}},
             {"750 A", {}},
             {"1,2,3", {}},
             {"12.11.2020", {}},
             {"1,234,567", 1234567},
             {"1.234,567,8", {}},
             {"1.2 MW", {}},
             {"1.2000,5", {}},
             {"1,", 1},
             {"1200.125", 1200.125},
             {".", {}},
         })
        EXPECT_EQ(PatchImport::parsePower(text), watts) << text;
}

// Columns

TEST(PatchField, WordAndLabelNameEveryField) {
    for (const auto field : allPatchFields()) EXPECT_EQ(patchField(word(field)), field);
    EXPECT_EQ(patchField("FIXTUREID"), fixtureID);
    EXPECT_EQ(patchField("Fixture-ID"), std::nullopt);
    EXPECT_EQ(patchField(""), std::nullopt);
    EXPECT_EQ(label(ignore), "– ignorieren –");
    EXPECT_EQ(label(model), "Typ / Modell");
    EXPECT_EQ(label(power), "Leistung (W)");
}

TEST(GuessMapping, EveryLabelAndEveryWordIsKnownAgain) {
    std::vector<std::string> labels, words;
    std::vector<PatchField> all;
    for (const auto field : allPatchFields()) {
        all.push_back(field);
        labels.emplace_back(label(field));
        words.emplace_back(word(field));
    }
    EXPECT_EQ(PatchImport::guessMapping(labels), all);
    EXPECT_EQ(PatchImport::guessMapping(words), all);
}

TEST(GuessMapping, KnowsHeadingsOfConsolesAndPlanningPrograms) {
    struct Row {
        std::string_view header;
        std::vector<PatchField> fields;
    };
    for (const auto& [header, fields] : std::initializer_list<Row>{
             {"Fixture-ID;Name;Hersteller;Typ;Modus;Universum;Adresse;Kanäle",
              {fixtureID, name, manufacturer, model, mode, universe, address, footprint}},
             {"FID;CID;Name;Fixture Type;Mode;Patch", {fixtureID, ignore, name, model, mode, address}},
             {"Fixture ID;Manufacturer;Model;Universe;DMX Address;Footprint;Layer",
              {fixtureID, manufacturer, model, universe, address, footprint, layer}},
             {"Purpose;Channel;Dimmer;Address;Position;Unit#;Instrument Type;Wattage",
              {name, fixtureID, ignore, address, position, ignore, model, power}},
             {"Inst Type;Hanging Position;U/A;Chan;Circuit Number;Circuit Name;Num Channels",
              {model, position, address, fixtureID, breaker, ignore, footprint}},
             {"Universe/Address;Universe;DMX Address;Absolute Address;Unit Number", {address, universe, ignore, ignore, fixtureID}},
             {"Verteiler;Multicore;Steckplatz;Sicherung;Phase;Leistung [W];Bemerkungen",
              {distributor, plugbox, socket, breaker, phase, power, notes}},
             {"Unit;Circuit;Channel;Patch;DMX Mode;DMX Channels;Layer;Note",
              {ignore, breaker, fixtureID, address, mode, footprint, layer, notes}},
             {"GERÄTENUMMER;gerätename;Straße;;  ;Kanalanzahl", {fixtureID, name, ignore, ignore, ignore, footprint}},
             {"#;Label;Uni;Addr", {fixtureID, name, universe, address}},
         })
        EXPECT_EQ(guessed(header), fields) << header;
}

TEST(GuessMapping, NoFieldIsGivenTwice) {
    EXPECT_EQ(guessed("Name;Fixture Name"), (std::vector{name, ignore}));
    EXPECT_EQ(guessed("Channel;Fixture ID"), (std::vector{ignore, fixtureID})) << "the better heading, not the first";
    EXPECT_EQ(guessed("Address;Address"), (std::vector{address, ignore})) << "of two alike the first";
    EXPECT_EQ(guessed("Fixture;Name"), (std::vector{model, name})) << "the other takes its next field";
}

// Rows

TEST(PatchRows, ARowGivesAFixture) {
    const auto list = imported(
        "Fixture-ID;Name;Hersteller;Typ / Modell;Modus;Universum;Adresse;Kanäle;Position / Traverse;Layer / "
        "Gruppe;Verteiler;Plugbox / "
        "Multicore;Steckplatz;Sicherung / Kreis;Phase;Leistung (W);Notiz\n"
        "12.3; Spot ;Maker;Beam;16 Bit;2;41;16;T1;Front;UV 1;M3;4;F12;l1;1.200 W;\"zwei\nZeilen\"\n");
    ASSERT_EQ(list.size(), 1u);
    PatchFixture expected{.id = list[0].id,
                          .fixtureID = "12.3",
                          .name = "Spot",
                          .manufacturer = "Maker",
                          .model = "Beam",
                          .mode = "16 Bit",
                          .universe = 2,
                          .address = 41,
                          .footprint = 16,
                          .layer = "Front",
                          .position = "T1",
                          .distributor = "UV 1",
                          .plugbox = "M3",
                          .socket = "4",
                          .breaker = "F12",
                          .phase = "l1",
                          .powerW = 1200,
                          .notes = "zwei\nZeilen"};
    EXPECT_EQ(list[0], expected);
}

TEST(PatchRows, EachFixtureHasAnIdOfItsOwn) {
    const auto list = imported("ID\n1\n2");
    ASSERT_EQ(list.size(), 2u);
    EXPECT_NE(list[0].id, list[1].id);
}

TEST(PatchRows, WithoutAFootprintItIsAnEstimate) {
    const auto of = [](std::string_view text) {
        const auto list = imported(text);
        return std::pair(list.at(0).footprint, list.at(0).footprintEstimated);
    };
    EXPECT_EQ(of("ID;Adresse\n1;5"), std::pair(1, true));
    EXPECT_EQ(of("ID;Footprint\n1;16"), std::pair(16, false));
    EXPECT_EQ(of("ID;Footprint\n1;16 ch"), std::pair(16, false));
    EXPECT_EQ(of("ID;Footprint\n1;0"), std::pair(0, false));
    EXPECT_EQ(of("ID;Footprint\n1;~16"), std::pair(16, true));
    EXPECT_EQ(of("ID;Footprint\n1;"), std::pair(1, true));
    EXPECT_EQ(of("ID;Footprint\n1;viele"), std::pair(1, true));
    EXPECT_EQ(of("ID;Footprint\n1;99999999999"), std::pair(1, true));
}

TEST(PatchRows, AddressesFollowTheirColumns) {
    const auto list =
        imported("ID;Universum;Adresse\n1;3;41\n2;3;513\n3;3;2.007\n4;3;\n5;;7\n6;U4;7\n7;Universe 5;8\n8;A;9\n9;3;x\n10;;-");
    std::vector<std::pair<int, int>> places;
    for (const auto& fixture : list) places.emplace_back(fixture.universe, fixture.address);
    EXPECT_THAT(places,
                ::testing::ElementsAre(std::pair(3, 41), std::pair(2, 1), std::pair(2, 7), std::pair(3, 0), std::pair(1, 7),
                                       std::pair(4, 7), std::pair(5, 8), std::pair(1, 9), std::pair(3, 0), std::pair(0, 0)));
}

TEST(PatchRows, AChannelInParenthesesIsItsNumber) { EXPECT_EQ(imported("Channel;Name\n(303);x\n(;y").at(0).fixtureID, "303"); }

TEST(PatchRows, ShortLongAndIdleRows) {
    const auto list = imported("ID;Name;Egal\n1\n2;B;x;y;z\n;;nur das");
    ASSERT_EQ(list.size(), 2u) << "a row that says nothing of a lamp is none";
    EXPECT_EQ(list[0].fixtureID, "1");
    EXPECT_EQ(list[0].name, "");
    EXPECT_EQ(list[1].name, "B");
}

TEST(PatchRows, OfTwoColumnsOfOneFieldTheFirstCounts) {
    const auto table = PatchImport::parseCSVText("A;B\n1;2");
    EXPECT_EQ(PatchImport::fixtures(table, {name, name}).at(0).name, "1");
}

}  // namespace
}  // namespace kestrelyne
