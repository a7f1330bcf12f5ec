#pragma once
// Ready-made sets of alarm rules.

#include <span>
#include <string_view>
#include <vector>

#include "Kestrelyne/Metering/AlarmRule.hpp"

namespace kestrelyne {

enum class AlarmPreset {
    overvoltage,
    undervoltage,
    frequency,
    thdU,
    powerFactor,
    overcurrent,
    neutral,
    starPoint,
    unbalance,
    rcm,
    power
};

/// All presets in the order in which they are offered.
std::span<const AlarmPreset> allAlarmPresets();
/// "Überspannung L-N > 253 V (+10 %)".
std::string_view title(AlarmPreset preset);
/// New rules, each with an id of its own.
std::vector<AlarmRule> rules(AlarmPreset preset);

}  // namespace kestrelyne
