#include "Kestrelyne/Network/NetDevice.hpp"

#include <gtest/gtest.h>

#include "Base/JSONFields.hpp"

using kestrelyne::NetDevice;
using kestrelyne::NetDeviceRole;

namespace {

constexpr const char* id = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";

base::JSON whole() {
    return {{"id", id},         {"name", "FOH Switch"}, {"ip", "10.0.0.2"},
            {"role", "ups"},    {"snmp", true},         {"community", "geheim"},
            {"snmpPort", 1161}, {"extraOIDs", "1.3.6"}, {"alarmOnOffline", false},
            {"notes", "Rack 2"}};
}

NetDevice read(const base::JSON& json) {
    NetDevice device;
    from_json(json, device);
    return device;
}

TEST(NetDevice, RolesHaveTheirStoredTextAndTheirLabel) {
    struct Row {
        NetDeviceRole role;
        const char* rawValue;
        const char* label;
    };
    for (const auto& [role, rawText, labelText] :
         std::initializer_list<Row>{{NetDeviceRole::node, "node", "Node"},
                                    {NetDeviceRole::console, "console", "Pult"},
                                    {NetDeviceRole::networkSwitch, "networkSwitch", "Switch"},
                                    {NetDeviceRole::robospot, "robospot", "RoboSpot"},
                                    {NetDeviceRole::media, "media", "Medienserver"},
                                    {NetDeviceRole::audio, "audio", "Audio / Dante"},
                                    {NetDeviceRole::video, "video", "Audio / NDI"},
                                    {NetDeviceRole::ups, "ups", "USV"},
                                    {NetDeviceRole::other, "other", "Sonstiges"}}) {
        EXPECT_EQ(rawValue(role), rawText);
        EXPECT_EQ(label(role), labelText);
        EXPECT_EQ(kestrelyne::netDeviceRole(rawText), role);
    }
    EXPECT_EQ(kestrelyne::netDeviceRole("Switch"), std::nullopt);
    EXPECT_EQ(kestrelyne::netDeviceRole(""), std::nullopt);
}

TEST(NetDevice, IsStoredUnderItsFieldNames) {
    const auto device = read(whole());
    EXPECT_EQ(device.id.text(), id);
    EXPECT_EQ(device.name, "FOH Switch");
    EXPECT_EQ(device.ip, "10.0.0.2");
    EXPECT_EQ(device.role, NetDeviceRole::ups);
    EXPECT_TRUE(device.snmp);
    EXPECT_EQ(device.community, "geheim");
    EXPECT_EQ(device.snmpPort, 1161);
    EXPECT_EQ(device.extraOIDs, "1.3.6");
    EXPECT_FALSE(device.alarmOnOffline);
    EXPECT_EQ(device.notes, "Rack 2");
    base::JSON stored;
    to_json(stored, device);
    EXPECT_EQ(stored, whole());
}

TEST(NetDevice, HarmlessKeysMayBeMissing) {
    const auto device = read({{"id", id}, {"name", "A"}, {"ip", "10.0.0.2"}, {"role", "node"}});
    EXPECT_FALSE(device.snmp);
    EXPECT_EQ(device.community, "public");
    EXPECT_EQ(device.snmpPort, 161);
    EXPECT_EQ(device.extraOIDs, "");
    EXPECT_TRUE(device.alarmOnOffline);
    EXPECT_EQ(device.notes, "");
}

TEST(NetDevice, IdentityNameAddressAndRoleMayNot) {
    for (const char* key : {"id", "name", "ip", "role"}) {
        auto json = whole();
        json.erase(key);
        EXPECT_THROW(read(json), base::DecodeError) << key;
    }
}

TEST(NetDevice, AMemberOfTheWrongKindIsRefused) {
    const std::initializer_list<std::pair<const char*, base::JSON>> rows = {{"id", "no id"},
                                                                            {"id", 5},
                                                                            {"name", 5},
                                                                            {"ip", nullptr},
                                                                            {"role", "router"},
                                                                            {"role", 1},
                                                                            {"snmp", 1},
                                                                            {"community", true},
                                                                            {"snmpPort", "161"},
                                                                            {"alarmOnOffline", "ja"},
                                                                            {"notes", base::JSON::array()}};
    for (const auto& [key, value] : rows) {
        auto json = whole();
        json[key] = value;
        EXPECT_THROW(read(json), base::DecodeError) << key << " " << value;
    }
    EXPECT_THROW(read(base::JSON::array()), base::DecodeError);
}

TEST(NetDevice, AnAbsurdPortStaysANumber) {
    auto json = whole();
    json["snmpPort"] = 9000000000000LL;
    EXPECT_EQ(read(json).snmpPort, std::numeric_limits<int>::max());
    json["snmpPort"] = -9000000000000LL;
    EXPECT_EQ(read(json).snmpPort, std::numeric_limits<int>::min());
}

}  // namespace
