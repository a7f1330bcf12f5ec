#include "Kestrelyne/App/RDMText.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Base/JSONFields.hpp"
#include "Kestrelyne/App/RDMState.hpp"

namespace kestrelyne {

namespace {

using base::JSON;
using testing::HasSubstr;

JSON answerOf(const std::vector<RDMDeviceState>& devices) {
    JSON states = JSON::array();
    for (const auto& device : devices) states.push_back(rdmDeviceState(device));
    return {{"devices", states},      {"isScanning", false},   {"progress", ""},
            {"lastScan", 1781978400}, {"writeEnabled", false}, {"lastWriteResult", nullptr}};
}

RDMDeviceState spot() {
    RDMDeviceState spot{
        .uid = {0x7FF0, 0xABCD},
        .nodeIP = "10.0.0.1",
        .nodeName = "Node 1",
        .universe = 0x12,
        .manufacturer = "Maker",
        .model = "Spot 300",
        .label = "Front 1",
        .software = "1.2.3",
        .deviceHours = 256,
        .sensors = {{.number = 0, .name = "Kopf", .unit = "°C", .isTemperature = true, .normalMax = 80, .value = 45.5},
                    {.number = 1, .name = "Lüfter"}},
        .personalities = {{1, 16, "Basis"}, {2, 24, ""}},
        .atFactoryDefaults = true,
        .lampState = 1,
        .responding = true,
        .lastUpdate = {.wall = base::WallTime(std::chrono::seconds(1781978400)), .steady = {}}};
    spot.info.emplace();
    spot.info->footprint = 16;
    spot.info->startAddress = 101;
    spot.info->personality = 1;
    spot.info->personalityCount = 2;
    return spot;
}

TEST(RDMText, TheTableHasALineForEachDevice) {
    RDMDeviceState silent{.uid = {0x7A70, 1}, .nodeIP = "10.0.0.2"};
    auto identifying = spot();
    identifying.identifying = true;
    identifying.info->startAddress = 0xFFFF;
    EXPECT_EQ(
        rdmTable(answerOf({spot(), silent, identifying})),
        "Letzter Scan: 20.06.2026 20:00:00; Schreiben gesperrt\n"
        "UID            Name           Gerät           Node    Universum   Adresse  Kanäle  Modus    Temp.    Stunden  Zustand\n"
        "7FF0:0000ABCD  Front 1        Maker Spot 300  Node 1  18 (0:1:2)  101      16      1 von 2  45,5 °C  256      ok\n"
        "7A70:00000001  7A70:00000001  –               –       0 (0:0:0)   –        –       –        –        –        antwortet "
        "nicht\n"
        "7FF0:0000ABCD  Front 1        Maker Spot 300  Node 1  18 (0:1:2)  –        16      1 von 2  45,5 °C  256      Identify\n");
}

TEST(RDMText, TheTableTellsWhatIsGoingOn) {
    auto answer = answerOf({});
    answer["lastScan"] = nullptr;
    answer["progress"] = "Lese Gerät 1 von 2 …";
    answer["writeEnabled"] = true;
    answer["lastWriteResult"] = "RDM Modus 3";
    EXPECT_EQ(rdmTable(answer),
              "Letzter Scan: –; Schreiben erlaubt\nLese Gerät 1 von 2 …\nZuletzt geschrieben: RDM Modus 3\nKeine RDM-Geräte.\n");
}

TEST(RDMText, SensorsAreListedOneByOne) {
    EXPECT_EQ(rdmSensorTable(answerOf({spot()})),
              "UID            Name     Sensor  Wert     Grenze  Zustand\n"
              "7FF0:0000ABCD  Front 1  Kopf    45,5 °C  80 °C   ok\n"
              "7FF0:0000ABCD  Front 1  Lüfter  –        –       ok\n");
    EXPECT_EQ(rdmSensorTable(answerOf({})), "Keine Sensoren.\n");
}

TEST(RDMText, TheReportTellsAllOfADevice) {
    EXPECT_EQ(rdmDeviceReport({{"device", rdmDeviceState(spot())}}),
              "UID                 7FF0:0000ABCD\n"
              "Name                Front 1\n"
              "Gerät               Maker Spot 300\n"
              "Software            1.2.3\n"
              "Node                Node 1 (10.0.0.1)\n"
              "Universum           18 (0:1:2)\n"
              "DMX-Adresse         101\n"
              "Kanäle              16\n"
              "Modus               1 von 2\n"
              "Betriebsstunden     256\n"
              "Lampenstunden       –\n"
              "Lampe               an\n"
              "Werkseinstellungen  ja\n"
              "Zustand             ok\n"
              "Gelesen             20.06.2026 20:00:00\n"
              "Modi                1: Basis, 16 Kanäle\n"
              "                    2: –, 24 Kanäle\n"
              "Kopf                45,5 °C (Grenze 80 °C)\n"
              "Lüfter              –\n");
    EXPECT_EQ(rdmDeviceReport({{"device", nullptr}}), "");
}

TEST(RDMText, ThePlanTellsWhoDoesNotFit) {
    const JSON answer = {{"plan",
                          {{{"uid", "7FF0:0000ABCD"}, {"name", "Front 1"}, {"first", 497}, {"last", 512}, {"fits", true}},
                           {{"uid", "7FF0:0000ABCE"}, {"name", "Front 2"}, {"first", 513}, {"last", 528}, {"fits", false}}}},
                         {"overlaps", {"Rück 1", "Rück 2"}}};
    EXPECT_EQ(rdmPlanTable(answer),
              "UID            Name     Von  Bis\n"
              "7FF0:0000ABCD  Front 1  497  512\n"
              "7FF0:0000ABCE  Front 2  513  528  passt nicht mehr ins Universum\n");
    EXPECT_EQ(rdmOverlapLine(answer), "Überschneidung mit Rück 1, Rück 2");
    EXPECT_EQ(rdmOverlapLine({{"overlaps", JSON::array()}}), "");
}

TEST(RDMText, NamesOfDevicesMoveNoTerminal) {
    auto device = spot();
    device.label = "a\x1B[2Jb";
    for (const auto& text : {rdmTable(answerOf({device})), rdmSensorTable(answerOf({device})),
                             rdmDeviceReport({{"device", rdmDeviceState(device)}}), rdmOverlapLine({{"overlaps", {device.label}}})})
        EXPECT_EQ(text.find('\x1B'), std::string::npos);
}

TEST(RDMText, AnswersOfAnotherShapeReadAsNothing) {
    for (const JSON& answer :
         {JSON(nullptr), JSON("x"), JSON::array({1}), JSON{{"devices", 5}, {"plan", "x"}, {"overlaps", 1}},
          JSON{{"devices", {1, "x", {{"info", 3}, {"sensors", {7}}}}}, {"plan", {3}}, {"device", {{"info", "x"}}}}}) {
        EXPECT_FALSE(rdmTable(answer).empty());
        EXPECT_FALSE(rdmSensorTable(answer).empty());
        EXPECT_FALSE(rdmPlanTable(answer).empty());
        rdmDeviceReport(answer);
        EXPECT_EQ(rdmOverlapLine(answer), "");
    }
}

}  // namespace

}  // namespace kestrelyne
