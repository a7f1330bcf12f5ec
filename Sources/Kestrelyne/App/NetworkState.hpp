#pragma once
// What the program knows of the show network, as its control socket answers it.

#include <nlohmann/json_fwd.hpp>
#include <vector>

#include "Kestrelyne/Network/NetworkMonitor.hpp"

namespace kestrelyne {

/// "running", "autoStart", "adapters" in use (texts), "universes", "conflicts", "nodes", "devices" ("online", "total"), "problems"
/// ("level", "area", "text"), "dropped" datagrams (lost in our own buffers), "refused" (beyond the limits of what is kept),
/// "errors" (texts).
nlohmann::json networkState(const NetworkMonitor& network);
/// "running" and "universes": "proto", "universe", "label", "status" (conflict, ok, lost, none), "senders" ("name", "ip", "fps",
/// "priority", "interface", "active"), "receivers".
nlohmann::json universeStates(const NetworkMonitor& network);

/// "devices", each as it is stored, with "roleLabel"; with states also "online", "latency" (s), "failures", "offlineFor" (s); with
/// readings "snmpError" (text), "ports" ("up", "total"), "temp" (°C), "ups" ("source", "charge" %, "runtime" min, "load" %). Those
/// are null or 0 as long as nothing is known.
nlohmann::json deviceStates(const NetConfig& config, const DeviceStates& states, const DeviceReadings& readings,
                            base::SteadyTime now);
/// "versions": a list of "device", "ip", "source" and "version".
nlohmann::json versionList(const NetworkMonitor& network);
/// "adapters": "name", "displayName", "label", "address", "subnet", "role" (text), "used", "pointToPoint".
nlohmann::json adapterStates(const std::vector<netcore::NetInterface>& interfaces, const NetConfig& config);
/// "fields": a list of "name" and "value", both texts.
nlohmann::json monitorFields(const NetConfig& config);
/// "known": a list of "mac" and "since" (text: seconds since 1970).
nlohmann::json knownAddresses(const NetConfig& config);

}  // namespace kestrelyne
