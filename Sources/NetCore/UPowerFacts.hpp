#pragma once
// A device of UPower (interface org.freedesktop.UPower.Device) as a UPS. Pure; any thread.

#include <cstdint>
#include <optional>
#include <string>

#include "NetCore/LocalUPSFinding.hpp"

namespace netcore {

/// The properties, as the service sends them; one that it does not send has the value that means "unknown" there.
struct UPowerDevice {
    std::string path;  // of the D-Bus object
    std::string vendor, model;
    std::uint32_t type = 0;            // 1 mains, 2 battery, 3 UPS …
    std::uint32_t state = 0;           // 1 charging, 2 discharging, 3 empty, 4 full, 5 about to charge, 6 about to discharge
    std::uint32_t warningLevel = 0;    // 1 none, 2 discharging, 3 low, 4 critical, 5 action
    std::optional<double> percentage;  // %
    std::int64_t timeToEmpty = 0;      // s
    double voltage = 0;                // V
};

/// Absent when it is no UPS: the battery of a laptop is none.
std::optional<LocalUPSFinding> upowerFinding(const UPowerDevice& device, const base::Moment& time);

}  // namespace netcore
