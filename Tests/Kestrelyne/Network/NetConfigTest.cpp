#include "Kestrelyne/Network/NetConfig.hpp"

#include <gtest/gtest.h>

#include "Base/JSONFields.hpp"

using kestrelyne::AdapterRole;
using kestrelyne::decodeNetConfig;
using kestrelyne::encodeNetConfig;
using kestrelyne::NetConfig;
using kestrelyne::setNetField;

namespace {

NetConfig everyFieldOther() {
    NetConfig config;
    config.devices = {{.name = "Pult", .ip = "10.0.0.1", .role = kestrelyne::NetDeviceRole::console, .snmpPort = 1161}};
    config.interfaces = {"eth0", "eth1"};
    config.pingInterval = 5;
    config.offlineAfter = 4;
    config.snmpInterval = 30;
    config.artPollInterval = 8;
    config.sacnUniverses = "20";
    config.tempLimit = 60.5;
    config.upsRuntimeLimit = 5;
    config.upsLoadLimit = 80;
    config.notify = false;
    config.autoStart = true;
    config.knownMACs = {{"AA:BB:CC:DD:EE:FF", "10.0.0.1"}};
    config.alarmNewDevices = true;
    config.artnetSubscribe = true;
    config.interfaceRoles = {{"eth0", "Alles"}};
    config.interfaceLabels = {{"eth0", "FOH"}};
    return config;
}

std::set<int> universesOf(const std::string& text) {
    NetConfig config;
    config.sacnUniverses = text;
    return config.sacnUniverseSet();
}

std::set<int> range(int first, int last) {
    std::set<int> numbers;
    for (int number = first; number <= last; ++number) numbers.insert(number);
    return numbers;
}

// What setting a field says; empty when it took the value.
std::string refusal(NetConfig& config, const std::string& field, const std::string& value) {
    try {
        setNetField(config, field, value);
        return "";
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

TEST(NetConfig, HasItsDefaults) {
    const NetConfig config;
    EXPECT_EQ(config.pingInterval, 1.0);
    EXPECT_EQ(config.offlineAfter, 2);
    EXPECT_TRUE(config.liveDefaults);
    EXPECT_EQ(config.snmpInterval, 15.0);
    EXPECT_EQ(config.artPollInterval, 3.0);
    EXPECT_EQ(config.sacnUniverses, "1-16");
    EXPECT_EQ(config.tempLimit, 70.0);
    EXPECT_EQ(config.upsRuntimeLimit, 10.0);
    EXPECT_EQ(config.upsLoadLimit, 90.0);
    EXPECT_TRUE(config.notify);
    EXPECT_FALSE(config.autoStart);
    EXPECT_FALSE(config.alarmNewDevices);
    EXPECT_FALSE(config.artnetSubscribe);
}

TEST(NetConfig, ComesBackAsItWasStored) {
    EXPECT_EQ(decodeNetConfig(encodeNetConfig(NetConfig())), NetConfig());
    const auto config = everyFieldOther();
    EXPECT_EQ(decodeNetConfig(encodeNetConfig(config)), config);
}

TEST(NetConfig, EveryKeyMayBeMissingOrNull) {
    EXPECT_EQ(decodeNetConfig("{}"), NetConfig());
    const auto stored = base::parseJSON(encodeNetConfig(everyFieldOther()));
    for (const auto& [key, value] : stored.items()) {
        auto without = stored;
        without.erase(key);
        EXPECT_NO_THROW(decodeNetConfig(without.dump())) << key;
        without[key] = nullptr;
        EXPECT_NO_THROW(decodeNetConfig(without.dump())) << key;
    }
    EXPECT_EQ(decodeNetConfig(R"({"notify":false,"unknown":5})").notify, false);
}

TEST(NetConfig, FiveKeysMayBeOfTheWrongType) {
    for (const char* stored :
         {R"({"tempLimit":50,"offlineAfter":"3"})", R"({"tempLimit":50,"offlineAfter":2.5})",
          R"({"tempLimit":50,"liveDefaults":1})", R"({"tempLimit":50,"interfaceRoles":[]})",
          R"({"tempLimit":50,"interfaceRoles":{"eth0":"Alles","eth1":1}})", R"({"tempLimit":50,"artnetSubscribe":"ja"})",
          R"({"tempLimit":50,"interfaceLabels":{"eth0":null}})"}) {
        NetConfig expected;
        expected.tempLimit = 50;
        EXPECT_EQ(decodeNetConfig(stored), expected) << stored;
    }
}

TEST(NetConfig, EveryOtherKeyOfTheWrongTypeFailsTheWhole) {
    for (const char* stored : {R"({"devices":{}})",
                               R"({"devices":[5]})",
                               R"({"devices":[{"name":"A"}]})",
                               R"({"interfaces":"eth0"})",
                               R"({"interfaces":[1]})",
                               R"({"pingInterval":"1"})",
                               R"({"pingInterval":true})",
                               R"({"snmpInterval":[]})",
                               R"({"artPollInterval":"3"})",
                               R"({"sacnUniverses":16})",
                               R"({"tempLimit":"70"})",
                               R"({"upsRuntimeLimit":{}})",
                               R"({"upsLoadLimit":"90"})",
                               R"({"notify":1})",
                               R"({"autoStart":"true"})",
                               R"({"knownMACs":[]})",
                               R"({"knownMACs":{"AA":1}})",
                               R"({"alarmNewDevices":0})",
                               R"({"pingInterval":1e999})",
                               R"([])",
                               R"(null)",
                               R"("x")",
                               "",
                               "{"})
        EXPECT_THROW(decodeNetConfig(stored), base::DecodeError) << stored;
}

TEST(NetConfig, SettingsFromBeforeTheMarkerGetTheShorterIntervals) {
    struct Row {
        const char* stored;
        double ping, artPoll;
    };
    for (const auto& [stored, ping, artPoll] :
         std::initializer_list<Row>{{R"({"pingInterval":5,"artPollInterval":10})", 1.0, 3.0},
                                    {R"({"pingInterval":0.5,"artPollInterval":2})", 0.5, 2.0},
                                    {R"({"pingInterval":5,"artPollInterval":10,"liveDefaults":false})", 1.0, 3.0},
                                    {R"({"pingInterval":5,"artPollInterval":10,"liveDefaults":"ja"})", 1.0, 3.0},
                                    {R"({"pingInterval":5,"artPollInterval":10,"liveDefaults":null})", 1.0, 3.0},
                                    {R"({"pingInterval":5,"artPollInterval":10,"liveDefaults":true})", 5.0, 10.0}}) {
        const auto config = decodeNetConfig(stored);
        EXPECT_EQ(config.pingInterval, ping) << stored;
        EXPECT_EQ(config.artPollInterval, artPoll) << stored;
        EXPECT_TRUE(config.liveDefaults) << stored;
    }
}

TEST(NetConfig, OfDevicesWithOneIdTheFirstCounts) {
    const auto config =
        decodeNetConfig(R"({"devices":[{"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","name":"A","ip":"10.0.0.1","role":"node"},)"
                        R"({"id":"e621e1f8-c36c-495a-93fc-0c247a3e6e5f","name":"B","ip":"10.0.0.2","role":"node"},)"
                        R"({"id":"F621E1F8-C36C-495A-93FC-0C247A3E6E5F","name":"C","ip":"10.0.0.1","role":"node"}]})");
    ASSERT_EQ(config.devices.size(), 2u);
    EXPECT_EQ(config.devices[0].name, "A");
    EXPECT_EQ(config.devices[1].name, "C");
}

TEST(NetConfig, ReadsTheListOfUniverses) {
    struct Row {
        const char* text;
        std::set<int> expected;
    };
    for (const auto& [text, expected] : std::initializer_list<Row>{{"1-3, 7, 70000, 5-2", {1, 2, 3, 7}},
                                                                   {"1-2000", {}},
                                                                   {"63990-64000", range(63990, 63999)},
                                                                   {"0-5", range(1, 5)},
                                                                   {"1-1025", range(1, 1025)},
                                                                   {"1-1026", {}},
                                                                   {"1-16", range(1, 16)},
                                                                   {"", {}},
                                                                   {" , ,,-,--", {}},
                                                                   {"0", {}},
                                                                   {"1", {1}},
                                                                   {"63999", {63999}},
                                                                   {"64000", {}},
                                                                   {"64000-64010", {}},
                                                                   {"-5", {5}},
                                                                   {"5-", {5}},
                                                                   {"1--3", {1, 2, 3}},
                                                                   {" 2 - 4 ,\t9 ", {2, 3, 4, 9}},
                                                                   {"1-2-3", {}},
                                                                   {"1-x-3", {1, 2, 3}},
                                                                   {"x", {}},
                                                                   {"4x", {}},
                                                                   {"0x10", {}},
                                                                   {"99999999999999999999", {}},
                                                                   {"0-9223372036854775807", {}},
                                                                   {"3-3", {3}}})
        EXPECT_EQ(universesOf(text), expected) << text;
}

TEST(NetConfig, RolesOfAdaptersHaveATextAndAWord) {
    struct Row {
        AdapterRole role;
        const char* text;
        const char* word;
    };
    for (const auto& [role, roleText, word] :
         std::initializer_list<Row>{{AdapterRole::all, "Alles", "all"},
                                    {AdapterRole::lighting, "Licht (Art-Net, sACN, MA-Net, RDM)", "lighting"},
                                    {AdapterRole::management, "Switche / Management", "management"},
                                    {AdapterRole::power, "Strom (Messgeräte, USV)", "power"},
                                    {AdapterRole::audio, "Audio / Video (Dante, AES67, NDI)", "audio"}}) {
        EXPECT_EQ(text(role), roleText);
        EXPECT_EQ(kestrelyne::adapterRole(roleText), role);
        EXPECT_EQ(kestrelyne::adapterRoleOfWord(word), role);
    }
    EXPECT_EQ(kestrelyne::adapterRole("Licht"), AdapterRole::all);
    EXPECT_EQ(kestrelyne::adapterRole(""), AdapterRole::all);
    EXPECT_EQ(kestrelyne::adapterRoleOfWord("Alles"), std::nullopt);
}

TEST(NetConfig, AFieldIsSetFromWhatIsTyped) {
    NetConfig config;
    for (const auto& [field, value] : std::initializer_list<std::pair<const char*, const char*>>{{"pingInterval", "2.5"},
                                                                                                 {"offlineAfter", "7"},
                                                                                                 {"liveDefaults", "off"},
                                                                                                 {"snmpInterval", "0,5"},
                                                                                                 {"artPollInterval", "4"},
                                                                                                 {"sacnUniverses", "1-3, 20"},
                                                                                                 {"tempLimit", "-5"},
                                                                                                 {"upsRuntimeLimit", "0"},
                                                                                                 {"upsLoadLimit", "99.5"},
                                                                                                 {"notify", "false"},
                                                                                                 {"autoStart", "true"},
                                                                                                 {"alarmNewDevices", "on"},
                                                                                                 {"artnetSubscribe", "on"}})
        EXPECT_EQ(refusal(config, field, value), "") << field;
    using Fields = std::vector<std::pair<std::string, std::string>>;
    EXPECT_EQ(netFields(config), (Fields{{"pingInterval", "2.5"},
                                         {"offlineAfter", "7"},
                                         {"liveDefaults", "false"},
                                         {"snmpInterval", "0.5"},
                                         {"artPollInterval", "4.0"},
                                         {"sacnUniverses", "1-3, 20"},
                                         {"tempLimit", "-5.0"},
                                         {"upsRuntimeLimit", "0.0"},
                                         {"upsLoadLimit", "99.5"},
                                         {"notify", "false"},
                                         {"autoStart", "true"},
                                         {"alarmNewDevices", "true"},
                                         {"artnetSubscribe", "true"}}));
    EXPECT_EQ(refusal(config, "sacnUniverses", ""), "");
    EXPECT_TRUE(config.sacnUniverseSet().empty());
}

TEST(NetConfig, AValueThatDoesNotFitChangesNothing) {
    const std::string interval = " muss eine Zahl von 0,2 bis 86400 (Sekunden) sein.", whether = " muss true oder false sein.",
                      universes = " muss eine Liste von Universen wie „1-16, 20“ (1 bis 63999, je Bereich höchstens 1025) sein.";
    struct Row {
        const char* field;
        const char* value;
        std::string sentence;
    };
    NetConfig config;
    for (const auto& [field, value, sentence] :
         std::initializer_list<Row>{{"pingInterval", "0", interval},
                                    {"pingInterval", "-1", interval},
                                    {"pingInterval", "1e9", interval},
                                    {"pingInterval", "nan", interval},
                                    {"pingInterval", "inf", interval},
                                    {"pingInterval", "1s", interval},
                                    {"pingInterval", "", interval},
                                    {"offlineAfter", "0", " muss eine ganze Zahl von 1 bis 1000 sein."},
                                    {"offlineAfter", "1.5", " muss eine ganze Zahl von 1 bis 1000 sein."},
                                    {"tempLimit", "500", " muss eine Zahl von -50 bis 200 sein."},
                                    {"upsRuntimeLimit", "-1", " muss eine Zahl von 0 bis 10000 sein."},
                                    {"upsLoadLimit", "viel", " muss eine Zahl von 0 bis 1000 sein."},
                                    {"notify", "ja", whether},
                                    {"sacnUniverses", "1-2000", universes},
                                    {"sacnUniverses", "1-3,x", universes},
                                    {"sacnUniverses", "1,,2", universes},
                                    {"sacnUniverses", "1-", universes},
                                    {"sacnUniverses", "5-2", universes},
                                    {"sacnUniverses", "64000", universes},
                                    {"sacnUniverses", "\xff", " muss gültiges UTF-8 sein."}})
        EXPECT_EQ(refusal(config, field, value), "„" + std::string(field) + "“" + sentence) << value;
    EXPECT_EQ(config, NetConfig());
}

TEST(NetConfig, ListsHaveCommandsOfTheirOwn) {
    NetConfig config;
    EXPECT_EQ(refusal(config, "devices", "x"), "„devices“ hat eigene Befehle: device add, device edit und device remove.");
    EXPECT_EQ(refusal(config, "knownMACs", "x"), "„knownMACs“ hat eigene Befehle: monitor known take und monitor known forget.");
    for (const char* field : {"interfaces", "interfaceRoles", "interfaceLabels"})
        EXPECT_TRUE(refusal(config, field, "x").starts_with("„" + std::string(field) + "“ hat eigene Befehle: adapter ")) << field;
    EXPECT_EQ(
        refusal(config, "Ping", "x"),
        "Unbekanntes Feld „Ping“: es gibt pingInterval, offlineAfter, liveDefaults, snmpInterval, artPollInterval, sacnUniverses, "
        "tempLimit, upsRuntimeLimit, upsLoadLimit, notify, autoStart, alarmNewDevices, artnetSubscribe.");
}

}  // namespace
