#include "Kestrelyne/Presentation/NetworkProblems.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "Kestrelyne/Network/NetworkMonitor.hpp"
#include "Kestrelyne/Network/WholeNumber.hpp"

namespace kestrelyne {

namespace {

using Level = NetEvent::Level;

NetworkProblem onTheNetwork(Level level, std::string text) {
    return {.level = level, .area = NetworkProblem::Area::light, .text = std::move(text)};
}

}  // namespace

std::string_view word(NetworkProblem::Area area) { return area == NetworkProblem::Area::power ? "power" : "light"; }

NetworkProblems deviceProblems(const std::vector<NetDevice>& devices, const Reachability& reachability, base::SteadyTime now) {
    NetworkProblems problems;
    for (const auto& device : devices) {
        const auto* state = reachability.state(device.id);
        if (state != nullptr && state->online == false)
            problems.push_back(onTheNetwork(Level::alarm, fmt::format("{} ({}) nicht erreichbar", device.name, device.ip)));
    }
    const auto passing = reachability.passing(now);
    for (const bool outages : {true, false})
        for (const auto& finding : passing)
            if ((finding.level == Level::alarm) == outages) problems.push_back(onTheNetwork(finding.level, finding.text));
    return problems;
}

NetworkProblems universeProblems(const std::vector<UniverseState>& universes, base::SteadyTime now) {
    constexpr std::size_t pair = 2;
    NetworkProblems problems, crowds;
    for (const auto& universe : universes) {
        const auto rivals = universe.rivals(now);
        if (rivals.size() == pair)
            problems.push_back(
                onTheNetwork(Level::alarm, fmt::format("{} {}: Konflikt {} ↔ {}", text(universe.key.proto), universe.key.label(),
                                                       rivals.front()->name, rivals.back()->name)));
        else if (rivals.size() > pair)
            crowds.push_back(
                onTheNetwork(Level::alarm, fmt::format("{} Quellen gleicher Priorität ({})", rivals.size(), universe.key.label())));
    }
    std::ranges::move(crowds, std::back_inserter(problems));
    return problems;
}

NetworkProblems clockProblems(const std::vector<PTPDomainState>& domains) {
    NetworkProblems problems;
    for (const auto& domain : domains)
        if (domain.grandmasters().size() > 1)
            problems.push_back(onTheNetwork(Level::alarm, domain.label() + ": mehrere Grandmaster"));
    return problems;
}

NetworkProblems querierProblems(const std::vector<IGMPInterfaceState>& adapters) {
    NetworkProblems problems;
    for (const auto& adapter : adapters)
        if (adapter.missing) problems.push_back(onTheNetwork(Level::warning, "Kein IGMP-Querier auf " + adapter.displayName));
    return problems;
}

NetworkProblems switchProblems(const std::vector<NetDevice>& devices, const DeviceReadings& readings, const SwitchWatch& watch) {
    NetworkProblems problems;
    for (const auto& device : devices) {
        const auto reading = readings.find(device.id);
        if (reading == readings.end() || reading->second.snmp == nullptr) continue;
        for (const auto& detail : watch.standing(device.id, *reading->second.snmp))
            problems.push_back(onTheNetwork(Level::warning, device.name + ": " + detail));
    }
    return problems;
}

NetworkProblems upsProblems(const std::vector<NetDevice>& devices, const DeviceReadings& readings,
                            const std::vector<netcore::LocalUPS::Entry>& local) {
    NetworkProblems problems;
    const auto judge = [&problems](const std::string& name, const netcore::UPSStatus& status) {
        if (status.source != netcore::UPSStatus::Source::battery) return;
        auto text = "USV " + name + " auf Batterie";
        if (status.runtimeMinutes) text += " – " + wholeNumber(*status.runtimeMinutes) + " min";
        problems.push_back({.level = Level::alarm, .area = NetworkProblem::Area::power, .text = std::move(text)});
    };
    for (const auto& device : devices)
        if (const auto reading = readings.find(device.id); reading != readings.end() && reading->second.ups != nullptr)
            judge(device.name, *reading->second.ups);
    for (const auto& entry : local) judge(entry.name, entry.status);
    return problems;
}

NetworkProblems networkProblems(const NetworkMonitor& monitor, base::SteadyTime now) {
    if (!*monitor.isRunning()) return {};
    auto problems = deviceProblems(monitor.config()->devices, monitor.reachability(), now);
    const auto add = [&problems](NetworkProblems more) { std::ranges::move(more, std::back_inserter(problems)); };
    add(universeProblems(*monitor.lighting().universes(), now));
    add(clockProblems(*monitor.clocks().domains()));
    add(querierProblems(*monitor.queriers().igmp()));
    const auto& devices = monitor.config()->devices;
    const auto& snmp = monitor.snmp();
    add(switchProblems(devices, *snmp.readings(), snmp.switches()));
    add(upsProblems(devices, *snmp.readings(), *snmp.localUPS()));
    return problems;
}

}  // namespace kestrelyne
