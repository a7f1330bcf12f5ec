#include "Kestrelyne/Network/DeviceReadings.hpp"

#include <algorithm>
#include <unordered_map>

namespace kestrelyne {

namespace {

constexpr base::Seconds shortestSpan{1};  // two readings at once make no rate of millions
constexpr double bitsPerOctet = 8;

}  // namespace

std::optional<double> DeviceReading::temperature() const {
    if (ups != nullptr) return ups->batteryTemperature;
    if (snmp == nullptr || snmp->temperatures.empty()) return std::nullopt;
    return std::ranges::max(snmp->temperatures, {}, &netcore::SwitchStatus::Sensor::celsius).celsius;
}

netcore::SwitchStatus completed(netcore::SwitchStatus status, const netcore::SwitchStatus& before) {
    if (!status.portsAnswered) {
        status.ports = before.ports;
        status.countersAnswered = false;  // those of another time
        return status;
    }
    if (status.portStatesAnswered) return status;
    std::unordered_map<int, bool> wasUp;
    for (const auto& port : before.ports) wasUp.emplace(port.index, port.up);
    for (auto& port : status.ports)
        if (const auto known = wasUp.find(port.index); known != wasUp.end()) port.up = known->second;
    return status;
}

PortRates portRates(const netcore::SwitchStatus& before, const netcore::SwitchStatus& after, const PortRates& standing) {
    std::unordered_map<int, const netcore::SwitchStatus::Port*> old;
    for (const auto& port : before.ports) old.emplace(port.index, &port);
    const bool comparable = before.countersAnswered && after.countersAnswered;
    const auto span = std::max(base::Seconds(after.time.steady - before.time.steady), shortestSpan).count();
    const auto rate = [span](std::uint64_t from, std::uint64_t to) { return static_cast<double>(to - from) * bitsPerOctet / span; };
    PortRates rates;
    for (const auto& port : after.ports) {
        const auto known = old.find(port.index);
        const auto* last = known == old.end() ? nullptr : known->second;
        if (comparable && last != nullptr && port.inOctets >= last->inOctets && port.outOctets >= last->outOctets)
            rates[port.index] = {.inBps = rate(last->inOctets, port.inOctets), .outBps = rate(last->outOctets, port.outOctets)};
        else if (const auto kept = standing.find(port.index); kept != standing.end())
            rates.insert(*kept);
    }
    return rates;
}

}  // namespace kestrelyne
