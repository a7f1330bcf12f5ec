#include "NetCore/NUTFacts.hpp"

#include <algorithm>

#include "Base/Text.hpp"

namespace netcore {

namespace {

constexpr double secondsPerMinute = 60;

// Variables and status words as RFC 9271, appendix A, has them.
class Variables {
public:
    explicit Variables(const NUTDevice& device) : variables_(device.variables) {}

    std::string_view raw(const std::string& name) const {
        const auto found = variables_.find(name);
        return found == variables_.end() ? std::string_view() : std::string_view(found->second);
    }
    /// The first of two names that holds something.
    std::string text(const std::string& name, const std::string& older) const {
        auto first = deviceText(raw(name));
        return first.empty() ? deviceText(raw(older)) : first;
    }
    std::optional<double> number(const std::string& name) const { return base::parseDouble(base::trimmed(raw(name))); }
    bool hasStatus(std::string_view word) const {
        const auto words = base::split(raw("ups.status"), ' ', false);
        return std::ranges::find(words, word) != words.end();
    }

private:
    const std::map<std::string, std::string>& variables_;
};

UPSStatus::Source sourceOf(const Variables& variables) {
    if (variables.hasStatus("OB")) return UPSStatus::Source::battery;
    return variables.hasStatus("OL") ? UPSStatus::Source::online : UPSStatus::Source::unknown;
}

UPSStatus::Battery batteryOf(const Variables& variables, std::optional<double> charge) {
    if (variables.hasStatus("RB")) return UPSStatus::Battery::fault;
    const auto low = variables.number("battery.charge.low");
    const bool isLow = variables.hasStatus("LB") || (charge && low && *charge <= *low);
    return isLow ? UPSStatus::Battery::low : UPSStatus::Battery::normal;
}

}  // namespace

std::optional<LocalUPSFinding> nutFinding(const NUTDevice& device, const base::Moment& time) {
    const Variables variables(device);
    if (const auto type = variables.raw("device.type"); !type.empty() && type != "ups") return std::nullopt;
    UPSStatus status;
    status.time = time;
    status.protocolName = "NUT";
    status.manufacturer = variables.text("device.mfr", "ups.mfr");
    status.model = variables.text("device.model", "ups.model");
    if (status.model.empty()) status.model = namelessUPS;
    status.charge = variables.number("battery.charge");
    if (const auto seconds = variables.number("battery.runtime"); seconds && *seconds >= 0)
        status.runtimeMinutes = *seconds / secondsPerMinute;
    status.source = sourceOf(variables);
    status.battery = batteryOf(variables, status.charge);
    if (const auto volts = variables.number("battery.voltage"); volts && *volts > 0) status.batteryVoltage = volts;
    auto name = status.model;
    return LocalUPSFinding{"nut " + device.name, std::move(name), std::move(status)};
}

}  // namespace netcore
