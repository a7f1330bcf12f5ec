#pragma once
// What is wrong with a UPS, and what is well again, from one reading to the next.

#include <set>
#include <string>
#include <utility>

#include "Kestrelyne/Network/NetEvent.hpp"
#include "NetCore/UPSStatus.hpp"

namespace kestrelyne {

struct UPSLimits {
    double runtimeMinutes = 0;  // below it is a warning of the end
    double load = 0;            // %, from it on too much
};

/// Main thread; no clock, no socket.
class UPSWatch {
public:
    static constexpr double batteryTemperatureLimit = 40;  // °C

    /// A UPS is known by its name. What is wrong at the first reading is told at once.
    NetFindings checkUPS(const std::string& name, const netcore::UPSStatus& status, UPSLimits limits);

    /// The UPS is gone, or is called otherwise now.
    void forget(const std::string& name);

private:
    std::set<std::pair<std::string, std::string>> upsAlarms_;  // name, word of the watch
};

}  // namespace kestrelyne
