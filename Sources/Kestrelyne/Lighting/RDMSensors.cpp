#include "Kestrelyne/Lighting/RDMSensors.hpp"

#include <fmt/format.h>

#include <array>

#include "Kestrelyne/Network/WholeNumber.hpp"

namespace kestrelyne {

namespace {

constexpr int celsius = 1;
constexpr std::array<const char*, 11> units{"",   "°C", "V DC", "V AC (Spitze)", "V AC", "A DC", "A AC (Spitze)", "A AC",
                                            "Hz", "Ω",  "W"};
// ANSI E1.20, 10.7.2: the limit is not defined.
constexpr int noLimit = 32767;
// Values are whole steps times a decimal fraction: equal ones differ by less than this.
constexpr double fraction = 1e-6;

}  // namespace

std::string sensorUnit(int unit) {
    return unit >= 0 && unit < static_cast<int>(units.size()) ? units[static_cast<std::size_t>(unit)] : "";
}

RDMSensor sensorOf(int number, const netcore::RDM::SensorDefinition& definition) {
    RDMSensor sensor{.number = number,
                     .name = definition.description.empty() ? "Sensor " + std::to_string(number) : definition.description,
                     .unit = sensorUnit(definition.unit),
                     .factor = definition.factor(),
                     .isTemperature = definition.unit == celsius};
    if (definition.normalMax > 0 && definition.normalMax < noLimit) sensor.normalMax = definition.normalMax * sensor.factor;
    return sensor;
}

std::vector<std::string> TemperatureWarnings::step(const RDMDeviceState& device) {
    std::vector<std::string> warnings;
    for (const auto& sensor : device.sensors) {
        if (!sensor.isTemperature || !sensor.value || !sensor.normalMax) continue;
        const auto key = device.uid.text() + "/" + std::to_string(sensor.number);
        if (*sensor.value >= *sensor.normalMax - fraction && hotAlarms_.insert(key).second)
            warnings.push_back(fmt::format("{} ({}): {} {} °C über {} °C", device.displayName(), device.uid.text(), sensor.name,
                                           wholeNumber(*sensor.value), wholeNumber(*sensor.normalMax)));
        else if (*sensor.value <= *sensor.normalMax - gap + fraction)
            hotAlarms_.erase(key);
    }
    return warnings;
}

}  // namespace kestrelyne
