#pragma once
// What the watched devices themselves last told over SNMP.

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Base/UUID.hpp"
#include "NetCore/SwitchStatus.hpp"
#include "NetCore/TopologyReader.hpp"
#include "NetCore/UPSStatus.hpp"

namespace kestrelyne {

/// Bits per second.
struct PortRate {
    double inBps = 0, outBps = 0;
    bool operator==(const PortRate&) const = default;
};
using PortRates = std::map<int, PortRate>;  // by the port's index

/// A reading that fails leaves the last one standing. Readings are shared, never changed: copies of the table are cheap.
struct DeviceReading {
    std::shared_ptr<const netcore::SwitchStatus> snmp{};  // null until there is one
    std::shared_ptr<const netcore::UPSStatus> ups{};      // null until there is one
    std::optional<std::string> snmpError{};               // of the last try; none after a success
    PortRates portRates{};                                // of ports with two readings

    /// °C: the hottest place of a switch, the battery of a UPS.
    std::optional<double> temperature() const;
};
using DeviceReadings = std::map<base::UUID, DeviceReading>;

using Topologies = std::map<base::UUID, std::shared_ptr<const netcore::SwitchTopology>>;

/// What a switch did not answer this time is taken from the reading before: ports, whether they are up. So silence raises nothing,
/// and what changes meanwhile is seen by the next reading.
netcore::SwitchStatus completed(netcore::SwitchStatus status, const netcore::SwitchStatus& before);

/// Rates between two readings of one switch. A port with a counter that went backwards (a wrap, a restart) keeps its rate of
/// `standing`, as do all when one of the readings came without counters; ports that are gone have none.
PortRates portRates(const netcore::SwitchStatus& before, const netcore::SwitchStatus& after, const PortRates& standing);

}  // namespace kestrelyne
