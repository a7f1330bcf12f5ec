#pragma once
// The stored description of one watched device of the show network.

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "Base/UUID.hpp"

namespace kestrelyne {

enum class NetDeviceRole { node, console, networkSwitch, robospot, media, audio, video, ups, other };
/// "node" … "other": the stored form.
std::string_view rawValue(NetDeviceRole role);
std::optional<NetDeviceRole> netDeviceRole(std::string_view rawValue);
/// German, for people: "Node", "Pult", "Switch", "RoboSpot", "Medienserver", "Audio / Dante", "Audio / NDI", "USV", "Sonstiges".
std::string_view label(NetDeviceRole role);

struct NetDevice {
    base::UUID id = base::UUID::random();
    std::string name;
    std::string ip;  // IPv4, dotted
    NetDeviceRole role = NetDeviceRole::other;
    bool snmp = false;  // asked by SNMP as well
    std::string community = "public";
    int snmpPort = 161;
    std::string extraOIDs = {};
    bool alarmOnOffline = true;  // going offline is an alarm, not just a line in the log
    std::string notes = {};

    bool operator==(const NetDevice&) const = default;
};

void to_json(nlohmann::json& json, const NetDevice& device);
/// Throws base::DecodeError: a missing id, name, address or role, a member of the wrong kind, an unknown role. The defaults stand
/// in for other missing keys.
void from_json(const nlohmann::json& json, NetDevice& device);

}  // namespace kestrelyne
