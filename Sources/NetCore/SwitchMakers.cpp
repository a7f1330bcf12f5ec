#include "NetCore/SwitchMakers.hpp"

#include <array>
#include <optional>
#include <span>
#include <vector>

#include "Base/Text.hpp"
#include "NetCore/SNMPColumn.hpp"
#include "NetCore/SwitchTemperatures.hpp"

namespace netcore::SwitchReader {

namespace {

// The name of a state that counts from 1; one that has none is its number.
std::string stateName(std::span<const std::string_view> names, std::int64_t state) {
    if (state < 1 || state > std::ssize(names)) return std::to_string(state);
    return std::string(names[static_cast<std::size_t>(state - 1)]);
}

namespace ciscoBusiness {

constexpr const char* temperature = "1.3.6.1.4.1.9.6.1.101.53.15.1.10.1";
constexpr const char* load = "1.3.6.1.4.1.9.6.1.101.1.8.0";
constexpr int firstFan = 4, lastFan = 8;
constexpr std::int64_t normal = 1, notPresent = 5;
constexpr std::array<std::string_view, 6> states{"normal", "Warnung", "kritisch", "abgeschaltet", "nicht vorhanden", "defekt"};

std::string fan(int number) { return "1.3.6.1.4.1.9.6.1.101.53.15.1." + std::to_string(number) + ".1"; }

}  // namespace ciscoBusiness

namespace boxServices {

constexpr const char* luminexBase = "1.3.6.1.4.1.4413.1.1.43.1";
constexpr const char* netgearBase = "1.3.6.1.4.1.4526.10.43.1";
constexpr const char *fanStates = ".6.1.3", *supplyStates = ".7.1.3", *temperatures = ".8.1.5";
constexpr std::int64_t notPresent = 1, operational = 2;
constexpr std::array<std::string_view, 5> states{"nicht vorhanden", "in Betrieb", "ausgefallen", "Leistungsaufnahme",
                                                 "keine Leistung"};

}  // namespace boxServices

constexpr const char* luminexSupply = "1.3.6.1.4.1.56979.2.1.1.1.0";

std::string lastArc(const std::string& oid) { return oid.empty() ? "?" : oid.substr(oid.rfind('.') + 1); }

void addComponents(const SNMPTarget& client, const std::string& base, const std::string& name,
                   std::vector<SwitchStatus::Component>& components) {
    for (const auto& [oid, value] : rowsOrNone(client, base)) {
        const auto state = value.integer();
        if (!state || *state == boxServices::notPresent) continue;
        components.push_back({.name = name + lastArc(oid),
                              .ok = *state == boxServices::operational,
                              .state = stateName(boxServices::states, *state)});
    }
}

void readBoxServicesBelow(const SNMPTarget& client, const std::string& base, SwitchStatus& status) {
    if (status.temperatures.empty())
        for (const auto& [oid, value] : rowsOrNone(client, base + boxServices::temperatures))
            if (value.number().value_or(0) > 0) addSensor(status, "Sensor " + lastArc(oid), *value.number());
    addComponents(client, base + boxServices::fanStates, "Lüfter ", status.fans);
    addComponents(client, base + boxServices::supplyStates, "Netzteil ", status.powerSupplies);
}

}  // namespace

MakerSigns makerSigns(std::string_view objectID, std::string_view description) {
    const auto lower = base::lowerASCII(description);
    const auto says = [&](std::string_view name) { return lower.find(name) != std::string::npos; };
    return {.cisco = objectID.starts_with("1.3.6.1.4.1.9."),
            .ciscoBusiness = objectID.starts_with("1.3.6.1.4.1.9.6.1."),
            .netgear = objectID.starts_with("1.3.6.1.4.1.4526.") || says("netgear"),
            .luminex = objectID.starts_with("1.3.6.1.4.1.56979.") || objectID.starts_with("1.3.6.1.4.1.4413.") ||
                       says("gigacore") || says("luminex")};
}

std::string vendorName(const MakerSigns& signs) {
    if (signs.ciscoBusiness) return "Cisco Business";
    if (signs.cisco) return "Cisco";
    if (signs.netgear) return "Netgear";
    if (signs.luminex) return "Luminex";
    return "";
}

void readCiscoBusiness(const SNMPTarget& client, SwitchStatus& status) {
    using namespace ciscoBusiness;
    std::vector<std::string> oids{temperature, load};
    for (int number = firstFan; number <= lastFan; ++number) oids.push_back(fan(number));
    const auto values = valuesOrNone(client, oids);

    const auto celsius = numberAt(values, temperature).value_or(0);
    if (status.temperatures.empty() && celsius > 0) addSensor(status, "Gehäuse", celsius);
    status.cpuPercent = numberAt(values, load);
    for (int number = firstFan; number <= lastFan; ++number) {
        const auto state = integerAt(values, fan(number));
        if (!state || *state == notPresent) continue;
        status.fans.push_back({.name = "Lüfter " + std::to_string(number - firstFan + 1),
                               .ok = *state == normal,
                               .state = stateName(states, *state)});
    }
}

void readBoxServices(const SNMPTarget& client, const MakerSigns& signs, SwitchStatus& status) {
    if (signs.luminex) readBoxServicesBelow(client, boxServices::luminexBase, status);
    if (signs.netgear) readBoxServicesBelow(client, boxServices::netgearBase, status);
}

void readLuminex(const SNMPTarget& client, SwitchStatus& status) {
    const auto values = valuesOrNone(client, {luminexSupply});
    const auto* value = valueAt(values, luminexSupply);
    if (value == nullptr || !value->number()) return;
    const bool ok = value->number() == 1;
    status.powerSupplies.push_back({.name = "Redundantes Netzteil", .ok = ok, .state = ok ? "ok" : "Status " + value->text()});
}

}  // namespace netcore::SwitchReader
