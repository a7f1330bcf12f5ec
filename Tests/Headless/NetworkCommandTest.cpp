#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <thread>

#include "Headless/Binary.hpp"

namespace {

using nlohmann::json;
using testing::ContainsRegex;
using testing::HasSubstr;

/// Each with the stores alone, and beside a running program. No adapter of this computer is used.
class NetworkCommand : public testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        ASSERT_EQ(run({"adapter", "use", "kein-adapter"}).code, 0);
        if (!GetParam()) return;
        program_ = std::make_unique<BinaryRun>(home_, std::vector<std::string>{});
        ASSERT_TRUE(program_->prints(" läuft.")) << program_->errors();
    }
    Outcome run(std::vector<std::string> words) { return runBinary(home_, std::move(words)); }
    json stored() { return json::parse(run({"settings", "get", "network.v1"}).output); }
    void saysWhere(const Outcome& outcome) {
        EXPECT_THAT(outcome.errors,
                    HasSubstr(GetParam() ? "Laufendes Programm (Prozess " + std::to_string(program_->pid())
                                         : "Es läuft kein Programm; Einstellungen in „" + home_.settings().string()));
    }

    Home home_;
    std::unique_ptr<BinaryRun> program_;
};

TEST_P(NetworkCommand, DevicesAreAddedListedEditedAndRemoved) {
    auto outcome =
        run({"device", "add", "--name", "Pult", "--ip", "127.0.0.1", "--role", "console", "--no-alarm", "--notes", "Saal"});
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    saysWhere(outcome);
    EXPECT_THAT(outcome.errors, HasSubstr("„Pult“ (127.0.0.1) wird überwacht.\n"));
    ASSERT_EQ(stored()["devices"].size(), 1u);
    const std::string id = stored()["devices"][0]["id"];
    EXPECT_EQ(outcome.output, id + "\n");
    EXPECT_EQ(stored()["devices"][0], json({{"id", id},
                                            {"name", "Pult"},
                                            {"ip", "127.0.0.1"},
                                            {"role", "console"},
                                            {"snmp", false},
                                            {"community", "public"},
                                            {"snmpPort", 161},
                                            {"extraOIDs", ""},
                                            {"alarmOnOffline", false},
                                            {"notes", "Saal"}}));

    outcome =
        run({"device", "edit", "Pult", "--snmp", "--community", "geheim", "--snmp-port", "1161", "--oids", "1.3.6", "--alarm"});
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    const auto device = stored()["devices"][0];
    EXPECT_EQ(device["snmp"], true);
    EXPECT_EQ(device["community"], "geheim");
    EXPECT_EQ(device["snmpPort"], 1161);
    EXPECT_EQ(device["extraOIDs"], "1.3.6");
    EXPECT_EQ(device["alarmOnOffline"], true);
    EXPECT_EQ(device["name"], "Pult");
    EXPECT_EQ(device["notes"], "Saal");

    outcome = run({"device", "list"});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(outcome.output, ContainsRegex("Pult +127\\.0\\.0\\.1 +Pult +– +– +ja +ja +– +" + id + "\n"));
    EXPECT_EQ(json::parse(run({"device", "list", "--json"}).output)["devices"][0]["id"], id);

    EXPECT_EQ(run({"device", "remove", id}).code, 0);
    EXPECT_EQ(stored()["devices"], json::array());
    EXPECT_EQ(run({"device", "list"}).output, "Keine Geräte.\n");
}

TEST_P(NetworkCommand, ADeviceThatIsNotMeantIsSaid) {
    for (const char* ip : {"127.0.0.1", "127.0.0.2"}) ASSERT_EQ(run({"device", "add", "--name", "Node", "--ip", ip}).code, 0);
    auto outcome = run({"device", "remove", "Node"});
    EXPECT_EQ(outcome.code, 2);
    EXPECT_THAT(outcome.errors, HasSubstr("„Node“ meint mehrere Geräte"));
    outcome = run({"device", "edit", "Pult", "--notes", "x"});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("Es gibt kein Gerät „Pult“."));
    EXPECT_EQ(run({"device", "add", "--ip", "pult"}).code, 2);
    EXPECT_EQ(run({"device", "edit", "127.0.0.2", "--role", "router"}).code, 2);
    EXPECT_EQ(stored()["devices"].size(), 2u);
}

TEST_P(NetworkCommand, EverySettingCanBeSetAndShown) {
    const std::vector<std::pair<std::string, std::string>> fields = {
        {"pingInterval", "2.5"},    {"offlineAfter", "3"},    {"liveDefaults", "true"}, {"snmpInterval", "20.5"},
        {"artPollInterval", "4.5"}, {"sacnUniverses", "1-3"}, {"tempLimit", "65.5"},    {"upsRuntimeLimit", "5.5"},
        {"upsLoadLimit", "80.5"},   {"notify", "false"},      {"autoStart", "true"},    {"alarmNewDevices", "true"},
        {"artnetSubscribe", "true"}};
    for (const auto& [field, value] : fields) {
        const auto outcome = run({"monitor", "set", field, value});
        EXPECT_EQ(outcome.code, 0) << field << ": " << outcome.errors;
        saysWhere(outcome);
        EXPECT_THAT(outcome.errors, HasSubstr("Erledigt und gespeichert.\n"));
    }
    const auto show = run({"monitor", "show"});
    EXPECT_EQ(show.code, 0);
    for (const auto& [field, value] : fields) EXPECT_THAT(show.output, ContainsRegex(field + " +" + value + "\n"));
    EXPECT_EQ(stored()["sacnUniverses"], "1-3");
    EXPECT_EQ(stored()["offlineAfter"], 3);
    EXPECT_EQ(stored()["interfaces"], json({"kein-adapter"}));
}

TEST_P(NetworkCommand, ABadValueIsRefusedAndChangesNothing) {
    const auto before = stored();
    for (const auto& [field, value] : std::initializer_list<std::pair<const char*, const char*>>{{"pingInterval", "0"},
                                                                                                 {"pingInterval", "oft"},
                                                                                                 {"sacnUniverses", "1-5000"},
                                                                                                 {"notify", "ja"},
                                                                                                 {"devices", "[]"},
                                                                                                 {"nonsense", "1"}}) {
        const auto outcome = run({"monitor", "set", field, value});
        EXPECT_EQ(outcome.code, 2) << field;
        EXPECT_THAT(outcome.errors, HasSubstr(field));
        EXPECT_THAT(outcome.errors, testing::Not(HasSubstr("Erledigt")));
    }
    EXPECT_EQ(stored(), before);
}

TEST_P(NetworkCommand, AdaptersAreChosenNamedAndGivenTheirTasks) {
    auto outcome = run({"adapter", "use", "eth98", "eth99"});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(outcome.errors, HasSubstr("Den Adapter „eth99“ gibt es hier gerade nicht"));
    EXPECT_EQ(stored()["interfaces"], json({"eth98", "eth99"}));
    EXPECT_EQ(run({"adapter", "role", "eth99", "management"}).code, 0);
    EXPECT_EQ(stored()["interfaceRoles"], json({{"eth99", "Switche / Management"}}));
    EXPECT_EQ(run({"adapter", "role", "eth99", "Management"}).code, 2);
    EXPECT_EQ(run({"adapter", "label", "eth99", "Büro"}).code, 0);
    EXPECT_EQ(stored()["interfaceLabels"], json({{"eth99", "Büro"}}));
    EXPECT_EQ(run({"adapter", "label", "eth99"}).code, 0);
    EXPECT_EQ(stored()["interfaceLabels"], json::object());
    EXPECT_EQ(run({"adapter", "use"}).code, 0);
    EXPECT_EQ(stored()["interfaces"], json::array());
    EXPECT_EQ(run({"adapter", "list"}).code, 0);
    EXPECT_TRUE(json::parse(run({"adapter", "list", "--json"}).output)["adapters"].is_array());
}

TEST_P(NetworkCommand, TheReferenceIsForgotten) {
    EXPECT_EQ(run({"monitor", "known", "list"}).output, "Keine Referenz bekannter Geräte.\n");
    EXPECT_EQ(run({"monitor", "known", "forget"}).code, 0);
    EXPECT_EQ(stored()["knownMACs"], json::object());
}

INSTANTIATE_TEST_SUITE_P(Where, NetworkCommand, testing::Bool(),
                         [](const auto& info) { return info.param ? "BesideARunningProgram" : "OnTheStores"; });

TEST(NetworkCommandAlone, WhatLivesNeedsARunningProgram) {
    const Home home;
    for (const auto& words : std::vector<std::vector<std::string>>{{"monitor", "start"},
                                                                   {"monitor", "stop"},
                                                                   {"monitor", "status"},
                                                                   {"monitor", "known", "take"},
                                                                   {"monitor", "clear", "light"},
                                                                   {"monitor", "clear", "network"},
                                                                   {"universes"},
                                                                   {"universes", "--watch"}}) {
        const auto outcome = runBinary(home, words);
        EXPECT_EQ(outcome.code, 4) << words[0];
        EXPECT_THAT(outcome.errors, HasSubstr("Es läuft kein Programm mit den Einstellungen in „" + home.settings().string()));
        EXPECT_EQ(outcome.output, "");
    }
    for (const auto& words : std::vector<std::vector<std::string>>{{"device", "list"}, {"adapter", "list"}, {"monitor", "show"}})
        EXPECT_EQ(runBinary(home, words).code, 0);
    EXPECT_FALSE(std::filesystem::exists(home.settings())) << "asking makes nothing";
}

TEST(NetworkCommandAlone, WrongWordsAreOneLineAndCode2) {
    const Home home;
    for (const auto& [words, text] : std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{"monitor"}, "es fehlt ein Befehl"},
             {{"monitor", "known"}, "es fehlt ein Befehl"},
             {{"monitor", "clear", "all"}, "es fehlt ein Befehl"},
             {{"monitor", "set", "notify"}, "es fehlt VALUE"},
             {{"device", "add", "--name", "Pult"}, "es fehlt --ip"},
             {{"device", "add", "--ip", "127.0.0.1", "--alarm", "--no-alarm"}, "--alarm und --no-alarm schließen einander aus"},
             {{"device", "edit", "x", "--snmp", "--no-snmp"}, "--snmp und --no-snmp schließen einander aus"},
             {{"device", "add", "--ip", "127.0.0.1", "--snmp-port", "0"}, "„0“ ist keine Zahl von 1 bis 65535"},
             {{"device", "remove"}, "es fehlt DEVICE"},
             {{"adapter", "role", "eth0"}, "es fehlt ROLE"},
             {{"universes", "--monitor"}, "gehören zu run"},
             {{"run", "--monitor", "--no-monitor"}, "--monitor und --no-monitor schließen einander aus"}}) {
        const auto outcome = runBinary(home, words);
        EXPECT_EQ(outcome.code, 2) << outcome.errors;
        EXPECT_THAT(outcome.errors, HasSubstr(text));
        EXPECT_EQ(linesOf(outcome.errors), 1) << outcome.errors;
        EXPECT_EQ(outcome.output, "");
    }
}

/// A program that watches no adapter of this computer.
class RunningMonitor : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(runBinary(home_, {"adapter", "use", "kein-adapter"}).code, 0); }
    std::unique_ptr<BinaryRun> start(std::vector<std::string> words) {
        auto program = std::make_unique<BinaryRun>(home_, std::move(words));
        EXPECT_TRUE(program->prints("Web-App")) << program->errors();
        return program;
    }
    bool isRunning() { return json::parse(runBinary(home_, {"monitor", "status", "--json"}).output)["running"]; }
    bool startsByItself() { return json::parse(runBinary(home_, {"settings", "get", "network.v1"}).output)["autoStart"]; }
    static void end(BinaryRun& program) {
        program.signal(SIGTERM);
        EXPECT_EQ(program.wait(), 0) << program.errors();
    }
    Home home_;
};

TEST_F(RunningMonitor, TheAutomaticStartIsStoredAndCountsAtOnce) {
    auto program = start({"run", "--monitor"});
    EXPECT_THAT(program->output(), HasSubstr("Das Netz wird überwacht.\n"));
    EXPECT_TRUE(isRunning());
    EXPECT_TRUE(startsByItself());
    end(*program);

    program = start({});
    EXPECT_TRUE(isRunning()) << "the next start needs no word";
    end(*program);

    program = start({"run", "--no-monitor"});
    EXPECT_FALSE(isRunning());
    EXPECT_FALSE(startsByItself());
    end(*program);
}

TEST_F(RunningMonitor, StartsAndStopsWithoutATraceInTheSettings) {
    auto program = start({});
    EXPECT_FALSE(isRunning());
    auto outcome = runBinary(home_, {"monitor", "start"});
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("Überwachung    läuft\n"));
    EXPECT_THAT(runBinary(home_, {"status"}).output, HasSubstr("Netz           läuft, "));
    EXPECT_FALSE(startsByItself());
    outcome = runBinary(home_, {"monitor", "stop"});
    EXPECT_THAT(outcome.output, HasSubstr("Überwachung    aus\n"));
    EXPECT_FALSE(isRunning());
    for (const auto* what : {"light", "network"}) EXPECT_EQ(runBinary(home_, {"monitor", "clear", what}).code, 0);
    end(*program);
}

TEST_F(RunningMonitor, UniversesAreShownOnceOrAgainAndAgain) {
    auto program = start({"run", "--monitor"});
    const auto once = runBinary(home_, {"universes"});
    EXPECT_EQ(once.code, 0);
    EXPECT_THAT(once.output, testing::MatchesRegex("[0-9:]+  [0-9]+ Univers(um|en)(.|\n)*"));
    EXPECT_TRUE(json::parse(runBinary(home_, {"universes", "--json"}).output)["universes"].is_array());

    BinaryRun watch(home_, {"universes", "--watch"});
    // One block after the other, an empty line behind each; no escape sequence in a file.
    const auto blocks = [&watch] {
        const auto text = watch.output();
        int count = 0;
        for (auto at = text.find("\n\n"); at != std::string::npos; at = text.find("\n\n", at + 1)) ++count;
        return count;
    };
    for (int i = 0; i < 2000 && blocks() < 2; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_GE(blocks(), 2);
    EXPECT_EQ(watch.output().find('\x1B'), std::string::npos);
    watch.signal(SIGINT);
    EXPECT_EQ(watch.wait(), 128 + SIGINT);
    end(*program);
}

}  // namespace
