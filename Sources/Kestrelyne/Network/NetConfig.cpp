#include "Kestrelyne/Network/NetConfig.hpp"

#include <algorithm>
#include <array>
#include <limits>

#include "Base/JSONFields.hpp"
#include "Base/Text.hpp"

namespace kestrelyne {

namespace {

struct RoleName {
    AdapterRole role;
    std::string_view text, word;
};
constexpr std::array roleNames = {
    RoleName{AdapterRole::all, "Alles", "all"},
    RoleName{AdapterRole::lighting, "Licht (Art-Net, sACN, MA-Net, RDM)", "lighting"},
    RoleName{AdapterRole::management, "Switche / Management", "management"},
    RoleName{AdapterRole::power, "Strom (Messgeräte, USV)", "power"},
    RoleName{AdapterRole::audio, "Audio / Video (Dante, AES67, NDI)", "audio"},
};

// ANSI E1.31-2018, 9.1.1
constexpr long long firstUniverse = 1, lastUniverse = 63999;
constexpr long long widestSpan = 1024;

constexpr double shortestInterval = 0.2, longestInterval = 86400;  // s, of what people set

// Before settings carried the marker, the intervals of a new store were longer than these.
constexpr double livePingInterval = 1.0, liveArtPollInterval = 3.0;  // s

using Texts = std::map<std::string, std::string>;

std::vector<std::string> asTextList(const base::JSON& value) {
    if (!value.is_array()) throw base::DecodeError("no list of texts");
    std::vector<std::string> texts;
    for (const auto& element : value) texts.push_back(base::asText(element));
    return texts;
}

Texts asTextMap(const base::JSON& value) {
    if (!value.is_object()) throw base::DecodeError("no map of texts");
    Texts texts;
    for (const auto& [key, element] : value.items()) texts.emplace(key, base::asText(element));
    return texts;
}

base::JSON textMap(const Texts& texts) {
    auto json = base::JSON::object();
    for (const auto& [key, value] : texts) json[key] = value;
    return json;
}

std::vector<NetDevice> asDevices(const base::JSON& value) {
    if (!value.is_array()) throw base::DecodeError("no list of devices");
    std::vector<NetDevice> devices;
    std::set<base::UUID> known;
    for (const auto& element : value) {
        NetDevice device;
        from_json(element, device);
        if (known.insert(device.id).second) devices.push_back(std::move(device));
    }
    return devices;
}

int asCount(const base::JSON& value) {
    return static_cast<int>(
        std::clamp<long long>(base::asInteger(value), std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

// A value of the wrong type counts as missing.
template <class T, class Read>
void overlayForgiving(const base::JSON& object, const char* key, T& target, Read read) {
    const auto* value = base::member(object, key);
    if (value == nullptr) return;
    try {
        target = read(*value);
    } catch (const base::DecodeError&) {
        return;
    }
}

struct Span {
    long long first, last;
};

// The universes of one piece, within the limits of the standard; absent when it names none.
std::optional<Span> universesOf(std::string_view piece) {
    std::vector<long long> values;
    for (const auto part : base::split(piece, '-', false))
        if (const auto value = base::parseInteger(base::trimmed(part))) values.push_back(*value);
    if (values.empty() || values.size() > 2) return std::nullopt;
    const auto first = values.front(), last = values.back();
    // No value is negative: the minus separates.
    if (first > last || last - first > widestSpan) return std::nullopt;
    const Span within{std::max(first, firstUniverse), std::min(last, lastUniverse)};
    if (within.first > within.last) return std::nullopt;
    return within;
}

[[noreturn]] void wrong(const std::string& field, const std::string& wanted) {
    throw std::invalid_argument("„" + field + "“ muss " + wanted + " sein.");
}

// One field that a user types: how it reads and how it is shown.
struct Field {
    const char* name;
    void (*set)(NetConfig&, const std::string& field, const std::string& value);
    std::string (*show)(const NetConfig&);
};

template <double NetConfig::*member, int least, int most>
void setNumber(NetConfig& config, const std::string& field, const std::string& value) {
    auto text = value;
    std::ranges::replace(text, ',', '.');
    const auto number = base::parseDouble(text);
    if (!number || *number < least || *number > most)
        wrong(field, "eine Zahl von " + std::to_string(least) + " bis " + std::to_string(most));
    config.*member = *number;
}

template <double NetConfig::*member>
void setInterval(NetConfig& config, const std::string& field, const std::string& value) {
    auto text = value;
    std::ranges::replace(text, ',', '.');
    const auto number = base::parseDouble(text);
    if (!number || *number < shortestInterval || *number > longestInterval) wrong(field, "eine Zahl von 0,2 bis 86400 (Sekunden)");
    config.*member = *number;
}

template <bool NetConfig::*member>
void setSwitch(NetConfig& config, const std::string& field, const std::string& value) {
    if (value == "true" || value == "on")
        config.*member = true;
    else if (value == "false" || value == "off")
        config.*member = false;
    else
        wrong(field, "true oder false");
}

void setOfflineAfter(NetConfig& config, const std::string& field, const std::string& value) {
    constexpr long long most = 1000;
    const auto number = base::parseInteger(value);
    if (!number || *number < 1 || *number > most) wrong(field, "eine ganze Zahl von 1 bis 1000");
    config.offlineAfter = static_cast<int>(*number);
}

// Stricter than reading: what names no universe is a slip of the typing.
void setUniverses(NetConfig& config, const std::string& field, const std::string& value) {
    for (const auto piece : base::split(value, ',', true)) {
        if (base::trimmed(value).empty()) break;
        const auto parts = base::split(piece, '-', true);
        const bool numbers =
            std::ranges::all_of(parts, [](auto part) { return base::parseInteger(base::trimmed(part)).has_value(); });
        if (!numbers || !universesOf(piece))
            wrong(field, "eine Liste von Universen wie „1-16, 20“ (1 bis 63999, je Bereich höchstens 1025)");
    }
    config.sacnUniverses = value;
}

template <double NetConfig::*member>
std::string showNumber(const NetConfig& config) {
    return base::JSON(config.*member).dump();
}

template <bool NetConfig::*member>
std::string showSwitch(const NetConfig& config) {
    return config.*member ? "true" : "false";
}

using C = NetConfig;
constexpr std::array fields = {
    Field{"pingInterval", setInterval<&C::pingInterval>, showNumber<&C::pingInterval>},
    Field{"offlineAfter", setOfflineAfter, [](const C& config) { return std::to_string(config.offlineAfter); }},
    Field{"liveDefaults", setSwitch<&C::liveDefaults>, showSwitch<&C::liveDefaults>},
    Field{"snmpInterval", setInterval<&C::snmpInterval>, showNumber<&C::snmpInterval>},
    Field{"artPollInterval", setInterval<&C::artPollInterval>, showNumber<&C::artPollInterval>},
    Field{"sacnUniverses", setUniverses, [](const C& config) { return config.sacnUniverses; }},
    Field{"tempLimit", setNumber<&C::tempLimit, -50, 200>, showNumber<&C::tempLimit>},
    Field{"upsRuntimeLimit", setNumber<&C::upsRuntimeLimit, 0, 10000>, showNumber<&C::upsRuntimeLimit>},
    Field{"upsLoadLimit", setNumber<&C::upsLoadLimit, 0, 1000>, showNumber<&C::upsLoadLimit>},
    Field{"notify", setSwitch<&C::notify>, showSwitch<&C::notify>},
    Field{"autoStart", setSwitch<&C::autoStart>, showSwitch<&C::autoStart>},
    Field{"alarmNewDevices", setSwitch<&C::alarmNewDevices>, showSwitch<&C::alarmNewDevices>},
    Field{"artnetSubscribe", setSwitch<&C::artnetSubscribe>, showSwitch<&C::artnetSubscribe>},
};

// Fields that are lists have commands of their own.
constexpr std::array<std::pair<std::string_view, std::string_view>, 5> otherVerbs = {{
    {"devices", "device add, device edit und device remove"},
    {"interfaces", "adapter use"},
    {"knownMACs", "monitor known take und monitor known forget"},
    {"interfaceRoles", "adapter role"},
    {"interfaceLabels", "adapter label"},
}};

std::string fieldNames() {
    std::string names;
    for (const auto& field : fields) names += (names.empty() ? "" : ", ") + std::string(field.name);
    return names;
}

}  // namespace

std::string_view text(AdapterRole role) { return std::ranges::find(roleNames, role, &RoleName::role)->text; }

AdapterRole adapterRole(std::string_view text) {
    const auto found = std::ranges::find(roleNames, text, &RoleName::text);
    return found == roleNames.end() ? AdapterRole::all : found->role;
}

std::optional<AdapterRole> adapterRoleOfWord(std::string_view word) {
    const auto found = std::ranges::find(roleNames, word, &RoleName::word);
    if (found == roleNames.end()) return std::nullopt;
    return found->role;
}

std::set<int> NetConfig::sacnUniverseSet() const {
    std::set<int> universes;
    for (const auto piece : base::split(sacnUniverses, ',', false))
        if (const auto span = universesOf(piece))
            for (auto universe = span->first; universe <= span->last; ++universe) universes.insert(static_cast<int>(universe));
    return universes;
}

NetConfig decodeNetConfig(std::string_view bytes) {
    const auto json = base::parseJSON(bytes);
    NetConfig config;
    bool marked = false;
    base::overlay(json, "devices", config.devices, asDevices);
    base::overlay(json, "interfaces", config.interfaces, asTextList);
    base::overlay(json, "pingInterval", config.pingInterval, base::asNumber);
    overlayForgiving(json, "offlineAfter", config.offlineAfter, asCount);
    overlayForgiving(json, "liveDefaults", marked, base::asBool);
    base::overlay(json, "snmpInterval", config.snmpInterval, base::asNumber);
    base::overlay(json, "artPollInterval", config.artPollInterval, base::asNumber);
    base::overlay(json, "sacnUniverses", config.sacnUniverses, base::asText);
    base::overlay(json, "tempLimit", config.tempLimit, base::asNumber);
    base::overlay(json, "upsRuntimeLimit", config.upsRuntimeLimit, base::asNumber);
    base::overlay(json, "upsLoadLimit", config.upsLoadLimit, base::asNumber);
    base::overlay(json, "notify", config.notify, base::asBool);
    base::overlay(json, "autoStart", config.autoStart, base::asBool);
    base::overlay(json, "knownMACs", config.knownMACs, asTextMap);
    base::overlay(json, "alarmNewDevices", config.alarmNewDevices, base::asBool);
    overlayForgiving(json, "artnetSubscribe", config.artnetSubscribe, base::asBool);
    overlayForgiving(json, "interfaceRoles", config.interfaceRoles, asTextMap);
    overlayForgiving(json, "interfaceLabels", config.interfaceLabels, asTextMap);
    if (!marked) {
        config.pingInterval = std::min(config.pingInterval, livePingInterval);
        config.artPollInterval = std::min(config.artPollInterval, liveArtPollInterval);
        config.liveDefaults = true;
    }
    return config;
}

std::string encodeNetConfig(const NetConfig& config) {
    auto devices = base::JSON::array();
    for (const auto& device : config.devices) {
        base::JSON element;
        to_json(element, device);
        devices.push_back(std::move(element));
    }
    return base::dump(base::JSON{{"devices", std::move(devices)},
                                 {"interfaces", config.interfaces},
                                 {"pingInterval", config.pingInterval},
                                 {"offlineAfter", config.offlineAfter},
                                 {"liveDefaults", config.liveDefaults},
                                 {"snmpInterval", config.snmpInterval},
                                 {"artPollInterval", config.artPollInterval},
                                 {"sacnUniverses", config.sacnUniverses},
                                 {"tempLimit", config.tempLimit},
                                 {"upsRuntimeLimit", config.upsRuntimeLimit},
                                 {"upsLoadLimit", config.upsLoadLimit},
                                 {"notify", config.notify},
                                 {"autoStart", config.autoStart},
                                 {"knownMACs", textMap(config.knownMACs)},
                                 {"alarmNewDevices", config.alarmNewDevices},
                                 {"artnetSubscribe", config.artnetSubscribe},
                                 {"interfaceRoles", textMap(config.interfaceRoles)},
                                 {"interfaceLabels", textMap(config.interfaceLabels)}});
}

void setNetField(NetConfig& config, const std::string& field, const std::string& value) {
    if (base::repairUTF8(value) != value) wrong(base::repairUTF8(field), "gültiges UTF-8");
    const auto found =
        std::ranges::find(fields, std::string_view(field), [](const Field& entry) { return std::string_view(entry.name); });
    if (found != fields.end()) return found->set(config, field, value);
    for (const auto& [name, verbs] : otherVerbs)
        if (name == field) throw std::invalid_argument("„" + field + "“ hat eigene Befehle: " + std::string(verbs) + ".");
    throw std::invalid_argument("Unbekanntes Feld „" + base::repairUTF8(field) + "“: es gibt " + fieldNames() + ".");
}

std::vector<std::pair<std::string, std::string>> netFields(const NetConfig& config) {
    std::vector<std::pair<std::string, std::string>> shown;
    for (const auto& field : fields) shown.emplace_back(field.name, field.show(config));
    return shown;
}

}  // namespace kestrelyne
