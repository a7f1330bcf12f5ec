#include "Kestrelyne/App/PatchText.hpp"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

using namespace kestrelyne;
using nlohmann::json;

TEST(PatchText, ListsLampsWithWhatThereIsToSayOfAll) {
    json answer = {{"fixtures",
                    {{{"fixtureID", "101"},
                      {"name", "Bühne"},
                      {"manufacturer", "M"},
                      {"model", "Aura"},
                      {"universe", 2},
                      {"address", 41},
                      {"footprint", 16},
                      {"footprintEstimated", true},
                      {"powerW", 62.5},
                      {"breaker", "F1"}},
                     {{"name", "\x1B[31mrot"}},
                     7}},
                   {"count", 3},
                   {"overlaps", 2},
                   {"sourceName", "show.mvr"}};
    EXPECT_EQ(patchTable(answer),
              "Nr.  Name      Typ     Modus  Adresse  Kanäle  Position  Verteiler  Sicherung  Phase  Watt\n"
              "101  Bühne     M Aura  –      2.041    ~16     –         –          F1         –      62,5\n"
              "–    \xEF\xBF\xBD[31mrot  –       –      –        0       –         –          –          –      –\n"
              "2 von 3 Lampen, zuletzt aus „show.mvr“\n"
              "Adressüberschneidung: 2\n");
    answer = {{"fixtures", json::array()}, {"count", 1}, {"overlaps", 0}, {"sourceName", ""}};
    EXPECT_EQ(patchTable(answer), "0 von 1 Lampe\n");
    EXPECT_EQ(patchTable({{"fixtures", json::array()}, {"count", 0}}), "Keine Lampen.\n");
    EXPECT_EQ(patchTable(json::array()), "Keine Lampen.\n");
}

TEST(PatchText, ShowsWhatChanges) {
    const json changes = {
        {"rows",
         {{{"what", "added"}, {"fixtureID", "1"}, {"name", "A"}, {"before", nullptr}, {"after", "1.001"}},
          {{"what", "changed"},
           {"fixtureID", "2"},
           {"name", "B"},
           {"before", "1.001"},
           {"after", "2.001"},
           {"changes", {"Adresse", "Modus"}}},
          {{"what", "changed"}, {"fixtureID", "3"}, {"name", ""}, {"before", "–"}, {"after", "–"}, {"changes", {"Name"}}},
          {{"what", "removed"}, {"fixtureID", ""}, {"name", "D"}, {"before", "1.005"}, {"after", nullptr}}}},
        {"added", 1},
        {"changed", 2},
        {"unchanged", 7},
        {"removed", 4}};
    EXPECT_EQ(patchChangeTable(changes),
              "+  1  A  1.001          neu\n"
              "~  2  B  1.001 → 2.001  Adresse, Modus\n"
              "~  3  –  –              Name\n"
              "-  –  D  1.005          entfällt\n"
              "… und 3 weitere\n"
              "neu: 1, geändert: 2, unverändert: 7, entfallen: 4\n");
    EXPECT_EQ(patchChangeTable(json::object()), "neu: 0, geändert: 0, unverändert: 0, entfallen: 0\n");
}

TEST(PatchText, ShowsTheSettings) {
    EXPECT_EQ(patchSettingsTable({{"artNetOffset", -2},
                                  {"breakerAmps", 16.0},
                                  {"voltage", 230.5},
                                  {"distributorDevices", {{"Links", "E621E1F8-C36C-495A-93FC-0C247A3E6E5F"}}}}),
              "Art-Net-Universum      Pult-Universum − 1 − 2\n"
              "Sicherungen            16 A\n"
              "Spannung               230,5 V\n"
              "Messgerät von „Links“  E621E1F8-C36C-495A-93FC-0C247A3E6E5F\n");
}
