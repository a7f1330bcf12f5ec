#include "Kestrelyne/App/PatchEdits.hpp"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Kestrelyne/App/ControlMessage.hpp"

using namespace kestrelyne;
using nlohmann::json;

namespace {

class PatchEditsTest : public testing::Test {
protected:
    PatchEditsTest() {
        for (const char* id : {"101", "102", "102", "A1"}) {
            PatchFixture fixture;
            fixture.fixtureID = id;
            fixture.name = std::string("Spot ") + id;
            fixture.universe = 1;
            fixture.address = 10 * static_cast<int>(patch_.fixtures.size()) + 1;
            fixture.footprint = 4;
            patch_.fixtures.push_back(fixture);
        }
    }
    json edit(const json& request) { return editPatch(patch_, request); }
    // What is said of a request that is refused; nothing may have changed.
    std::string refusal(const json& request, ExitCode code = ExitCode::wrongWords) {
        const auto before = patch_;
        try {
            edit(request);
        } catch (const ControlError& error) {
            EXPECT_EQ(error.code(), code) << request << error.what();
            EXPECT_EQ(patch_, before) << request;
            return error.what();
        }
        ADD_FAILURE() << request;
        return "";
    }
    PatchFixture& lamp(std::size_t place) { return patch_.fixtures[place]; }
    std::string idOf(std::size_t place) { return lamp(place).id.text(); }

    Patch patch_;
};

TEST_F(PatchEditsTest, SetsEveryField) {
    const auto answer = edit({{"verb", "patch.edit"},    {"fixtures", {"101"}}, {"fixtureID", " 7 "}, {"name", "Wäsche"},
                              {"manufacturer", "Maker"}, {"model", "Aura"},     {"mode", "Ext"},      {"universe", 3},
                              {"address", 512},          {"footprint", 16},     {"layer", "Front"},   {"position", "T1"},
                              {"distributor", "Links"},  {"plugbox", "PB"},     {"socket", "2"},      {"breaker", "F1"},
                              {"phase", "L1"},           {"powerW", 350.5},     {"notes", "wackelt"}, {"rdmUID", "4d41:0000000a"}});
    const auto& fixture = lamp(0);
    EXPECT_EQ(fixture.fixtureID, "7");
    EXPECT_EQ(fixture.name + fixture.manufacturer + fixture.model + fixture.mode, "WäscheMakerAuraExt");
    EXPECT_EQ(fixture.addressText(), "3.512");
    EXPECT_EQ(fixture.footprint, 16);
    EXPECT_EQ(fixture.layer + fixture.position + fixture.distributor + fixture.plugbox, "FrontT1LinksPB");
    EXPECT_EQ(fixture.socket + fixture.breaker + fixture.phase + fixture.notes, "2F1L1wackelt");
    EXPECT_EQ(fixture.powerW, 350.5);
    EXPECT_EQ(fixture.rdmUID, "4D41:0000000A") << "as a device prints";
    EXPECT_EQ(answer["changed"], 1);
    EXPECT_EQ(answer["unchanged"], 3);
    const auto& row = answer["rows"][0];
    EXPECT_EQ(row["before"], "1.001");
    EXPECT_EQ(row["after"], "3.512");
    EXPECT_EQ(row["changes"], json({"Fixture-ID", "Name", "Hersteller", "Typ", "Modus", "Adresse", "Kanäle", "Layer", "Position",
                                    "Verteiler", "Plugbox", "Steckplatz", "Sicherung", "Phase", "Leistung", "Notiz", "RDM-Gerät"}));
}

TEST_F(PatchEditsTest, AnEmptyValueRemoves) {
    lamp(0).powerW = 5;
    lamp(0).rdmUID = "4D41:0000000A";
    lamp(0).footprintEstimated = true;
    edit({{"verb", "patch.edit"},
          {"fixtures", {"101"}},
          {"name", ""},
          {"powerW", nullptr},
          {"rdmUID", ""},
          {"address", 0},
          {"footprint", 0}});
    EXPECT_EQ(lamp(0).name, "");
    EXPECT_EQ(lamp(0).powerW, std::nullopt);
    EXPECT_EQ(lamp(0).rdmUID, std::nullopt);
    EXPECT_EQ(lamp(0).addressText(), "–");
    EXPECT_FALSE(lamp(0).footprintEstimated) << "what was typed is no estimate";
}

TEST_F(PatchEditsTest, ALampIsNamedByItsNumberOrItsID) {
    edit({{"verb", "patch.edit"}, {"fixtures", {"A1", idOf(1), "A1"}}, {"notes", "x"}});
    EXPECT_EQ(lamp(0).notes + lamp(1).notes + lamp(2).notes + lamp(3).notes, "xx");
    EXPECT_EQ(edit({{"verb", "patch.edit"}, {"fixtures", {"all"}}, {"notes", "y"}})["changed"], 4);
    EXPECT_EQ(refusal({{"verb", "patch.edit"}, {"fixtures", {"101", "103"}}, {"notes", "z"}}, ExitCode::failed),
              "Es gibt keine Lampe „103“.");
    EXPECT_EQ(refusal({{"verb", "patch.edit"}, {"fixtures", {""}}, {"notes", "z"}}, ExitCode::failed), "Es gibt keine Lampe „“.");
    const auto text = refusal({{"verb", "patch.edit"}, {"fixtures", {"102"}}, {"notes", "z"}});
    EXPECT_EQ(text, "„102“ meint mehrere Lampen, bitte mit der Kennung nennen: 102 · Spot 102 (1.011, " + idOf(1) +
                        "); 102 · Spot 102 (1.021, " + idOf(2) + ").");
}

TEST_F(PatchEditsTest, ABadValueIsRefusedAndChangesNothing) {
    struct Row {
        const char* key;
        json value;
        const char* text;
    };
    for (const auto& [key, value, text] : std::initializer_list<Row>{
             {"universe", 0, "„universe“ muss eine Zahl von 1 bis 63999 sein."},
             {"universe", 64000, "„universe“ muss eine Zahl von 1 bis 63999 sein."},
             {"universe", "2", "„universe“ muss eine ganze Zahl sein."},
             {"address", 513, "„address“ muss eine Zahl von 0 bis 512 sein (0: nicht gepatcht)."},
             {"address", -1, "„address“ muss eine Zahl von 0 bis 512 sein (0: nicht gepatcht)."},
             {"address", 1.5, "„address“ muss eine ganze Zahl sein."},
             {"footprint", -1, "„footprint“ muss eine Zahl von 0 bis 65535 sein."},
             {"powerW", -0.5, "„powerW“ muss eine Zahl von 0 bis 1000000 sein."},
             {"powerW", "350", "„powerW“ muss eine Zahl von 0 bis 1000000 sein."},
             {"name", 7, "„name“ muss ein Text sein."},
             {"rdmUID", "4D41:1234", "„4D41:1234“ ist keine RDM-Kennung: vier und acht hexadezimale Ziffern, etwa 4D41:00001234."},
             {"rdmUID", "4D41-00001234",
              "„4D41-00001234“ ist keine RDM-Kennung: vier und acht hexadezimale Ziffern, etwa 4D41:00001234."}})
        EXPECT_EQ(refusal({{"verb", "patch.edit"}, {"fixtures", {"101"}}, {"notes", "x"}, {key, value}}), text);
    EXPECT_EQ(refusal({{"verb", "patch.edit"}, {"fixtures", {"101"}}}), "Es ist kein Feld genannt, das geändert werden soll.");
    EXPECT_EQ(refusal({{"verb", "patch.edit"}, {"notes", "x"}}), "Es fehlt die Liste „fixtures“.");
    EXPECT_EQ(refusal({{"verb", "patch.edit"}, {"fixtures", json::array()}, {"notes", "x"}}, ExitCode::failed),
              "Es ist keine Lampe genannt.");
    EXPECT_EQ(refusal({{"verb", "patch.paint"}}), "Unbekannter Befehl „patch.paint“.");
}

TEST_F(PatchEditsTest, WhatNoTwoLampsShareIsSetForOneAlone) {
    for (const auto& [key, value] : {std::pair{"fixtureID", "9"}, std::pair{"rdmUID", "4D41:00000001"}})
        EXPECT_EQ(refusal({{"verb", "patch.edit"}, {"fixtures", {"all"}}, {key, value}}),
                  "Fixture-ID und RDM-Kennung lassen sich nur für eine einzelne Lampe setzen.");
    EXPECT_EQ(edit({{"verb", "patch.edit"}, {"fixtures", {"all"}}, {"rdmUID", ""}})["unchanged"], 4) << "removed from all";
}

TEST_F(PatchEditsTest, TheOrderFollowsTheNumbers) {
    edit({{"verb", "patch.edit"}, {"fixtures", {"A1"}}, {"fixtureID", "1"}});
    EXPECT_EQ(lamp(0).fixtureID, "1");
}

TEST_F(PatchEditsTest, LampsAreDeleted) {
    EXPECT_EQ(refusal({{"verb", "patch.delete"}}), "Es fehlt die Liste „fixtures“.");
    EXPECT_EQ(refusal({{"verb", "patch.delete"}, {"fixtures", json::array()}}), "Es ist keine Lampe genannt.");
    EXPECT_EQ(refusal({{"verb", "patch.delete"}, {"fixtures", {"all"}}}), "Alle Lampen löscht nur die Angabe „all“: true.");
    EXPECT_EQ(refusal({{"verb", "patch.delete"}, {"fixtures", {"101", "x"}}}, ExitCode::failed), "Es gibt keine Lampe „x“.");
    const auto answer = edit({{"verb", "patch.delete"}, {"fixtures", {"101", idOf(2)}}});
    EXPECT_EQ(answer["removed"], 2);
    EXPECT_EQ(answer["rows"][0]["what"], "removed");
    EXPECT_EQ(answer["rows"][0]["after"], nullptr);
    EXPECT_EQ(patch_.fixtures.size(), 2u);
    EXPECT_EQ(edit({{"verb", "patch.delete"}, {"all", true}})["removed"], 2);
    EXPECT_TRUE(patch_.fixtures.empty());
}

TEST_F(PatchEditsTest, SettingsAreChecked) {
    const std::string id = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
    auto answer = edit({{"verb", "patch.settings"},
                        {"artNetOffset", -2},
                        {"breakerAmps", 32},
                        {"voltage", 115.5},
                        {"distributor", "Links"},
                        {"device", id}});
    EXPECT_EQ(answer,
              json({{"artNetOffset", -2}, {"breakerAmps", 32.0}, {"voltage", 115.5}, {"distributorDevices", {{"Links", id}}}}));
    EXPECT_EQ(patch_.settings.distributorDevices.at("Links").text(), id);
    EXPECT_EQ(edit({{"verb", "patch.settings"}, {"distributor", "Links"}, {"device", ""}})["distributorDevices"], json::object());
    EXPECT_EQ(patch_.settings.artNetOffset, -2) << "what is not named stays";
    struct Row {
        json fields;
        const char* text;
    };
    for (const auto& [fields, text] : std::initializer_list<Row>{
             {{{"artNetOffset", 40000}}, "„artNetOffset“ muss eine Zahl von -32767 bis 32767 sein."},
             {{{"artNetOffset", 0.5}}, "„artNetOffset“ muss eine ganze Zahl sein."},
             {{{"breakerAmps", 0}}, "„breakerAmps“ muss eine Zahl über 0 bis 10000 sein."},
             {{{"voltage", -230}}, "„voltage“ muss eine Zahl über 0 bis 10000 sein."},
             {{{"voltage", "230"}}, "„voltage“ muss eine Zahl über 0 bis 10000 sein."},
             {{{"distributor", "Links"}}, "„distributor“ und „device“ gehören zusammen."},
             {{{"device", id}}, "„distributor“ und „device“ gehören zusammen."},
             {{{"distributor", ""}, {"device", id}}, "Der Name des Verteilers ist leer."},
             {{{"distributor", "Links"}, {"device", "Messgerät 1"}}, "„Messgerät 1“ ist keine Kennung eines Messgeräts."}}) {
        auto request = fields;
        request["verb"] = "patch.settings";
        EXPECT_EQ(refusal(request), text);
    }
}

TEST_F(PatchEditsTest, AnImportTellsWhatChanges) {
    const json fixtures = {{{"fixtureID", "101"}, {"name", "Spot 101"}, {"universe", 1}, {"address", 1}, {"footprint", 4}},
                           {{"fixtureID", "A1"}, {"name", "Neu"}, {"universe", 2}, {"address", 5}, {"footprint", 4}},
                           {{"fixtureID", "200"}, {"universe", 2}, {"address", 9}}};
    json request = {{"verb", "patch.import"}, {"fixtures", fixtures}, {"replace", true}, {"source", "neu.csv"}, {"dryRun", true}};
    const auto before = patch_;
    const auto preview = edit(request);
    EXPECT_EQ(patch_, before) << "only shown";
    EXPECT_EQ(preview["added"], 1);
    EXPECT_EQ(preview["changed"], 1);
    EXPECT_EQ(preview["unchanged"], 1);
    EXPECT_EQ(preview["removed"], 2);
    ASSERT_EQ(preview["rows"].size(), 4u);
    EXPECT_EQ(preview["rows"][0]["what"], "added");
    EXPECT_EQ(preview["rows"][0]["before"], nullptr);
    EXPECT_EQ(preview["rows"][0]["after"], "2.009");
    EXPECT_EQ(preview["rows"][1]["what"], "changed");
    EXPECT_EQ(preview["rows"][1]["before"], "1.031");
    EXPECT_EQ(preview["rows"][1]["after"], "2.005");
    EXPECT_EQ(preview["rows"][1]["changes"], json({"Name", "Adresse"}));
    EXPECT_EQ(preview["rows"][2]["what"], "removed");
    request["dryRun"] = false;
    const auto done = edit(request);
    EXPECT_EQ(done["removed"], 2);
    EXPECT_EQ(patch_.fixtures.size(), 3u);
    EXPECT_EQ(patch_.sourceName, "neu.csv");
    request["replace"] = false;
    EXPECT_EQ(edit(request)["unchanged"], 3);
}

TEST_F(PatchEditsTest, AnImportThatIsNoListChangesNothing) {
    EXPECT_EQ(refusal({{"verb", "patch.import"}}), "Es fehlt die Liste „fixtures“.");
    EXPECT_EQ(refusal({{"verb", "patch.import"}, {"fixtures", json::array()}, {"replace", true}}),
              "Die Liste „fixtures“ ist leer.");
    EXPECT_EQ(refusal({{"verb", "patch.import"}, {"fixtures", {json::object(), 5}}}),
              "„fixtures“ enthält etwas, das keine Lampe ist.");
    EXPECT_EQ(refusal({{"verb", "patch.import"}, {"fixtures", {json::object()}}, {"replace", "ja"}}),
              "„replace“ muss true oder false sein.");
}

TEST_F(PatchEditsTest, ATableHasTheFirstRowsAlone) {
    json fixtures = json::array();
    for (int i = 0; i < 50; ++i) fixtures.push_back({{"fixtureID", std::to_string(1000 + i)}});
    const auto answer = edit({{"verb", "patch.import"}, {"fixtures", fixtures}});
    EXPECT_EQ(answer["added"], 50);
    EXPECT_EQ(answer["rows"].size(), mostPatchRows);
}

}  // namespace
