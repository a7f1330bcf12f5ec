#include "Kestrelyne/Network/NetDevice.hpp"

#include <algorithm>
#include <array>
#include <limits>

#include "Base/JSONFields.hpp"

namespace kestrelyne {

namespace {

struct RoleName {
    NetDeviceRole role;
    std::string_view rawValue, label;
};
constexpr std::array roleNames = {
    RoleName{NetDeviceRole::node, "node", "Node"},
    RoleName{NetDeviceRole::console, "console", "Pult"},
    RoleName{NetDeviceRole::networkSwitch, "networkSwitch", "Switch"},
    RoleName{NetDeviceRole::robospot, "robospot", "RoboSpot"},
    RoleName{NetDeviceRole::media, "media", "Medienserver"},
    RoleName{NetDeviceRole::audio, "audio", "Audio / Dante"},
    RoleName{NetDeviceRole::video, "video", "Audio / NDI"},
    RoleName{NetDeviceRole::ups, "ups", "USV"},
    RoleName{NetDeviceRole::other, "other", "Sonstiges"},
};

NetDeviceRole asRole(const base::JSON& value) {
    const auto role = netDeviceRole(base::asText(value));
    if (!role) throw base::DecodeError("unknown role of a device");
    return *role;
}

// A port is clamped where it is used; here it only has to fit.
int asPort(const base::JSON& value) {
    return static_cast<int>(
        std::clamp<long long>(base::asInteger(value), std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

}  // namespace

std::string_view rawValue(NetDeviceRole role) { return std::ranges::find(roleNames, role, &RoleName::role)->rawValue; }

std::optional<NetDeviceRole> netDeviceRole(std::string_view rawValue) {
    const auto found = std::ranges::find(roleNames, rawValue, &RoleName::rawValue);
    if (found == roleNames.end()) return std::nullopt;
    return found->role;
}

std::string_view label(NetDeviceRole role) { return std::ranges::find(roleNames, role, &RoleName::role)->label; }

void to_json(base::JSON& json, const NetDevice& device) {
    json = {{"id", device.id.text()},        {"name", device.name},           {"ip", device.ip},
            {"role", rawValue(device.role)}, {"snmp", device.snmp},           {"community", device.community},
            {"snmpPort", device.snmpPort},   {"extraOIDs", device.extraOIDs}, {"alarmOnOffline", device.alarmOnOffline},
            {"notes", device.notes}};
}

void from_json(const base::JSON& json, NetDevice& device) {
    device.id = base::asUUID(base::required(json, "id"));
    device.name = base::asText(base::required(json, "name"));
    device.ip = base::asText(base::required(json, "ip"));
    device.role = asRole(base::required(json, "role"));
    base::overlay(json, "snmp", device.snmp, base::asBool);
    base::overlay(json, "community", device.community, base::asText);
    base::overlay(json, "snmpPort", device.snmpPort, asPort);
    base::overlay(json, "extraOIDs", device.extraOIDs, base::asText);
    base::overlay(json, "alarmOnOffline", device.alarmOnOffline, base::asBool);
    base::overlay(json, "notes", device.notes, base::asText);
}

}  // namespace kestrelyne
