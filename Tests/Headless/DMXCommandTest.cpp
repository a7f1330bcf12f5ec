#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Headless/Binary.hpp"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using Words = std::vector<std::string>;

constexpr int refused = 1, wrongWords = 2, notRunning = 4;
constexpr const char* monitorNeeded =
    "Zum Senden bitte zuerst die Netzwerküberwachung starten (für Konfliktprüfung und Ziel-Nodes).";

TEST(DMXCommand, NeedsARunningProgram) {
    const Home home;
    for (const auto& words : {Words{"dmx", "status"}, Words{"dmx", "stop"}, Words{"dmx", "start", "all"}}) {
        const auto outcome = runBinary(home, words);
        EXPECT_EQ(outcome.code, notRunning) << words.back();
        EXPECT_THAT(outcome.errors, HasSubstr("Es läuft kein Programm"));
    }
}

TEST(DMXCommand, WrongWordsAreToldBeforeAnythingIsAsked) {
    const Home home;
    struct Row {
        Words words;
        const char* complaint;
    };
    for (const auto& [words, complaint] : std::initializer_list<Row>{
             {{"dmx"}, "es fehlt ein Befehl"},
             {{"dmx", "start"}, "es fehlt ein Befehl"},
             {{"dmx", "start", "fixtures"}, "es fehlt ID"},
             {{"dmx", "start", "raw", "1", "513", "0"}, "„513“ ist keine Zahl von 1 bis 512"},
             {{"dmx", "start", "raw", "1", "1", "256"}, "„256“ ist keine Zahl von 0 bis 255"},
             {{"dmx", "start", "raw", "0", "1", "1"}, "„0“ ist keine Zahl von 1 bis 63999"},
             {{"dmx", "start", "raw", "1", "1"}, "es fehlt VALUE"},
             {{"dmx", "start", "all", "--level", "1.1"}, "„1.1“ ist keine Zahl von 0 bis 1"},
             {{"dmx", "start", "all", "--proto", "osc"}, "„osc“ ist weder artnet noch sacn"},
             {{"dmx", "start", "all", "--priority", "201"}, "„201“ ist keine Zahl von 0 bis 200"},
             {{"dmx", "start", "chase", "--step", "0"}, "„0“ ist keine Zahl von 0.05 bis 3600"},
             {{"dmx", "start", "all", "--universes", "4-1"}, "„4-1“ ist keine Liste von Universen wie 1-4,7"},
             {{"dmx", "start", "all", "--universes", "1-2-3"}, "„1-2-3“ ist keine Liste von Universen wie 1-4,7"},
             {{"dmx", "start", "all", "--universes", "1,,2"}, "„1,,2“ ist keine Liste von Universen wie 1-4,7"}}) {
        const auto outcome = runBinary(home, words);
        EXPECT_EQ(outcome.code, wrongWords) << complaint;
        EXPECT_THAT(outcome.errors, HasSubstr(complaint));
    }
}

// Nothing leaves this computer: the monitor rests, and without it nothing is sent.
TEST(DMXCommand, ARefusalIsAnErrorAndStandsInTheStatus) {
    const Home home;
    BinaryRun program(home, {});
    ASSERT_TRUE(program.prints(" läuft.")) << program.errors();
    auto state = json::parse(runBinary(home, {"dmx", "status", "--json"}).output);
    EXPECT_EQ(state["mode"], "off");
    EXPECT_EQ(state["blockedBy"], nullptr);

    auto outcome = runBinary(home, {"dmx", "start", "raw", "3", "1", "255", "--proto", "sacn", "--universes", "1-3,7"});
    EXPECT_EQ(outcome.code, refused);
    EXPECT_THAT(outcome.errors, HasSubstr(monitorNeeded));
    state = json::parse(runBinary(home, {"dmx", "status", "--json"}).output);
    EXPECT_EQ(state["sending"], false);
    EXPECT_EQ(state["blockedBy"], monitorNeeded);
    EXPECT_EQ(state["universes"], json::array()) << "a refusal changes nothing";
    EXPECT_THAT(runBinary(home, {"dmx", "status"}).output, HasSubstr(std::string("Hinweis        ") + monitorNeeded));

    outcome = runBinary(home, {"dmx", "start", "fixtures", "999"});
    EXPECT_EQ(outcome.code, wrongWords);
    EXPECT_THAT(outcome.errors, HasSubstr("Es gibt keine Lampe „999“."));
    outcome = runBinary(home, {"dmx", "stop"});
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("Testausgabe    aus\n"));
}

}  // namespace
