#pragma once
// What is wrong on the show network now, as every face lists it.

#include <string>
#include <vector>

#include "Base/Clock.hpp"
#include "Kestrelyne/Network/ClockWatch.hpp"
#include "Kestrelyne/Network/DeviceReadings.hpp"
#include "Kestrelyne/Network/LightingStates.hpp"
#include "Kestrelyne/Network/NetDevice.hpp"
#include "Kestrelyne/Network/NetEvent.hpp"
#include "Kestrelyne/Network/QuerierWatch.hpp"
#include "Kestrelyne/Network/Reachability.hpp"
#include "Kestrelyne/Network/SwitchWatch.hpp"
#include "NetCore/LocalUPS.hpp"

namespace kestrelyne {

class NetworkMonitor;

struct NetworkProblem {
    enum class Area { light, power };

    NetEvent::Level level = NetEvent::Level::alarm;
    Area area = Area::light;
    std::string text;  // German; names in it come from the network
    bool operator==(const NetworkProblem&) const = default;
};
using NetworkProblems = std::vector<NetworkProblem>;

/// "light", "power": as the JSON interface has it.
std::string_view word(NetworkProblem::Area area);

/// Devices that do not answer, in the order of the list; then what several did at once within the last minute, outages first.
NetworkProblems deviceProblems(const std::vector<NetDevice>& devices, const Reachability& reachability, base::SteadyTime now);
/// One for each universe in conflict: first those of two sources, then those of more.
NetworkProblems universeProblems(const std::vector<UniverseState>& universes, base::SteadyTime now);
/// One for each domain with several grandmasters.
NetworkProblems clockProblems(const std::vector<PTPDomainState>& domains);
/// One for each adapter on which a querier is missed.
NetworkProblems querierProblems(const std::vector<IGMPInterfaceState>& adapters);
/// What stands on switches: parts that have failed, heat, ports that went down.
NetworkProblems switchProblems(const std::vector<NetDevice>& devices, const DeviceReadings& readings, const SwitchWatch& watch);
/// One for each UPS on battery, watched or attached to this computer.
NetworkProblems upsProblems(const std::vector<NetDevice>& devices, const DeviceReadings& readings,
                            const std::vector<netcore::LocalUPS::Entry>& local);

/// All of them, in this order; none while the network is not watched. Main thread.
NetworkProblems networkProblems(const NetworkMonitor& monitor, base::SteadyTime now);

}  // namespace kestrelyne
