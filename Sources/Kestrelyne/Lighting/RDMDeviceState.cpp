#include "Kestrelyne/Lighting/RDMDeviceState.hpp"

#include "Base/Text.hpp"

namespace kestrelyne {

std::string RDMDeviceState::displayName() const {
    return label.empty() ? std::string(base::trimmedBlanks(manufacturer + " " + model)) : label;
}

const RDMSensor* RDMDeviceState::hottest() const {
    const RDMSensor* hottest = nullptr;
    for (const auto& sensor : sensors)
        if (sensor.isTemperature && sensor.value && (hottest == nullptr || *sensor.value > *hottest->value)) hottest = &sensor;
    return hottest;
}

}  // namespace kestrelyne
