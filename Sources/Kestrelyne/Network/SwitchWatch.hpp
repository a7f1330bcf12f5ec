#pragma once
// What has failed on a switch, and what is well again, from one reading to the next.

#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "Base/UUID.hpp"
#include "Kestrelyne/Network/NetDevice.hpp"
#include "Kestrelyne/Network/NetEvent.hpp"
#include "NetCore/SwitchStatus.hpp"

namespace kestrelyne {

/// Main thread; no clock, no socket.
class SwitchWatch {
public:
    static constexpr double temperatureHysteresis = 3;  // °C

    /// `previous` is the reading before, nullptr for the first: a port that was never seen up is no failure.
    /// Of components or sensors with one name the worst counts: else they would raise and clear each other in every reading.
    NetFindings checkSwitch(const NetDevice& device, const netcore::SwitchStatus& status, const netcore::SwitchStatus* previous,
                            double tempLimit);
    /// What stands on this switch, each without its name: "Lüfter 1 defekt", "CPU 74 °C", "Port 3 ist ausgefallen".
    std::vector<std::string> standing(const base::UUID& device, const netcore::SwitchStatus& status) const;
    /// A hot sensor stays so down to the far edge of the hysteresis.
    bool isHot(const base::UUID& device, const std::string& sensor) const;

    /// The device is gone.
    void forget(const base::UUID& device);
    void clear();

private:
    struct Key {
        base::UUID device;
        std::string name;  // of a component or sensor; of a port its index
        auto operator<=>(const Key&) const = default;
    };
    using Keys = std::set<Key>;
    void judgeComponents(const NetDevice& device, const netcore::SwitchStatus& status, NetFindings& findings);
    void judgeTemperatures(const NetDevice& device, const netcore::SwitchStatus& status, double limit, NetFindings& findings);
    void judgePorts(const NetDevice& device, const netcore::SwitchStatus& status, const netcore::SwitchStatus* previous,
                    NetFindings& findings);

    Keys failedComponents_, hotSensors_, downPorts_;
};

}  // namespace kestrelyne
