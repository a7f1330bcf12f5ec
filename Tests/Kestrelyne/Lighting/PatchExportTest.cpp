#include "Kestrelyne/Lighting/PatchExport.hpp"

#include <gtest/gtest.h>

#include <algorithm>

#include "Kestrelyne/Lighting/Patch.hpp"
#include "Kestrelyne/Lighting/PatchImport.hpp"

using namespace kestrelyne;

namespace {

std::vector<PatchFixture> readBack(const std::string& csv) {
    const auto table = PatchImport::parseCSVText(csv);
    return PatchImport::fixtures(table, PatchImport::guessMapping(table.header));
}

PatchFixture full(const std::string& fixtureID) {
    PatchFixture fixture;
    fixture.fixtureID = fixtureID;
    fixture.name = "Spot; \"links\"";
    fixture.manufacturer = "Müller & Söhne";
    fixture.model = "Aura 'XB'";
    fixture.mode = "16 Bit, erweitert";
    fixture.universe = 12;
    fixture.address = 512;
    fixture.footprint = 38;
    fixture.layer = "Front";
    fixture.position = "Truss 1";
    fixture.distributor = "Links";
    fixture.plugbox = "PB 3";
    fixture.socket = "2";
    fixture.breaker = "F12";
    fixture.phase = "L2";
    fixture.powerW = 350.5;
    fixture.notes = "Zeile 1\nZeile 2\r\n=3+4";
    return fixture;
}

}  // namespace

TEST(PatchExport, EveryHeadingIsGuessedBack) {
    const auto table = PatchImport::parseCSVText(PatchExport::csv({full("1")}));
    std::vector<PatchField> expected;
    for (const auto field : allPatchFields())
        if (field != PatchField::ignore) expected.push_back(field);
    auto mapping = PatchImport::guessMapping(table.header);
    std::ranges::sort(mapping);
    EXPECT_EQ(mapping, expected);
}

TEST(PatchExport, IsMadeForAGermanSpreadsheet) {
    const auto csv = PatchExport::csv({});
    EXPECT_TRUE(
        csv.starts_with("\xEF\xBB\xBF"
                        "Fixture-ID;Name;"));
    EXPECT_TRUE(csv.ends_with(";Notiz\r\n"));
    const auto row = PatchExport::csv({full("12.3")});
    EXPECT_NE(row.find("12.3;\"Spot; \"\"links\"\"\";Müller & Söhne;"), std::string::npos) << row;
    EXPECT_NE(row.find(";12;512;38;"), std::string::npos) << row;
    EXPECT_NE(row.find(";350,5;"), std::string::npos) << row;
}

TEST(PatchExport, ReadsBackIntoTheSamePatch) {
    std::vector<PatchFixture> fixtures = {full("1"), full("12.3"), full("A2"), full(""), full("1")};
    fixtures[1].powerW.reset();
    fixtures[1].address = 0;
    fixtures[2].footprintEstimated = true;
    fixtures[2].footprint = 0;
    fixtures[3] = PatchFixture();
    fixtures[3].universe = 3;
    fixtures[4].address = 700;
    Patch patch;
    patch.fixtures = fixtures;
    patch.sort();
    auto back = readBack(PatchExport::csv(patch.fixtures));
    ASSERT_EQ(back.size(), patch.fixtures.size());
    for (std::size_t i = 0; i < back.size(); ++i) {
        back[i].id = patch.fixtures[i].id;
        EXPECT_EQ(back[i], patch.fixtures[i]) << i;
    }
    auto again = patch;
    again.apply(readBack(PatchExport::csv(patch.fixtures)), true, "");
    for (std::size_t i = 0; i < back.size(); ++i)
        if (again.fixtures[i].fixtureID.empty()) again.fixtures[i].id = patch.fixtures[i].id;
    EXPECT_EQ(again, patch);
}

TEST(PatchExport, PowerComesBackExactly) {
    for (const double watts : {0.0, 0.1, 1.125, 12.375, 350.0, 1234.125, 1000.0, 1e6, 0.30000000000000004, 99999.5, 1e-7}) {
        auto fixture = full("1");
        fixture.powerW = watts;
        const auto back = readBack(PatchExport::csv({fixture}));
        ASSERT_EQ(back.size(), 1u);
        EXPECT_EQ(back[0].powerW, watts) << PatchExport::csv({fixture});
    }
}
