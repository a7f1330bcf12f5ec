#pragma once
// The UPSs in a line each, as every face lists them.

#include <optional>
#include <string>
#include <vector>

namespace kestrelyne {

class NetworkMonitor;

struct UPSSummary {
    std::string name;
    std::string ip;                   // empty for one attached to this computer
    std::optional<bool> online{};     // by its answers to pings; none before the first verdict
    std::string source;               // "Netzbetrieb", "Batteriebetrieb", …, "unbekannt"
    std::string battery;              // "normal", "schwach", …, "unbekannt"
    std::optional<double> charge{};   // %
    std::optional<double> runtime{};  // min
    std::optional<double> load{};     // %, of the phase with the highest
    bool onBattery = false;
    std::optional<std::string> error{};  // why the last reading failed; the rest is that of the reading before
    std::string model, protocol;
    bool local = false;  // attached to this computer
    bool operator==(const UPSSummary&) const = default;
};

/// The watched ones that are asked over SNMP in the order of the list, then those of this computer. None without a monitor. Main
/// thread.
std::vector<UPSSummary> upsSummaries(const NetworkMonitor* monitor);

}  // namespace kestrelyne
