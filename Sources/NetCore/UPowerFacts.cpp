#include "NetCore/UPowerFacts.hpp"

#include <cmath>

namespace netcore {

namespace {

constexpr std::uint32_t typeUPS = 3;
enum State : std::uint32_t { charging = 1, discharging = 2, empty = 3, full = 4, pendingCharge = 5 };
constexpr std::uint32_t warningLow = 3;
constexpr double secondsPerMinute = 60;

// About to discharge says nothing of the mains.
UPSStatus::Source sourceOf(std::uint32_t state) {
    switch (state) {
        case discharging:
        case empty: return UPSStatus::Source::battery;
        case charging:
        case full:
        case pendingCharge: return UPSStatus::Source::online;
        default: return UPSStatus::Source::unknown;
    }
}

}  // namespace

std::optional<LocalUPSFinding> upowerFinding(const UPowerDevice& device, const base::Moment& time) {
    if (device.type != typeUPS) return std::nullopt;
    UPSStatus status;
    status.time = time;
    status.protocolName = "USB (UPower)";
    status.manufacturer = deviceText(device.vendor);
    status.model = deviceText(device.model);
    if (status.model.empty()) status.model = namelessUPS;
    if (device.percentage && std::isfinite(*device.percentage)) status.charge = device.percentage;
    if (device.timeToEmpty > 0) status.runtimeMinutes = static_cast<double>(device.timeToEmpty) / secondsPerMinute;
    status.source = sourceOf(device.state);
    status.battery = device.warningLevel >= warningLow ? UPSStatus::Battery::low : UPSStatus::Battery::normal;
    if (std::isfinite(device.voltage) && device.voltage > 0) status.batteryVoltage = device.voltage;
    auto name = status.model;
    return LocalUPSFinding{"upower " + device.path, std::move(name), std::move(status)};
}

}  // namespace netcore
