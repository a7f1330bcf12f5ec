#include "Kestrelyne/App/NetworkEdits.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Kestrelyne/App/ControlMessage.hpp"

namespace kestrelyne {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

class NetworkEdits : public testing::Test {
protected:
    json edit(const json& request) { return editNetConfig(config, request); }
    // How the request fails, with what it says; nothing is changed then.
    std::pair<ExitCode, std::string> refusal(const json& request) {
        const auto before = config;
        try {
            edit(request);
            return {ExitCode::done, ""};
        } catch (const ControlError& error) {
            EXPECT_EQ(config, before) << request;
            return {error.code(), error.what()};
        }
    }
    void addDevices() {
        desk = edit({{"verb", "device.add"}, {"name", "Pult"}, {"ip", "10.0.0.1"}, {"role", "console"}})["id"];
        first = edit({{"verb", "device.add"}, {"name", "Node"}, {"ip", "10.0.0.2"}})["id"];
        second = edit({{"verb", "device.add"}, {"name", "Node"}, {"ip", "10.0.0.3"}})["id"];
    }

    NetConfig config;
    std::string desk, first, second;
};

TEST_F(NetworkEdits, ADeviceIsAddedWithWhatWasSaidAndTheDefaults) {
    const auto added = edit({{"verb", "device.add"}, {"ip", "10.0.0.9"}});
    ASSERT_EQ(config.devices.size(), 1u);
    NetDevice expected{.id = config.devices[0].id, .name = "10.0.0.9", .ip = "10.0.0.9"};
    EXPECT_EQ(config.devices[0], expected);
    EXPECT_EQ(added["id"], expected.id.text());
    EXPECT_EQ(added["name"], "10.0.0.9");

    edit({{"verb", "device.add"},
          {"name", "  Switch FOH "},
          {"ip", "10.0.0.2"},
          {"role", "networkSwitch"},
          {"snmp", true},
          {"community", "geheim"},
          {"snmpPort", 1161},
          {"extraOIDs", "1.3.6.1"},
          {"alarmOnOffline", false},
          {"notes", "Rack 2"}});
    expected = {.id = config.devices[1].id,
                .name = "Switch FOH",
                .ip = "10.0.0.2",
                .role = NetDeviceRole::networkSwitch,
                .snmp = true,
                .community = "geheim",
                .snmpPort = 1161,
                .extraOIDs = "1.3.6.1",
                .alarmOnOffline = false,
                .notes = "Rack 2"};
    EXPECT_EQ(config.devices[1], expected);
}

TEST_F(NetworkEdits, AnEditLeavesWhatIsNotNamed) {
    addDevices();
    auto expected = config.devices[0];
    expected.ip = "10.0.0.7";
    expected.alarmOnOffline = false;
    const auto edited = edit({{"verb", "device.edit"}, {"device", "Pult"}, {"ip", "10.0.0.7"}, {"alarmOnOffline", false}});
    EXPECT_EQ(config.devices[0], expected);
    EXPECT_EQ(edited["id"], desk);
    EXPECT_EQ(config.devices.size(), 3u);
}

TEST_F(NetworkEdits, ADeviceIsNamedByItsIdItsUniqueNameOrItsAddress) {
    addDevices();
    EXPECT_EQ(namedDevice(config, desk).name, "Pult");
    EXPECT_EQ(namedDevice(config, "Pult").ip, "10.0.0.1");
    EXPECT_EQ(namedDevice(config, "10.0.0.3").id.text(), second);
    EXPECT_EQ(edit({{"verb", "device.remove"}, {"device", first}})["id"], first);
    EXPECT_EQ(config.devices.size(), 2u);
    EXPECT_EQ(namedDevice(config, "Node").id.text(), second) << "one of the two is left";
}

TEST_F(NetworkEdits, ANameOfSeveralNamesNone) {
    addDevices();
    const auto [code, text] = refusal({{"verb", "device.remove"}, {"device", "Node"}});
    EXPECT_EQ(code, ExitCode::wrongWords);
    EXPECT_EQ(text, "„Node“ meint mehrere Geräte, bitte mit der Kennung nennen: Node (10.0.0.2, " + first + "); Node (10.0.0.3, " +
                        second + ").");
    EXPECT_EQ(refusal({{"verb", "device.edit"}, {"device", "node"}, {"notes", "x"}}),
              std::pair(ExitCode::failed, std::string("Es gibt kein Gerät „node“.")));
    EXPECT_EQ(refusal({{"verb", "device.remove"}, {"device", "E621E1F8-C36C-495A-93FC-0C247A3E6E5F"}}).first, ExitCode::failed);
    EXPECT_EQ(refusal({{"verb", "device.remove"}, {"device", ""}}).first, ExitCode::failed);
}

TEST_F(NetworkEdits, FieldsThatDoNotFitAreRefused) {
    addDevices();
    struct Row {
        const char* key;
        json value;
        const char* text;
    };
    for (const auto& [key, value, text] : std::initializer_list<Row>{
             {"ip", "10.0.0", "„10.0.0“ ist keine IPv4-Adresse."},
             {"ip", "", "„“ ist keine IPv4-Adresse."},
             {"ip", "pult.local", "„pult.local“ ist keine IPv4-Adresse."},
             {"ip", 5, "„ip“ muss ein Text sein."},
             {"role", "Router",
              "Unbekannte Rolle „Router“: es gibt node, console, networkSwitch, robospot, media, audio, video, ups, "
              "other."},
             {"snmp", "ja", "„snmp“ muss true oder false sein."},
             {"snmpPort", 0, "„snmpPort“ muss eine Zahl von 1 bis 65535 sein."},
             {"snmpPort", 65536, "„snmpPort“ muss eine Zahl von 1 bis 65535 sein."},
             {"snmpPort", "161", "„snmpPort“ muss eine ganze Zahl sein."},
             {"alarmOnOffline", 1, "„alarmOnOffline“ muss true oder false sein."},
             {"notes", json::array(), "„notes“ muss ein Text sein."}}) {
        json request = {{"verb", "device.edit"}, {"device", "Pult"}};
        request[key] = value;
        EXPECT_EQ(refusal(request), std::pair(ExitCode::wrongWords, std::string(text))) << key;
    }
    EXPECT_EQ(refusal({{"verb", "device.add"}, {"name", "ohne Adresse"}}).first, ExitCode::wrongWords);
    EXPECT_EQ(refusal({{"verb", "device.edit"}, {"name", "x"}}).second, "Es fehlt der Text „device“.");
}

TEST_F(NetworkEdits, AdaptersGetTasksLabelsAndAreChosen) {
    edit({{"verb", "adapter.use"}, {"names", {"eth0", "eth1"}}});
    EXPECT_THAT(config.interfaces, ElementsAre("eth0", "eth1"));
    edit({{"verb", "adapter.use"}, {"names", json::array()}});
    EXPECT_TRUE(config.interfaces.empty());

    edit({{"verb", "adapter.role"}, {"name", "eth0"}, {"role", "lighting"}});
    edit({{"verb", "adapter.role"}, {"name", "eth1"}, {"role", "power"}});
    EXPECT_THAT(config.interfaceRoles,
                ElementsAre(Pair("eth0", "Licht (Art-Net, sACN, MA-Net, RDM)"), Pair("eth1", "Strom (Messgeräte, USV)")));
    edit({{"verb", "adapter.role"}, {"name", "eth0"}, {"role", "all"}});
    EXPECT_EQ(config.interfaceRoles.count("eth0"), 0u);

    edit({{"verb", "adapter.label"}, {"name", "eth0"}, {"label", "FOH"}});
    EXPECT_THAT(config.interfaceLabels, ElementsAre(Pair("eth0", "FOH")));
    edit({{"verb", "adapter.label"}, {"name", "eth0"}, {"label", ""}});
    EXPECT_TRUE(config.interfaceLabels.empty());
}

TEST_F(NetworkEdits, SettingsAreSetAndTheReferenceForgotten) {
    edit({{"verb", "monitor.set"}, {"field", "offlineAfter"}, {"value", "5"}});
    EXPECT_EQ(config.offlineAfter, 5);
    config.knownMACs = {{"AA:BB:CC:DD:EE:FF", "0"}};
    edit({{"verb", "monitor.forgetKnown"}});
    EXPECT_TRUE(config.knownMACs.empty());
}

TEST_F(NetworkEdits, RequestsOfAnotherShapeChangeNothing) {
    const std::initializer_list<json> requests = {json(),
                                                  json(5),
                                                  json::object(),
                                                  {{"verb", 5}},
                                                  {{"verb", "device.paint"}},
                                                  {{"verb", "adapter.use"}},
                                                  {{"verb", "adapter.use"}, {"names", "eth0"}},
                                                  {{"verb", "adapter.use"}, {"names", {1}}},
                                                  {{"verb", "adapter.use"}, {"names", {""}}},
                                                  {{"verb", "adapter.role"}, {"name", "eth0"}},
                                                  {{"verb", "adapter.role"}, {"name", ""}, {"role", "all"}},
                                                  {{"verb", "adapter.role"}, {"name", "eth0"}, {"role", "Alles"}},
                                                  {{"verb", "adapter.label"}, {"name", "eth0"}},
                                                  {{"verb", "monitor.set"}, {"field", "offlineAfter"}},
                                                  {{"verb", "monitor.set"}, {"field", "offlineAfter"}, {"value", 5}},
                                                  {{"verb", "monitor.set"}, {"field", "offlineAfter"}, {"value", "oft"}},
                                                  {{"verb", "monitor.set"}, {"field", "devices"}, {"value", "[]"}}};
    for (const auto& request : requests) EXPECT_EQ(refusal(request).first, ExitCode::wrongWords) << request;
}

}  // namespace
}  // namespace kestrelyne
