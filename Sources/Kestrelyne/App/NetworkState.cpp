#include "Kestrelyne/App/NetworkState.hpp"

#include <algorithm>

#include "Base/JSONFields.hpp"
#include "Kestrelyne/Network/Versions.hpp"
#include "Kestrelyne/Presentation/NetworkProblems.hpp"

namespace kestrelyne {

namespace {

using base::JSON;

template <class T>
JSON orNull(const std::optional<T>& value) {
    return value ? JSON(*value) : JSON(nullptr);
}

double secondsBetween(base::SteadyTime from, base::SteadyTime to) { return std::max(base::Seconds(to - from).count(), 0.0); }

JSON universeState(const UniverseState& universe, base::SteadyTime now) {
    const auto active = universe.activeSources(now);
    auto senders = JSON::array();
    for (const auto& source : universe.sources)
        senders.push_back({{"name", source.name},
                           {"ip", source.ip},
                           {"fps", source.fps},
                           {"priority", orNull(source.priority)},
                           {"interface", source.interface},
                           {"active", std::ranges::find(active, &source) != active.end()}});
    return {{"proto", text(universe.key.proto)},   {"universe", universe.key.number}, {"label", universe.key.label()},
            {"status", statusWord(universe, now)}, {"senders", std::move(senders)},   {"receivers", universe.receivers}};
}

JSON deviceState(const NetDevice& device, const DeviceState& state, base::SteadyTime now) {
    JSON json;
    to_json(json, device);
    json["roleLabel"] = label(device.role);
    json["online"] = orNull(state.online);
    json["latency"] = orNull(state.latency);
    json["failures"] = state.failures;
    json["offlineFor"] = state.offlineSince ? JSON(secondsBetween(state.offlineSince->steady, now)) : JSON(nullptr);
    return json;
}

JSON readingState(const DeviceReading& reading) {
    JSON json = {
        {"snmpError", orNull(reading.snmpError)}, {"ports", nullptr}, {"temp", orNull(reading.temperature())}, {"ups", nullptr}};
    if (reading.snmp != nullptr) {
        const auto& ports = reading.snmp->ports;
        json["ports"] = {{"up", std::ranges::count_if(ports, &netcore::SwitchStatus::Port::up)}, {"total", ports.size()}};
    }
    if (reading.ups != nullptr)
        json["ups"] = {{"source", text(reading.ups->source)},
                       {"charge", orNull(reading.ups->charge)},
                       {"runtime", orNull(reading.ups->runtimeMinutes)},
                       {"load", orNull(reading.ups->maxLoad())}};
    return json;
}

}  // namespace

JSON networkState(const NetworkMonitor& network) {
    const auto now = network.clock().steadyNow();
    const auto& config = *network.config();
    const auto& universes = *network.lighting().universes();
    auto adapters = JSON::array();
    for (const auto& adapter : network.adapters().active(config))
        adapters.push_back(Adapters::labelOf(adapter, config) + " " + adapter.subnet());
    const auto online = std::ranges::count_if(config.devices, [&](const NetDevice& device) {
        const auto* state = network.reachability().state(device.id);
        return state != nullptr && state->online == true;
    });
    auto problems = JSON::array();
    for (const auto& problem : networkProblems(network, now))
        problems.push_back({{"level", word(problem.level)}, {"area", word(problem.area)}, {"text", problem.text}});
    const auto health = network.health();
    return {{"running", *network.isRunning()},
            {"autoStart", config.autoStart},
            {"adapters", std::move(adapters)},
            {"universes", universes.size()},
            {"conflicts", std::ranges::count_if(universes, [now](const auto& universe) { return universe.hasConflict(now); })},
            {"nodes", network.lighting().artNodes()->size()},
            {"devices", {{"online", online}, {"total", config.devices.size()}}},
            {"problems", std::move(problems)},
            {"dropped", health.dropped},
            {"refused", health.refused},
            {"errors", *network.errors()}};
}

JSON universeStates(const NetworkMonitor& network) {
    const auto now = network.clock().steadyNow();
    auto universes = JSON::array();
    for (const auto& universe : *network.lighting().universes()) universes.push_back(universeState(universe, now));
    return {{"running", *network.isRunning()}, {"universes", std::move(universes)}};
}

JSON deviceStates(const NetConfig& config, const DeviceStates& states, const DeviceReadings& readings, base::SteadyTime now) {
    auto devices = JSON::array();
    for (const auto& device : config.devices) {
        const auto state = states.find(device.id);
        const auto reading = readings.find(device.id);
        auto json = deviceState(device, state == states.end() ? DeviceState{} : state->second, now);
        json.update(readingState(reading == readings.end() ? DeviceReading{} : reading->second));
        devices.push_back(std::move(json));
    }
    return {{"devices", std::move(devices)}};
}

JSON versionList(const NetworkMonitor& network) {
    auto list = JSON::array();
    for (const auto& info : versions(network))
        list.push_back({{"device", info.device}, {"ip", info.ip}, {"source", info.source}, {"version", info.version}});
    return {{"versions", std::move(list)}};
}

JSON adapterStates(const std::vector<netcore::NetInterface>& interfaces, const NetConfig& config) {
    Adapters adapters;
    adapters.set(interfaces);
    const auto active = adapters.active(config);
    auto list = JSON::array();
    for (const auto& adapter : interfaces)
        list.push_back({{"name", adapter.name},
                        {"displayName", adapter.displayName},
                        {"label", Adapters::labelOf(adapter, config)},
                        {"address", adapter.address},
                        {"subnet", adapter.subnet()},
                        {"role", text(Adapters::roleOf(adapter, config))},
                        {"used", std::ranges::find(active, adapter) != active.end()},
                        {"pointToPoint", adapter.isPointToPoint}});
    return {{"adapters", std::move(list)}};
}

JSON monitorFields(const NetConfig& config) {
    auto fields = JSON::array();
    for (const auto& [name, value] : netFields(config)) fields.push_back({{"name", name}, {"value", value}});
    return {{"fields", std::move(fields)}};
}

JSON knownAddresses(const NetConfig& config) {
    auto known = JSON::array();
    for (const auto& [mac, since] : config.knownMACs) known.push_back({{"mac", mac}, {"since", since}});
    return {{"known", std::move(known)}};
}

}  // namespace kestrelyne
