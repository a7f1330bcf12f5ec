#pragma once
// What sensors of devices mean, and when they are worth a warning.

#include <set>
#include <string>
#include <vector>

#include "Kestrelyne/Lighting/RDMDeviceState.hpp"

namespace kestrelyne {

/// The sign of a unit (ANSI E1.20, table A-13); empty for one that has none here. Pure.
std::string sensorUnit(int unit);

/// The sensor of this number as its definition describes it, without a value yet. Pure.
RDMSensor sensorOf(int number, const netcore::RDM::SensorDefinition& definition);

/// Warns once when a temperature has reached its limit, and again only after it has been clearly below meanwhile.
class TemperatureWarnings {
public:
    static constexpr double gap = 3;  // °C

    /// What is to be said of the device as it is now, a line for each sensor that has become too hot.
    std::vector<std::string> step(const RDMDeviceState& device);

private:
    std::set<std::string> hotAlarms_;  // by "UID/number"
};

}  // namespace kestrelyne
