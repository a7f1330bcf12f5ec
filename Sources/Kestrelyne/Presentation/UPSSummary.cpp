#include "Kestrelyne/Presentation/UPSSummary.hpp"

#include "Base/Text.hpp"
#include "Kestrelyne/Network/NetworkMonitor.hpp"

namespace kestrelyne {

namespace {

void fill(UPSSummary& summary, const netcore::UPSStatus& status) {
    summary.source = text(status.source);
    summary.battery = text(status.battery);
    summary.charge = status.charge;
    summary.runtime = status.runtimeMinutes;
    summary.load = status.maxLoad();
    summary.onBattery = status.source == netcore::UPSStatus::Source::battery;
    // Some models name their maker themselves.
    const bool namesMaker = base::lowerASCII(status.model).starts_with(base::lowerASCII(status.manufacturer));
    summary.model = namesMaker ? status.model : std::string(base::trimmed(status.manufacturer + " " + status.model));
    summary.protocol = status.protocolName;
}

}  // namespace

std::vector<UPSSummary> upsSummaries(const NetworkMonitor* monitor) {
    std::vector<UPSSummary> summaries;
    if (monitor == nullptr) return summaries;
    const netcore::UPSStatus unread;
    for (const auto& device : monitor->config()->devices) {
        if (device.role != NetDeviceRole::ups || !device.snmp) continue;
        auto& summary = summaries.emplace_back();
        summary.name = device.name;
        summary.ip = device.ip;
        if (const auto* state = monitor->reachability().state(device.id)) summary.online = state->online;
        const auto* reading = monitor->snmp().reading(device.id);
        fill(summary, reading != nullptr && reading->ups != nullptr ? *reading->ups : unread);
        if (reading != nullptr) summary.error = reading->snmpError;
    }
    for (const auto& entry : *monitor->snmp().localUPS()) {
        auto& summary = summaries.emplace_back();
        summary.name = entry.name;
        fill(summary, entry.status);
        summary.local = true;
    }
    return summaries;
}

}  // namespace kestrelyne
