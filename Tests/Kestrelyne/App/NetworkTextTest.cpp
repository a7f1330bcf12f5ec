#include "Kestrelyne/App/NetworkText.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace kestrelyne {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

const auto now = *base::wallTimeSince1970(1795258830);

json network() {
    return {{"running", true},
            {"autoStart", true},
            {"adapters", {"FOH 10.0.0.0/24", "eth1 192.168.1.0/24"}},
            {"universes", 12},
            {"conflicts", 1},
            {"nodes", 3},
            {"devices", {{"online", 2}, {"total", 4}}},
            {"problems", {{{"level", "alarm"}, {"text", "Pult (10.0.0.1) nicht erreichbar"}}}},
            {"dropped", 0},
            {"refused", 0},
            {"errors", {"sACN: Port 5568 belegt"}}};
}

TEST(NetworkText, TheProgramsStateHasFewLinesOfIt) {
    auto state = network();
    EXPECT_THAT(networkLines(state), ElementsAre("läuft, 12 Universen, 3 Nodes, 2 von 4 Geräten online",
                                                 "Pult (10.0.0.1) nicht erreichbar", "sACN: Port 5568 belegt"));
    state = {{"running", true}, {"universes", 1}, {"nodes", 1}, {"devices", {{"online", 1}, {"total", 1}}}, {"dropped", 7}};
    EXPECT_THAT(networkLines(state), ElementsAre("läuft, 1 Universum, 1 Node, 1 von 1 Gerät online",
                                                 "7 Pakete im eigenen Puffer verloren (kein Verlust im Netz)"));
    EXPECT_THAT(networkLines({{"running", false}}), ElementsAre("Überwachung aus"));
}

TEST(NetworkText, TheMonitorTellsWhatItSees) {
    EXPECT_EQ(monitorReport(network()),
              "Überwachung    läuft, beginnt mit dem Programm\n"
              "Adapter        FOH 10.0.0.0/24\n"
              "               eth1 192.168.1.0/24\n"
              "Universen      12, 1 Konflikt\n"
              "Nodes          3\n"
              "Geräte         2 von 4 online\n"
              "Probleme       Pult (10.0.0.1) nicht erreichbar\n"
              "Verloren       0 Pakete im eigenen Puffer\n"
              "Fehler         sACN: Port 5568 belegt\n");
    auto state = network();
    state["refused"] = 9;
    EXPECT_THAT(monitorReport(state), HasSubstr("Verworfen      9, über den Grenzen des Speichers\n"));
}

TEST(NetworkText, DevicesStandInATable) {
    const json answer = {{"devices",
                          {{{"name", "Pult"},
                            {"ip", "10.0.0.1"},
                            {"roleLabel", "Pult"},
                            {"online", true},
                            {"latency", 0.00123},
                            {"alarmOnOffline", true},
                            {"snmp", false},
                            {"id", "A"}},
                           {{"name", "Switch FOH"},
                            {"ip", "10.0.0.2"},
                            {"roleLabel", "Switch"},
                            {"online", false},
                            {"latency", nullptr},
                            {"offlineFor", 61.9},
                            {"snmp", true},
                            {"id", "B"}},
                           {{"name", "Neu"}, {"ip", "10.0.0.3"}, {"roleLabel", "Sonstiges"}, {"online", nullptr}, {"id", "C"}}}}};
    EXPECT_EQ(deviceTable(answer),
              "Name        Adresse   Rolle      Zustand            Antwort  Alarm  SNMP  Messung  Kennung\n"
              "Pult        10.0.0.1  Pult       online             1,2 ms   ja     nein  –        A\n"
              "Switch FOH  10.0.0.2  Switch     offline seit 61 s  –        nein   ja    –        B\n"
              "Neu         10.0.0.3  Sonstiges  –                  –        nein   nein  –        C\n");
    EXPECT_EQ(deviceTable({{"devices", json::array()}}), "Keine Geräte.\n");
}

TEST(NetworkText, WhatADeviceItselfToldStandsInItsLine) {
    const json answer = {
        {"devices",
         {{{"name", "S"}, {"ports", {{"up", 20}, {"total", 26}}}, {"temp", 46.9}},
          {{"name", "T"}, {"ports", {{"up", 0}, {"total", 0}}}, {"temp", nullptr}},
          {{"name", "U"}, {"temp", 25}, {"ups", {{"source", "Netzbetrieb"}, {"charge", 100}, {"runtime", 42.7}, {"load", 38}}}},
          {{"name", "V"}, {"ups", {{"source", "unbekannt"}, {"charge", nullptr}}}, {"snmpError", "Zeitüberschreitung"}}}}};
    const auto table = deviceTable(answer);
    for (const auto* text :
         {"20 von 26 Ports, 46 °C\n", "0 von 0 Ports\n", "Netzbetrieb, 100 %, 42 min\n", " Zeitüberschreitung\n"})
        EXPECT_NE(table.find(text), std::string::npos) << text << "\n" << table;
}

TEST(NetworkText, VersionsStandInATable) {
    const json answer = {{"versions", {{{"device", "FOH"}, {"ip", "10.0.0.2"}, {"source", "SNMP"}, {"version", "Luminex · x"}}}}};
    EXPECT_EQ(versionTable(answer),
              "Gerät  Adresse   Quelle  Version\n"
              "FOH    10.0.0.2  SNMP    Luminex · x\n");
    EXPECT_EQ(versionTable({{"versions", json::array()}}), "Niemand nennt eine Version.\n");
}

TEST(NetworkText, AdaptersStandInATable) {
    const json answer = {{"adapters",
                          {{{"name", "eth0"},
                            {"displayName", "Intel I210"},
                            {"label", "FOH"},
                            {"address", "10.0.0.5"},
                            {"subnet", "10.0.0.0/24"},
                            {"used", true},
                            {"role", "Alles"}},
                           {{"name", "tun0"},
                            {"displayName", "tun0"},
                            {"label", "tun0"},
                            {"address", "100.64.0.1"},
                            {"subnet", "100.64.0.0/10"},
                            {"used", false},
                            {"role", "Switche / Management"}}}}};
    EXPECT_EQ(adapterTable(answer),
              "Gerät  Name              Adresse     Netz           benutzt  Aufgabe\n"
              "eth0   FOH (Intel I210)  10.0.0.5    10.0.0.0/24    ja       Alles\n"
              "tun0   tun0              100.64.0.1  100.64.0.0/10  nein     Switche / Management\n");
    EXPECT_EQ(adapterTable(json::object()), "Keine Adapter mit IPv4-Adresse.\n");
}

TEST(NetworkText, UniversesStandInATableWithALineForEachSender) {
    const json answer = {
        {"running", true},
        {"universes",
         {{{"proto", "Art-Net"},
           {"label", "1 (0:0:1)"},
           {"status", "conflict"},
           {"senders",
            {{{"name", "Pult"}, {"ip", "10.0.0.1"}, {"fps", 44.04}, {"priority", nullptr}, {"interface", "eth0"}, {"active", true}},
             {{"name", "10.0.0.2"},
              {"ip", "10.0.0.2"},
              {"fps", 30},
              {"priority", nullptr},
              {"interface", "eth0"},
              {"active", true}}}},
           {"receivers", {"A", "B", "C", "D"}}},
          {{"proto", "sACN"},
           {"label", "7"},
           {"status", "lost"},
           {"senders",
            {{{"name", "Server"}, {"ip", "10.0.0.3"}, {"fps", 0}, {"priority", 100}, {"interface", ""}, {"active", false}}}},
           {"receivers", {"Node"}}},
          {{"proto", "sACN"}, {"label", "8"}, {"status", "none"}, {"senders", json::array()}, {"receivers", json::array()}}}}};
    EXPECT_EQ(universeReport(answer, now),
              "12:00:30  3 Universen, 1 Konflikt\n"
              "Universum          Zustand   Sender                        Rate    Prio  Adapter  Empfänger\n"
              "Art-Net 1 (0:0:1)  KONFLIKT  Pult (10.0.0.1)               44,0/s  –     eth0     A, B, C … (4)\n"
              "                             10.0.0.2                      30,0/s  –     eth0\n"
              "sACN 7             verloren  Server (10.0.0.3) – verloren  0,0/s   100   –        Node\n"
              "sACN 8             –         –                             –       –     –        –\n");
    EXPECT_EQ(universeReport({{"running", true}, {"universes", json::array()}}, now), "12:00:30  0 Universen\n");
    EXPECT_EQ(universeReport({{"running", false}}, now),
              "12:00:30  0 Universen – die Überwachung ist aus, das ist ihr letztes Bild\n");
}

TEST(NetworkText, SettingsAndTheReferenceStandInTables) {
    EXPECT_EQ(fieldTable({{"fields", {{{"name", "notify"}, {"value", "true"}}, {{"name", "sacnUniverses"}, {"value", ""}}}}}),
              "notify         true\n"
              "sacnUniverses  –\n");
    EXPECT_EQ(
        knownTable({{"known", {{{"mac", "AA:BB:CC:DD:EE:FF"}, {"since", "1795258830"}}, {{"mac", "X"}, {"since", "gestern"}}}}}),
        "MAC-Adresse        übernommen\n"
        "AA:BB:CC:DD:EE:FF  21.11.2026 12:00\n"
        "X                  gestern\n");
    EXPECT_EQ(knownTable(json()), "Keine Referenz bekannter Geräte.\n");
}

TEST(NetworkText, NamesFromTheNetworkMoveNothing) {
    const std::string evil = "\x1B[2J\x1B]0;x\x07\nA\u202E\u009B";
    const json universes = {{"universes",
                             {{{"proto", "sACN"},
                               {"label", evil},
                               {"status", evil},
                               {"senders", {{{"name", evil}, {"ip", evil}, {"interface", evil}}}},
                               {"receivers", {evil}}}}}};
    const json devices = {{"devices", {{{"name", evil}, {"ip", evil}, {"roleLabel", evil}, {"id", evil}}}}};
    const json adapters = {{"adapters", {{{"name", evil}, {"displayName", evil}, {"label", evil}, {"role", evil}}}}};
    const json state = {{"running", true}, {"adapters", {evil}}, {"problems", {{{"text", evil}}}}, {"errors", {evil}}};
    for (const auto& shown : {universeReport(universes, now), deviceTable(devices), adapterTable(adapters), monitorReport(state),
                              knownTable({{"known", {{{"mac", evil}, {"since", evil}}}}}), deviceName(devices["devices"][0])}) {
        EXPECT_EQ(shown.find('\x1B'), std::string::npos) << shown;
        EXPECT_EQ(shown.find('\x07'), std::string::npos);
        EXPECT_EQ(shown.find("\u202E"), std::string::npos);
        EXPECT_EQ(shown.find("\u009B"), std::string::npos);
        EXPECT_NE(shown.find("\uFFFD[2J"), std::string::npos) << shown;
    }
    EXPECT_EQ(std::ranges::count(deviceTable(devices), '\n'), 2);
}

TEST(NetworkText, WithstandsAnAnswerOfAnotherShape) {
    for (const auto& answer :
         {json(), json(5), json::array(), json({{"universes", {1, nullptr, {{"senders", {5}}, {"receivers", 5}}}}}),
          json({{"devices", {1, {{"name", 5}, {"online", "ja"}, {"latency", "x"}, {"offlineFor", 1e300}}}}, {"problems", {5}}}),
          json({{"adapters", {5}}, {"fields", "x"}, {"known", {{}}}, {"errors", {{}}}})}) {
        for (const auto report : {monitorReport, fieldTable, knownTable, deviceTable, adapterTable, deviceName})
            EXPECT_NO_THROW(report(answer)) << answer;
        EXPECT_NO_THROW(universeReport(answer, now)) << answer;
        EXPECT_NO_THROW(networkLines(answer)) << answer;
    }
}

TEST(NetworkText, FitsATerminal) {
    struct Row {
        const char* text;
        std::size_t rows, columns;
        const char* expected;
    };
    for (const auto& [text, rows, columns, expected] :
         std::initializer_list<Row>{{"a\nb\n", 5, 80, "a\nb\n"},
                                    {"a\nb\nc\n", 3, 80, "a\nb\nc\n"},
                                    {"a\nb\nc\nd\n", 3, 80, "a\nb\n… 2 weitere Zeilen\n"},
                                    {"Bühne\nKürze", 5, 3, "Büh\nKür\n"},
                                    {"a\nb\nc\n", 1, 5, "… 3 w\n"},
                                    {"", 5, 5, ""}})
        EXPECT_EQ(fitted(text, rows, columns), expected);
}

}  // namespace
}  // namespace kestrelyne
