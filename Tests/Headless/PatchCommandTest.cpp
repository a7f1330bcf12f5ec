#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "Headless/Binary.hpp"

namespace {

using nlohmann::json;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

constexpr const char* list =
    "Fixture-ID;Bezeichnung;Hersteller;Typ;Universum;Adresse;Kanäle;Verteiler;Sicherung;Phase;Leistung;Kürzel\n"
    "101;Spot links;Maker;Aura;2;41;16;Links;F1;L1;350;x\n"
    "102;Bühne;Maker;Aura;2;57;16;Links;F1;L2;350;y\n"
    "A3;Nebel;;;;;;;;;;z\n";

/// Each with the file alone, and beside a running program.
class PatchCommand : public testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        if (!GetParam()) return;
        ASSERT_EQ(run({"adapter", "use", "kein-adapter"}).code, 0);
        program_ = std::make_unique<BinaryRun>(home_, std::vector<std::string>{});
        ASSERT_TRUE(program_->prints(" läuft.")) << program_->errors();
    }
    Outcome run(std::vector<std::string> words) { return runBinary(home_, std::move(words)); }
    Outcome patch(std::vector<std::string> words) {
        words.insert(words.begin(), "patch");
        return run(std::move(words));
    }
    std::string file(const std::string& name, const std::string& content) {
        std::ofstream(home_ / name, std::ios::binary) << content;
        return (home_ / name).string();
    }
    std::filesystem::path stored() const { return home_.data() / "Patch" / "patch.json"; }
    json fixtures() { return json::parse(patch({"list", "--json"}).output)["fixtures"]; }
    json fixture(const std::string& number) {
        for (auto& each : fixtures())
            if (each["fixtureID"] == number) return each;
        return nullptr;
    }

    Home home_;
    std::unique_ptr<BinaryRun> program_;
};

TEST_P(PatchCommand, AListIsShownAndTakenOver) {
    const auto path = file("liste.csv", list);
    auto outcome = patch({"import", path, "--dry-run"});
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, ContainsRegex("Fixture-ID +→ Fixture-ID\nBezeichnung +→ Name\n"));
    EXPECT_THAT(outcome.output, ContainsRegex("Kürzel +→ – ignorieren –\n"));
    EXPECT_THAT(outcome.output, ContainsRegex("\\+ +101 +Spot links +2\\.041 +neu\n"));
    EXPECT_THAT(outcome.output, HasSubstr("neu: 3, geändert: 0, unverändert: 0, entfallen: 0\n"));
    EXPECT_THAT(outcome.errors, HasSubstr("Nur gezeigt, nichts geändert.\n"));
    EXPECT_FALSE(std::filesystem::exists(stored()));

    outcome = patch({"import", path});
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_THAT(outcome.errors, HasSubstr("Erledigt und gespeichert.\n"));
    EXPECT_TRUE(std::filesystem::exists(stored()));
    const auto spot = fixture("101");
    EXPECT_EQ(spot["universe"], 2);
    EXPECT_EQ(spot["address"], 41);
    EXPECT_EQ(spot["powerW"], 350.0);
    EXPECT_EQ(spot["notes"], "") << "each field is there";

    outcome = patch({"list", "BÜHNE"});
    EXPECT_THAT(outcome.output, ContainsRegex("102 +Bühne +Maker Aura +– +2\\.057 +16 +– +Links +F1 +L2 +350\n"));
    EXPECT_THAT(outcome.output, HasSubstr("1 von 3 Lampen, zuletzt aus „liste.csv“\n"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("101")));
    EXPECT_THAT(patch({"list", "2.60"}).output, HasSubstr("1 von 3"));
}

TEST_P(PatchCommand, ASecondImportKeepsThePlanAndReplaceDropsTheRest) {
    ASSERT_EQ(patch({"import", file("liste.csv", list)}).code, 0);
    const auto id = fixture("101")["id"];
    const auto path = file("neu.csv", "Fixture-ID,Address\n101,3.001\n200,3.020\n");
    auto outcome = patch({"import", path, "--replace"});
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, ContainsRegex("~ +101 .*2\\.041 → 3\\.001 +"));
    EXPECT_THAT(outcome.output, ContainsRegex("- +102 +Bühne +2\\.057 +entfällt\n"));
    EXPECT_THAT(outcome.output, HasSubstr("neu: 1, geändert: 1, unverändert: 0, entfallen: 2\n"));
    EXPECT_EQ(fixture("101")["id"], id);
    EXPECT_EQ(fixture("101")["breaker"], "F1");
    EXPECT_EQ(fixtures().size(), 2u);
}

TEST_P(PatchCommand, AColumnIsNamedByHand) {
    const auto path = file("liste.csv", "Fixture-ID;Wo=was;Notiz\n1;2.041;F7\n");
    auto outcome = patch({"import", path, "--map", "wo=WAS=address", "--map", "Notiz=breaker"});
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, ContainsRegex("Wo=was +→ Adresse\nNotiz +→ Sicherung / Kreis\n"));
    EXPECT_EQ(fixture("1")["address"], 41);
    EXPECT_EQ(fixture("1")["breaker"], "F7");
    EXPECT_EQ(fixture("1")["notes"], "");

    struct Row {
        const char* map;
        const char* text;
    };
    for (const auto& [map, text] :
         {Row{"Adresse=address", "CSV-Import: Es gibt keine Spalte „Adresse“. Die Liste hat: „Fixture-ID“, „Wo=was“, „Notiz“."},
          Row{"Notiz=phase2", "CSV-Import: Es gibt kein Feld „phase2“. Es gibt: „ignore“, „fixtureID“, „name“, "},
          Row{"Notiz", "CSV-Import: „Notiz“ hat nicht die Form SPALTE=FELD."}}) {
        outcome = patch({"import", path, "--map", map});
        EXPECT_EQ(outcome.code, 2) << map;
        EXPECT_THAT(outcome.errors, HasSubstr(text));
    }
}

TEST_P(PatchCommand, AFailedImportChangesNothing) {
    ASSERT_EQ(patch({"import", file("liste.csv", list)}).code, 0);
    const auto before = fixtures();
    struct Row {
        std::string file;
        const char* text;
    };
    for (const auto& [path, text] :
         {Row{file("leer.csv", " \n"), "CSV-Import: Die Datei ist leer."},
          Row{file("fremd.csv", "a;b\n1;2\n"), "CSV-Import: Keine Spalte der Liste wurde erkannt; --map nennt sie."},
          Row{file("kopf.csv", "Fixture-ID;Name\n"), "CSV-Import: Die Liste enthält keine Lampen."},
          Row{file("text.mvr", "Fixture-ID;Name\n1;x\n"), "MVR-Import: text.mvr ist kein gültiges ZIP-Archiv."},
          Row{file("kaputt.dat", "PK\x03\x04 und nichts weiter"), "MVR-Import: kaputt.dat ist kein gültiges ZIP-Archiv."},
          Row{file("ma2.show", "MA DATA und mehr"),
              "MA3-Show: Das ist eine grandMA2-Showdatei – bitte den Patch aus der MA2 als CSV exportieren."},
          Row{file("leer.show", "GMA3 und nichts weiter"), "MA3-Show: Showdaten nicht gefunden."},
          Row{(home_ / "fehlt.csv").string(), "CSV-Import: fehlt.csv kann nicht gelesen werden."}}) {
        const auto outcome = patch({"import", path, "--replace"});
        EXPECT_EQ(outcome.code, 1) << path;
        EXPECT_THAT(outcome.errors, HasSubstr(text)) << path;
        EXPECT_EQ(outcome.errors.find("Show wird entpackt und gelesen …\n") != std::string::npos, path.ends_with(".show"));
    }
    EXPECT_EQ(patch({"import", file("a.mvr", "PK\x03\x04"), "--map", "a=name"}).code, 2);
    EXPECT_EQ(fixtures(), before);
}

TEST_P(PatchCommand, TheExportReadsBackIntoTheSamePatch) {
    ASSERT_EQ(patch({"import", file("liste.csv", list)}).code, 0);
    ASSERT_EQ(patch({"edit", "A3", "--notes", "a;\"b\"\nc", "--power", "62,5"}).code, 0);
    const auto before = fixtures();
    const auto path = (home_ / "export.csv").string();
    auto outcome = patch({"export", path});
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_THAT(outcome.errors, HasSubstr("3 Lampen in „" + path + "“ geschrieben.\n"));
    outcome = patch({"import", path, "--replace"});
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("neu: 0, geändert: 0, unverändert: 3, entfallen: 0\n"));
    EXPECT_EQ(fixtures(), before);
    EXPECT_THAT(patch({"export", "-"}).output, HasSubstr("101;Spot links;Maker;Aura;;2;41;16;"));
}

TEST_P(PatchCommand, LampsAreEditedAndDeleted) {
    ASSERT_EQ(patch({"import", file("liste.csv", list)}).code, 0);
    auto outcome = patch({"edit", "101", "102", "--distributor", "Rechts", "--plugbox", "PB 1", "--outlet", "4", "--breaker", "F9",
                          "--phase", "L3", "--position", "T2", "--power", "0,7 kW", "--layer", "Front"});
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("geändert: 2, unverändert: 1"));
    for (const char* number : {"101", "102"}) {
        const auto lamp = fixture(number);
        EXPECT_EQ(lamp["distributor"], "Rechts");
        EXPECT_EQ(lamp["plugbox"], "PB 1");
        EXPECT_EQ(lamp["socket"], "4");
        EXPECT_EQ(lamp["breaker"], "F9");
        EXPECT_EQ(lamp["phase"], "L3");
        EXPECT_EQ(lamp["position"], "T2");
        EXPECT_EQ(lamp["layer"], "Front");
        EXPECT_EQ(lamp["powerW"], 700.0);
    }
    outcome = patch({"edit",   "A3",    "--address",      "4.100", "--footprint", "3", "--rdm",  "4d41:00000001", "--id",    "103",
                     "--name", "Hazer", "--manufacturer", "M",     "--model",     "H", "--mode", "3ch",           "--notes", "n"});
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    auto lamp = fixture("103");
    EXPECT_EQ(lamp["universe"], 4);
    EXPECT_EQ(lamp["address"], 100);
    EXPECT_EQ(lamp["rdmUID"], "4D41:00000001");
    EXPECT_EQ(lamp["mode"], "3ch");
    outcome = patch({"edit", "103", "--rdm", "", "--power", "", "--universe", "5", "--address", "7"});
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    lamp = fixture("103");
    EXPECT_FALSE(lamp.contains("rdmUID"));
    EXPECT_EQ(lamp["universe"], 5);

    for (const auto& words : std::vector<std::vector<std::string>>{{"edit", "101", "--address", "600"},
                                                                   {"edit", "101", "--address", "x"},
                                                                   {"edit", "101", "--address", "2.5", "--universe", "3"},
                                                                   {"edit", "101", "--universe", "x"},
                                                                   {"edit", "101", "--power", "viel"},
                                                                   {"edit", "101", "--rdm", "4d41"},
                                                                   {"edit", "101"},
                                                                   {"edit", "--name", "x"},
                                                                   {"edit", "all", "--id", "5"},
                                                                   {"delete"},
                                                                   {"delete", "101", "--all"},
                                                                   {"delete", "all"}})
        EXPECT_EQ(patch(words).code, 2) << words[0] << " " << words.back();
    EXPECT_EQ(patch({"delete", "999"}).code, 1);
    EXPECT_EQ(fixtures().size(), 3u);

    EXPECT_EQ(patch({"delete", "102"}).code, 0);
    EXPECT_EQ(fixtures().size(), 2u);
    EXPECT_EQ(patch({"delete", "--all"}).code, 0);
    EXPECT_EQ(patch({"list"}).output, "Keine Lampen.\n");
}

TEST_P(PatchCommand, SettingsAreShownAndChanged) {
    auto outcome = patch({"settings"});
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, ContainsRegex("Art-Net-Universum +Pult-Universum − 1 \\+ 0\nSicherungen +16 A\nSpannung +230 V\n"));
    EXPECT_FALSE(std::filesystem::exists(stored()));
    const std::string id = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
    outcome = patch({"settings", "--offset=-1", "--amps", "32", "--voltage", "115.5", "--distributor", "Links", "--meter", id});
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, ContainsRegex("− 1 − 1\nSicherungen +32 A\nSpannung +115,5 V\nMessgerät von „Links“ +" + id));
    EXPECT_EQ(json::parse(patch({"settings", "--json"}).output)["distributorDevices"]["Links"], id);
    EXPECT_EQ(patch({"settings", "--distributor", "Links", "--meter", ""}).code, 0);
    EXPECT_EQ(json::parse(patch({"settings", "--json"}).output)["distributorDevices"], json::object());
    for (const auto& words : std::vector<std::vector<std::string>>{{"settings", "--voltage", "0"},
                                                                   {"settings", "--voltage", "viel"},
                                                                   {"settings", "--offset", "1.5"},
                                                                   {"settings", "--meter", id},
                                                                   {"settings", "--distributor", "L", "--meter", "x"}})
        EXPECT_EQ(patch(words).code, 2) << words[1];
    EXPECT_EQ(json::parse(patch({"settings", "--json"}).output)["artNetOffset"], -1);
}

TEST_P(PatchCommand, TwentyThousandLampsAreTakenOver) {
    std::ostringstream rows;
    rows << "Fixture-ID;Name;Hersteller;Typ;Modus;Adresse;Kanäle;Position;Verteiler;Sicherung;Phase;Leistung\n";
    for (int i = 0; i < 20000; ++i)
        rows << i + 1 << ";Spot " << i << ";Maker of lamps;Aura XB;Extended;" << i / 32 + 1 << "." << i % 32 * 16 + 1
             << ";16;Truss 1;Verteiler links;F" << i % 24 + 1 << ";L1;350\n";
    const auto outcome = patch({"import", file("gross.csv", rows.str())});
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("… und 19980 weitere\nneu: 20000, geändert: 0"));
    EXPECT_THAT(patch({"list", "20000"}).output, HasSubstr("1 von 20000 Lampen"));
}

INSTANTIATE_TEST_SUITE_P(Where, PatchCommand, testing::Bool(),
                         [](const auto& info) { return info.param ? "BesideAProgram" : "OfTheFile"; });

TEST(PatchCommandAlone, ADamagedFileIsLeftAlone) {
    Home home;
    const auto path = home.data() / "Patch" / "patch.json";
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << "{\"fixtures\":[";
    for (const auto& words : std::vector<std::vector<std::string>>{{"patch", "list"}, {"patch", "delete", "--all"}}) {
        const auto outcome = runBinary(home, words);
        EXPECT_EQ(outcome.code, 1);
        EXPECT_THAT(outcome.errors, HasSubstr("Der Patch „" + path.string() + "“ ist beschädigt."));
    }
    std::ifstream file(path);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "{\"fixtures\":[");
}

// What the command has answered is there after a kill, and the next program begins with it.
TEST(PatchCommandAlone, AProgramThatIsKilledHasSavedWhatItAnswered) {
    Home home;
    ASSERT_EQ(runBinary(home, {"adapter", "use", "kein-adapter"}).code, 0);
    std::ofstream(home / "liste.csv") << list;
    {
        BinaryRun program(home, {});
        ASSERT_TRUE(program.prints(" läuft.")) << program.errors();
        ASSERT_EQ(runBinary(home, {"patch", "import", (home / "liste.csv").string()}).code, 0);
        program.signal(SIGKILL);
        ASSERT_EQ(program.wait(), 128 + SIGKILL);
    }
    EXPECT_THAT(runBinary(home, {"patch", "list"}).output, HasSubstr("3 Lampen"));
}

}  // namespace
