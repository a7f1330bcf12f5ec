#pragma once
// What is known of one device of Remote Device Management.

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Base/Clock.hpp"
#include "NetCore/RDM.hpp"
#include "NetCore/RDMParameters.hpp"

namespace kestrelyne {

struct RDMSensor {
    int number = 0;
    std::string name{};
    std::string unit{};  // "°C"; empty for one that has no sign here
    double factor = 1;   // what a step is worth in the unit
    bool isTemperature = false;
    std::optional<double> normalMax{};  // in the unit; absent when the device names none
    std::optional<double> value{};      // in the unit; absent before the first answer
    bool operator==(const RDMSensor&) const = default;
};

struct RDMDeviceState {
    netcore::RDM::UID uid{};
    std::string nodeIP{}, nodeName{};  // the node through which it answers
    int universe = 0;                  // Art-Net Port-Address
    std::string manufacturer{}, model{}, label{}, software{};
    std::optional<netcore::RDM::DeviceInfo> info{};
    std::optional<std::uint32_t> deviceHours{}, lampHours{};
    std::vector<RDMSensor> sensors{};
    std::optional<std::set<std::uint16_t>> supported{};  // PIDs; absent before they were asked
    std::vector<netcore::RDM::Personality> personalities{};
    bool identifying = false;
    std::optional<bool> atFactoryDefaults{};
    std::optional<int> lampState{};  // ANSI E1.20, appendix A.8
    bool responding = false;         // answered the last reading
    base::Moment lastUpdate{};

    bool supports(netcore::RDM::PID pid) const { return supported && supported->contains(static_cast<std::uint16_t>(pid)); }
    /// The label, else manufacturer and model.
    std::string displayName() const;
    /// The hottest temperature sensor that has a value; nullptr without one.
    const RDMSensor* hottest() const;
};

}  // namespace kestrelyne
