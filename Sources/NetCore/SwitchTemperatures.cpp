#include "NetCore/SwitchTemperatures.hpp"

#include <cmath>
#include <utility>

#include "NetCore/SNMPColumn.hpp"

namespace netcore::SwitchReader {

namespace {

// ENTITY-SENSOR-MIB (RFC 3433), entPhySensorTable, and the table of the same form that Cisco had before it.
constexpr const char* entitySensorTable = "1.3.6.1.2.1.99.1.1.1";
constexpr const char* ciscoSensorTable = "1.3.6.1.4.1.9.9.91.1.1.1.1";
constexpr double celsiusType = 8, unitsScale = 9;
constexpr const char* physicalNames = "1.3.6.1.2.1.47.1.1.1.1.7";  // ENTITY-MIB (RFC 6933), entPhysicalName

// CISCO-ENVMON-MIB, ciscoEnvMonTemperatureStatusTable; makers besides Cisco have it too.
constexpr const char* environmentValues = "1.3.6.1.4.1.9.9.13.1.3.1.3";
constexpr const char* environmentNames = "1.3.6.1.4.1.9.9.13.1.3.1.2";

// CISCO-PROCESS-MIB, cpmCPUTotal1minRev
constexpr const char* ciscoLoad = "1.3.6.1.4.1.9.9.109.1.1.1.1.7";

std::string nameAt(const SNMPColumn& names, std::int64_t index) {
    return textAt(names, index).value_or("Sensor " + std::to_string(index));
}

void readSensorTable(const SNMPTarget& client, const std::string& table, SwitchStatus& status) {
    const auto types = column(client, table + ".1");
    if (types.empty()) return;
    const auto scales = columnIfAnswered(client, table + ".2"), precisions = columnIfAnswered(client, table + ".3");
    const auto values = column(client, table + ".4");
    const auto names = columnIfAnswered(client, physicalNames);
    // Switches leave these columns out. When they are silent instead, a value may be a thousand times too large, or stand under a
    // name that it never had: better none this time.
    if (!scales || !precisions || !names) return;
    for (const auto& [index, type] : types) {
        const auto value = numberAt(values, index);
        if (type.number() != celsiusType || !value) continue;
        // Each step of the scale is a factor of 1000; the precision is the digits behind the mark.
        const double factor = std::pow(10, (numberAt(*scales, index).value_or(unitsScale) - unitsScale) * 3);
        addSensor(status, nameAt(*names, index), *value * factor / std::pow(10, numberAt(*precisions, index).value_or(0)));
    }
}

void readEnvironment(const SNMPTarget& client, SwitchStatus& status) {
    const auto values = column(client, environmentValues);
    const auto names = columnIfAnswered(client, environmentNames);
    if (!names) return;
    for (const auto& [index, value] : values)
        if (const auto celsius = value.number()) addSensor(status, nameAt(*names, index), *celsius);
}

std::optional<double> firstNumber(const SNMPColumn& values) {
    for (const auto& [index, value] : values)
        if (const auto number = value.number()) return number;
    return std::nullopt;
}

}  // namespace

void readTemperatures(const SNMPTarget& client, const MakerSigns& makers, SwitchStatus& status) {
    readSensorTable(client, entitySensorTable, status);
    if (status.temperatures.empty()) readEnvironment(client, status);
    if (status.temperatures.empty() && makers.cisco && !makers.ciscoBusiness) {
        readSensorTable(client, ciscoSensorTable, status);
        status.cpuPercent = firstNumber(column(client, ciscoLoad));
    }
}

void addSensor(SwitchStatus& status, std::string name, double celsius) {
    if (std::isfinite(celsius)) status.temperatures.push_back({.name = std::move(name), .celsius = celsius});
}

}  // namespace netcore::SwitchReader
