#pragma once
// One reading of an uninterruptible power supply, whatever it was read through.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Base/Clock.hpp"

namespace netcore {

struct UPSStatus {
    /// Where the output comes from.
    enum class Source { online, battery, bypass, boost, reducer, off, unknown };
    enum class Battery { normal, low, depleted, fault, unknown };

    std::string protocolName;  // "UPS-MIB (RFC 1628)" …
    std::string manufacturer, model;
    Source source = Source::unknown;
    Battery battery = Battery::unknown;
    std::optional<double> charge;              // %
    std::optional<double> runtimeMinutes;      // min
    std::optional<double> secondsOnBattery;    // s
    std::optional<double> batteryVoltage;      // V
    std::optional<double> batteryTemperature;  // °C
    std::vector<double> inputVoltage;          // V per phase
    std::optional<double> inputFrequency;      // Hz
    std::vector<double> outputVoltage;         // V per phase
    std::vector<double> outputCurrent;         // A per phase
    std::vector<double> outputPowerW;          // W per phase
    std::vector<double> load;                  // % per phase
    std::optional<double> outputFrequency;     // Hz
    int alarmCount = 0;                        // active alarms that the UPS reports
    base::Moment time;
    bool loadAnswered = true;  // false: the table of the load was asked and not answered, so that silence is not taken for no load

    /// The largest of `load`; absent without any.
    std::optional<double> maxLoad() const;
};

/// "Netzbetrieb", "Batteriebetrieb" …
std::string_view text(UPSStatus::Source source);
/// "normal", "schwach" …
std::string_view text(UPSStatus::Battery battery);

}  // namespace netcore
