#pragma once
// Which firmware and software runs where, as far as anybody tells it.

#include <string>
#include <vector>

#include "Kestrelyne/Network/BonjourBrowser.hpp"
#include "Kestrelyne/Network/DeviceReadings.hpp"
#include "Kestrelyne/Network/LightingStates.hpp"
#include "Kestrelyne/Network/NetDevice.hpp"

namespace kestrelyne {

class NetworkMonitor;

struct VersionInfo {
    std::string device, ip;
    std::string source;   // "Art-Net", "SNMP", "SNMP (USV)", "Bonjour osc", "MA-Net3"
    std::string version;  // foreign text
    bool operator==(const VersionInfo&) const = default;
};
using Versions = std::vector<VersionInfo>;

/// By device, then by source; all by their bytes. Main thread.
Versions versions(const NetworkMonitor& monitor);

/// Pure pieces, each in the order of its list.
Versions nodeVersions(const std::vector<ArtNodeState>& nodes);
Versions switchVersions(const std::vector<NetDevice>& devices, const DeviceReadings& readings);
Versions upsVersions(const std::vector<NetDevice>& devices, const DeviceReadings& readings);
Versions serviceVersions(const std::vector<BonjourBrowser::Service>& services);
Versions stationVersions(const std::vector<MANetStation>& stations);

}  // namespace kestrelyne
