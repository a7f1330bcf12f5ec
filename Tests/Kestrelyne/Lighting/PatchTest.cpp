#include "Kestrelyne/Lighting/Patch.hpp"

#include <gtest/gtest.h>

#include <limits>

#include "Base/JSONFields.hpp"
#include "Kestrelyne/Lighting/PatchEncoder.hpp"

using namespace kestrelyne;
using base::JSON;

namespace {

PatchFixture lamp(const std::string& fixtureID, int universe = 1, int address = 1, int footprint = 1) {
    PatchFixture fixture;
    fixture.fixtureID = fixtureID;
    fixture.universe = universe;
    fixture.address = address;
    fixture.footprint = footprint;
    return fixture;
}

PatchFixture planned(PatchFixture fixture) {
    fixture.distributor = "Links";
    fixture.plugbox = "PB 3";
    fixture.socket = "2";
    fixture.breaker = "F12";
    fixture.phase = "L2";
    fixture.position = "Truss 1";
    fixture.notes = "wackelt";
    fixture.powerW = 350;
    fixture.highlight = {{.offset = 0, .value = 255}};
    return fixture;
}

Patch patchOf(std::vector<PatchFixture> fixtures) {
    Patch patch;
    patch.fixtures = std::move(fixtures);
    patch.sort();
    return patch;
}

std::vector<std::string> numbers(const Patch& patch) {
    std::vector<std::string> all;
    for (const auto& fixture : patch.fixtures) all.push_back(fixture.fixtureID);
    return all;
}

}  // namespace

TEST(PatchSettings, MapsTheUniverseOfTheConsole) {
    struct Row {
        int universe, offset, artNet;
    };
    constexpr int most = std::numeric_limits<int>::max(), least = std::numeric_limits<int>::min();
    for (const auto& [universe, offset, artNet] :
         {Row{1, 0, 0}, Row{0, 0, 0}, Row{5, 0, 4}, Row{1, 16, 16}, Row{3, -5, 0}, Row{most, most, most}, Row{least, least, 0}}) {
        PatchSettings settings;
        settings.artNetOffset = offset;
        EXPECT_EQ(settings.artNetUniverse(universe), artNet) << universe << " " << offset;
    }
}

TEST(Patch, SortsNumbersFirstAndKeepsTheOrderOfEquals) {
    std::vector<PatchFixture> given;
    for (const char* id : {"A10", "10", "", "9", "A2", "9"}) given.push_back(lamp(id));
    given[3].name = "first";
    const auto patch = patchOf(given);
    EXPECT_EQ(numbers(patch), (std::vector<std::string>{"9", "9", "10", "", "A2", "A10"}));
    EXPECT_EQ(patch.fixtures[0].name, "first");
}

TEST(Patch, AnImportWithoutReplaceKeepsWhatItDoesNotName) {
    auto patch = patchOf({lamp("1"), lamp("2", 1, 2)});
    const auto kept = patch.fixtures[0];
    const auto id = patch.fixtures[1].id;
    patch.apply({lamp("2", 3, 7), lamp("3")}, false, "neu.csv");
    EXPECT_EQ(numbers(patch), (std::vector<std::string>{"1", "2", "3"}));
    EXPECT_EQ(patch.fixtures[0], kept);
    EXPECT_EQ(patch.fixtures[1].id, id);
    EXPECT_EQ(patch.fixtures[1].addressText(), "3.007");
    EXPECT_EQ(patch.sourceName, "neu.csv");
}

TEST(Patch, AnImportWithReplaceDropsWhatItDoesNotNameAndKeepsIDs) {
    auto patch = patchOf({lamp("1"), lamp("2")});
    const auto id = patch.fixtures[1].id;
    patch.apply({lamp("2", 3, 7)}, true, "neu.csv");
    EXPECT_EQ(numbers(patch), (std::vector<std::string>{"2"}));
    EXPECT_EQ(patch.fixtures[0].id, id);
}

TEST(Patch, AnImportNeverLosesThePowerPlan) {
    for (const bool estimated : {false, true}) {
        auto patch = patchOf({planned(lamp("1"))});
        patch.fixtures[0].rdmUID = "4D41:00000001";
        auto imported = lamp("1", 2, 9, 4);
        imported.footprintEstimated = estimated;
        patch.apply({imported}, true, "");
        auto expected = planned(imported);
        expected.id = patch.fixtures[0].id;
        expected.rdmUID = "4D41:00000001";
        EXPECT_EQ(patch.fixtures[0], expected) << "the address has moved: the footprint is the import's";
    }
}

TEST(Patch, WhatTheImportSaysCounts) {
    auto patch = patchOf({planned(lamp("1"))});
    auto imported = lamp("1");
    imported.distributor = "Rechts";
    imported.powerW = 0;
    imported.highlight = {{.offset = 5, .value = 128}};
    patch.apply({imported}, false, "");
    EXPECT_EQ(patch.fixtures[0].distributor, "Rechts");
    EXPECT_EQ(patch.fixtures[0].powerW, 0);
    EXPECT_EQ(patch.fixtures[0].highlight, imported.highlight);
    EXPECT_EQ(patch.fixtures[0].breaker, "F12");
}

TEST(Patch, AnEstimateTakesTheTypeAndWhereTheLampHasNotMovedItsFootprint) {
    auto known = lamp("1", 1, 5, 16);
    known.manufacturer = "Maker";
    known.model = "Aura";
    known.mode = "Extended";
    known.layer = "Front";
    const auto patch = patchOf({known});
    struct Row {
        int address;
        bool presentEstimated;
        int footprint;
        bool estimated;
    };
    for (const auto& [address, presentEstimated, footprint, estimated] :
         {Row{5, false, 16, false}, Row{6, false, 4, true}, Row{5, true, 4, true}}) {
        auto now = patch;
        now.fixtures[0].footprintEstimated = presentEstimated;
        auto imported = lamp("1", 1, address, 4);
        imported.footprintEstimated = true;
        now.apply({imported}, false, "");
        const auto& fixture = now.fixtures[0];
        EXPECT_EQ(fixture.footprint, footprint) << address;
        EXPECT_EQ(fixture.footprintEstimated, estimated) << address;
        EXPECT_EQ(fixture.typeText() + fixture.mode + fixture.layer, "Maker AuraExtendedFront");
    }
}

TEST(Patch, AFootprintThatIsKnownTakesNoTypeFromThePresentLamp) {
    auto known = lamp("1", 1, 5, 16);
    known.model = "Aura";
    known.layer = "Front";
    auto patch = patchOf({known});
    patch.apply({lamp("1", 1, 5, 4)}, false, "");
    EXPECT_EQ(patch.fixtures[0].model, "");
    EXPECT_EQ(patch.fixtures[0].layer, "");
    EXPECT_EQ(patch.fixtures[0].footprint, 4);
}

TEST(Patch, LampsWithoutANumberAreNeverTheSame) {
    auto patch = patchOf({planned(lamp(""))});
    patch.apply({lamp("")}, false, "");
    ASSERT_EQ(patch.fixtures.size(), 2u);
    EXPECT_NE(patch.fixtures[0].id, patch.fixtures[1].id);
}

TEST(Patch, LampsThatShareANumberAreMatchedOneToOne) {
    auto left = planned(lamp("5", 1, 10)), right = lamp("5", 1, 20);
    right.breaker = "F13";
    for (const bool replace : {false, true}) {
        auto patch = patchOf({left, right});
        patch.apply({lamp("5", 1, 30), lamp("5", 1, 20), lamp("5", 1, 10)}, replace, "");
        ASSERT_EQ(patch.fixtures.size(), 3u) << "no lamp is lost";
        EXPECT_EQ(patch.fixtures[0].id, left.id);
        EXPECT_EQ(patch.fixtures[0].breaker, "F12");
        EXPECT_EQ(patch.fixtures[1].id, right.id);
        EXPECT_EQ(patch.fixtures[1].breaker, "F13");
        EXPECT_NE(patch.fixtures[2].id, left.id);
        EXPECT_NE(patch.fixtures[2].id, right.id);
        const auto before = patch;
        patch.apply({lamp("5", 1, 10), lamp("5", 1, 20), lamp("5", 1, 30)}, replace, "");
        EXPECT_EQ(patch, before) << "the same import again changes nothing";
    }
}

TEST(Patch, IDsOfAnImportThatAreTakenAreReplaced) {
    auto patch = patchOf({lamp("1")});
    auto other = lamp("2");
    other.id = patch.fixtures[0].id;
    patch.apply({other}, false, "");
    EXPECT_NE(patch.fixtures[0].id, patch.fixtures[1].id);
}

TEST(Patch, AnUpdateReplacesOrAppendsAndKeepsTheOrder) {
    auto patch = patchOf({lamp("1"), lamp("2"), lamp("3")});
    auto moved = patch.fixtures[0];
    moved.fixtureID = "2.5";
    patch.update(moved);
    EXPECT_EQ(numbers(patch), (std::vector<std::string>{"2", "2.5", "3"}));
    patch.update(lamp("1"));
    EXPECT_EQ(numbers(patch), (std::vector<std::string>{"1", "2", "2.5", "3"}));
    EXPECT_EQ(patch.remove({moved.id, base::UUID::random()}), 1u);
    EXPECT_EQ(numbers(patch), (std::vector<std::string>{"1", "2", "3"}));
    EXPECT_EQ(patch.fixture(moved.id), nullptr);
    EXPECT_EQ(patch.fixture(patch.fixtures[1].id)->fixtureID, "2");
}

TEST(Patch, ABulkEditLeavesAloneWhatIsAbsent) {
    auto patch = patchOf({planned(lamp("1")), planned(lamp("2"))});
    const auto before = patch;
    patch.bulkEdit({patch.fixtures[0].id}, {.breaker = "F1", .powerW = 700});
    EXPECT_EQ(patch.fixtures[1], before.fixtures[1]);
    auto expected = before.fixtures[0];
    expected.breaker = "F1";
    expected.powerW = 700;
    EXPECT_EQ(patch.fixtures[0], expected);
    patch.bulkEdit({patch.fixtures[0].id}, {.distributor = "R", .plugbox = "P", .phase = "L3", .position = ""});
    EXPECT_EQ(patch.fixtures[0].distributor + patch.fixtures[0].plugbox + patch.fixtures[0].phase, "RPL3");
    EXPECT_EQ(patch.fixtures[0].position, "");
}

TEST(Patch, NeighboursWhoseRangesMeetOverlap) {
    struct Row {
        std::vector<PatchFixture> fixtures;
        std::size_t pairs;
    };
    for (const auto& [fixtures, pairs] :
         {Row{{lamp("1", 1, 1), lamp("2", 1, 1)}, 1}, Row{{lamp("1", 1, 1), lamp("2", 1, 2)}, 0},
          Row{{lamp("1", 1, 1, 0), lamp("2", 1, 2)}, 0}, Row{{lamp("1", 1, 1, 0), lamp("2", 1, 1, 0)}, 1},
          Row{{lamp("1", 1, 1, 2), lamp("2", 1, 2)}, 1}, Row{{lamp("1", 1, 1), lamp("2", 2, 1)}, 0},
          Row{{lamp("1", 1, 0), lamp("2", 1, 0)}, 0},
          // The long one is told of through its direct successor alone.
          Row{{lamp("1", 1, 1, 100), lamp("2", 1, 10), lamp("3", 1, 20)}, 1},
          Row{{lamp("1", 1, 512, 2147483647), lamp("2", 1, 513)}, 1}})
        EXPECT_EQ(patchOf(fixtures).overlaps().size(), pairs) << fixtures[0].addressText() << " " << fixtures[1].addressText();
    const auto patch = patchOf({lamp("1", 1, 5, 10), lamp("2", 1, 1, 5)});
    ASSERT_EQ(patch.overlaps().size(), 1u);
    EXPECT_EQ(patch.overlaps()[0].first->fixtureID, "2") << "the lower address first";
    EXPECT_EQ(patch.overlaps()[0].second->fixtureID, "1");
}

TEST(Patch, CircuitsAreOfOneBreakerAndPhaseInNaturalOrder) {
    const auto on = [](const char* distributor, const char* breaker, const char* phase, std::optional<double> watts) {
        auto fixture = lamp("x");
        fixture.distributor = distributor;
        fixture.breaker = breaker;
        fixture.phase = phase;
        fixture.powerW = watts;
        return fixture;
    };
    const auto patch = patchOf({on("B", "F1", "L1", 1), on("A", "F10", "L1", 100), on("A", "F2", "L1", 200),
                                on("A", "F2", "L2", {}), on("A", "F2", "L1", {}), on("", "F2", "L1", 5), on("A", "", "L1", 5)});
    std::vector<std::string> told;
    for (const auto& circuit : patch.circuits())
        told.push_back(circuit.distributor + " " + circuit.breaker + " " + circuit.phase + " " +
                       std::to_string(circuit.fixtures.size()) + " " + std::to_string(static_cast<int>(circuit.powerW())) + " " +
                       std::to_string(circuit.missingPower()));
    EXPECT_EQ(told, (std::vector<std::string>{"A F2 L1 2 200 1", "A F2 L2 1 0 1", "A F10 L1 1 100 0", "B F1 L1 1 1 0"}));
    EXPECT_EQ(patch.distributors(), (std::vector<std::string>{"A", "B"}));
}

TEST(Patch, PlannedCurrentIsByPhaseInUpperCase) {
    auto patch = patchOf({planned(lamp("1")), planned(lamp("2")), planned(lamp("3")), planned(lamp("4")), planned(lamp("5"))});
    patch.fixtures[0].phase = "l1";
    patch.fixtures[1].phase = "L1";
    patch.fixtures[2].phase = "";
    patch.fixtures[3].powerW.reset();
    patch.fixtures[4].distributor = "Rechts";
    patch.settings.voltage = 100;
    EXPECT_EQ(patch.plannedCurrent("Links"), (std::map<std::string, double>{{"L1", 7}, {"?", 3.5}, {"L2", 0}}));
    EXPECT_TRUE(patch.plannedCurrent("Mitte").empty());
    patch.settings.voltage = 0;
    EXPECT_EQ(patch.plannedCurrent("Links").at("L1"), 0) << "no voltage gives no current, not infinity";
}

TEST(Patch, IsStoredAndReadBack) {
    auto patch = patchOf({planned(lamp("1")), lamp("Ä\"2\"\n", 2, 600)});
    patch.fixtures[0].highlight.push_back({.offset = 4, .value = 255, .fixed = true});
    patch.fixtures[0].powerW = 0.1;
    patch.fixtures[1].rdmUID = "4D41:00000001";
    patch.fixtures[1].footprintEstimated = true;
    patch.settings = {.artNetOffset = -3, .breakerAmps = 32, .voltage = 110.5, .distributorDevices = {}};
    patch.settings.distributorDevices["Verteiler \"1\""] = base::UUID::random();
    patch.sourceName = "Show „1“.mvr";
    const auto text = PatchEncoder::text(patch);
    EXPECT_EQ(base::parseJSON(text).get<Patch>(), patch);
    EXPECT_EQ(base::parseJSON(text), JSON(base::parseJSON(base::dump(base::OrderedJSON(patch))))) << "the same by either way";
    EXPECT_TRUE(text.starts_with(R"({"fixtures":[{"id":")"));
    EXPECT_LT(text.find(R"("settings":{"artNetOffset":-3,"breakerAmps":32,"voltage":110.5,"distributorDevices":)"),
              text.find(R"("sourceName":)"));
    EXPECT_EQ(PatchEncoder::text(Patch()).find("sourceName"), std::string::npos);
}

TEST(Patch, IsEncodedTheSameInSteps) {
    Patch patch;
    for (int i = 0; i < 10; ++i) patch.fixtures.push_back(planned(lamp(std::to_string(i))));
    PatchEncoder encoder(patch);
    int steps = 1;
    while (!encoder.step(3)) ++steps;
    EXPECT_EQ(steps, 4);
    EXPECT_EQ(encoder.take(), PatchEncoder::text(patch));
}

TEST(Patch, ReadsWhatOlderAndOtherVersionsWrote) {
    const auto read = [](const char* text) { return base::parseJSON(text).get<Patch>(); };
    EXPECT_EQ(read("{}"), Patch());
    EXPECT_EQ(read(R"({"fixtures":null,"settings":5,"sourceName":7})"), Patch());
    const auto patch = read(R"({"fixtures":[{"fixtureID":"10"},5,null,{"fixtureID":"9"}],"settings":{"voltage":110,
        "distributorDevices":{"A":"x","B":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","C":3}}})");
    EXPECT_EQ(numbers(patch), (std::vector<std::string>{"9", "10"}));
    EXPECT_EQ(patch.settings.voltage, 110);
    EXPECT_EQ(patch.settings.breakerAmps, 16);
    ASSERT_EQ(patch.settings.distributorDevices.size(), 1u);
    EXPECT_EQ(patch.settings.distributorDevices.begin()->first, "B");
    EXPECT_THROW(read("[]"), base::DecodeError);
    EXPECT_THROW(read(R"({"fixtures":{}})"), base::DecodeError) << "taken for empty, it would be lost";
}

TEST(Patch, TwoLampsOfOneIDAreBothKept) {
    const auto patch = base::parseJSON(R"({"fixtures":[{"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","fixtureID":"1"},
        {"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","fixtureID":"2"}]})")
                           .get<Patch>();
    ASSERT_EQ(patch.fixtures.size(), 2u);
    EXPECT_EQ(patch.fixtures[0].id.text(), "E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
    EXPECT_NE(patch.fixtures[1].id, patch.fixtures[0].id);
}
