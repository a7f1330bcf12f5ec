#include "Kestrelyne/App/NetworkEdits.hpp"

#include <algorithm>

#include "Base/JSONFields.hpp"
#include "Base/Text.hpp"
#include "Kestrelyne/App/ControlFields.hpp"
#include "Kestrelyne/App/ControlMessage.hpp"
#include "NetCore/IPv4.hpp"

namespace kestrelyne {

namespace {

using base::JSON;

constexpr long long highestPort = 65535;

[[noreturn]] void refuse(const std::string& text) { throw ControlError(text, ExitCode::wrongWords); }

std::string line(const NetDevice& device) { return device.name + " (" + device.ip + ", " + device.id.text() + ")"; }

NetDeviceRole roleOf(const std::string& word) {
    if (const auto role = netDeviceRole(word)) return *role;
    std::string words;
    for (int i = 0; i <= static_cast<int>(NetDeviceRole::other); ++i)
        words += (i == 0 ? "" : ", ") + std::string(rawValue(static_cast<NetDeviceRole>(i)));
    refuse("Unbekannte Rolle „" + word + "“: es gibt " + words + ".");
}

NetDevice& namedIn(NetConfig& config, const JSON& request) {
    const auto id = namedDevice(config, textField(request, "device")).id;
    return *std::ranges::find(config.devices, id, &NetDevice::id);
}

// The device with those fields that the request names.
NetDevice describedDevice(NetDevice device, const JSON& request) {
    if (const auto name = optionalText(request, "name")) device.name = base::trimmed(*name);
    if (const auto ip = optionalText(request, "ip")) device.ip = *ip;
    if (const auto word = optionalText(request, "role")) device.role = roleOf(*word);
    if (const auto snmp = optionalSwitch(request, "snmp")) device.snmp = *snmp;
    if (const auto community = optionalText(request, "community")) device.community = *community;
    if (const auto port = optionalInteger(request, "snmpPort")) {
        if (*port < 1 || *port > highestPort) refuse("„snmpPort“ muss eine Zahl von 1 bis 65535 sein.");
        device.snmpPort = static_cast<int>(*port);
    }
    if (const auto oids = optionalText(request, "extraOIDs")) device.extraOIDs = *oids;
    if (const auto alarm = optionalSwitch(request, "alarmOnOffline")) device.alarmOnOffline = *alarm;
    if (const auto notes = optionalText(request, "notes")) device.notes = *notes;
    if (!netcore::ipToUInt32(device.ip)) refuse("„" + device.ip + "“ ist keine IPv4-Adresse.");
    if (device.name.empty()) device.name = device.ip;
    return device;
}

JSON device(const NetDevice& device) {
    JSON json;
    to_json(json, device);
    return json;
}

JSON set(NetConfig& config, const JSON& request) {
    try {
        setNetField(config, textField(request, "field"), textField(request, "value"));
    } catch (const std::invalid_argument& error) {
        refuse(error.what());
    }
    return nullptr;
}

JSON forgetKnown(NetConfig& config, const JSON&) {
    config.knownMACs.clear();
    return nullptr;
}

JSON add(NetConfig& config, const JSON& request) {
    config.devices.push_back(describedDevice({}, request));
    return device(config.devices.back());
}

JSON edit(NetConfig& config, const JSON& request) {
    auto& present = namedIn(config, request);
    present = describedDevice(present, request);
    return device(present);
}

JSON remove(NetConfig& config, const JSON& request) {
    const auto gone = namedIn(config, request);
    std::erase_if(config.devices, [&gone](const NetDevice& other) { return other.id == gone.id; });
    return device(gone);
}

std::string adapterName(const JSON& request) {
    auto name = textField(request, "name");
    if (name.empty()) refuse("Der Name des Adapters ist leer.");
    return name;
}

JSON use(NetConfig& config, const JSON& request) {
    auto names = textListField(request, "names");
    if (std::ranges::find(names, std::string()) != names.end()) refuse("Der Name des Adapters ist leer.");
    config.interfaces = std::move(names);
    return nullptr;
}

JSON role(NetConfig& config, const JSON& request) {
    const auto word = textField(request, "role");
    const auto role = adapterRoleOfWord(word);
    if (!role) refuse("Unbekannte Aufgabe „" + word + "“: es gibt all, lighting, management, power und audio.");
    const auto name = adapterName(request);
    if (role == AdapterRole::all)
        config.interfaceRoles.erase(name);
    else
        config.interfaceRoles[name] = text(*role);
    return nullptr;
}

JSON label(NetConfig& config, const JSON& request) {
    const auto name = adapterName(request);
    auto given = textField(request, "label");
    if (given.empty())
        config.interfaceLabels.erase(name);
    else
        config.interfaceLabels[name] = std::move(given);
    return nullptr;
}

}  // namespace

const NetDevice& namedDevice(const NetConfig& config, const std::string& word) {
    if (const auto id = base::UUID::parse(word)) {
        const auto found = std::ranges::find(config.devices, *id, &NetDevice::id);
        if (found != config.devices.end()) return *found;
    }
    for (const auto field : {&NetDevice::name, &NetDevice::ip}) {
        const auto first = std::ranges::find(config.devices, word, field);
        if (first == config.devices.end()) continue;
        if (std::ranges::count(config.devices, word, field) == 1) return *first;
        std::string lines;
        for (const auto& device : config.devices)
            if (device.*field == word) lines += (lines.empty() ? "" : "; ") + line(device);
        refuse("„" + word + "“ meint mehrere Geräte, bitte mit der Kennung nennen: " + lines + ".");
    }
    throw ControlError("Es gibt kein Gerät „" + word + "“.");
}

JSON editNetConfig(NetConfig& config, const JSON& request) {
    struct Edit {
        std::string_view verb;
        JSON (*carryOut)(NetConfig&, const JSON&);
    };
    constexpr Edit edits[] = {{"monitor.set", set},      {"monitor.forgetKnown", forgetKnown},
                              {"device.add", add},       {"device.edit", edit},
                              {"device.remove", remove}, {"adapter.use", use},
                              {"adapter.role", role},    {"adapter.label", label}};
    const auto verb = textField(request, "verb");
    const auto* found = std::ranges::find(edits, std::string_view(verb), &Edit::verb);
    if (found == std::end(edits)) refuse("Unbekannter Befehl „" + verb + "“.");
    return found->carryOut(config, request);
}

}  // namespace kestrelyne
