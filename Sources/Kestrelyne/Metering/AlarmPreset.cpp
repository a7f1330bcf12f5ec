#include "Kestrelyne/Metering/AlarmPreset.hpp"

#include <array>

namespace kestrelyne {

namespace {

using enum AlarmCondition;
using enum AlarmSeverity;

struct Row {
    AlarmPreset preset;
    std::string_view title;
    std::vector<int> addresses;
    AlarmCondition condition;
    double threshold, hysteresis, delay;
    AlarmSeverity severity;
    std::string_view note = "";
    double displayScale = 1;
};

// A preset with two rows has the rules of both; the first row's title counts.
const std::vector<Row>& table() {
    static const std::vector<Row> rows = {
        {AlarmPreset::overvoltage, "Überspannung L-N > 253 V (+10 %)", {19000, 19002, 19004}, above, 253, 2, 10, alarm},
        {AlarmPreset::undervoltage, "Unterspannung L-N < 207 V (−10 %)", {19000, 19002, 19004}, below, 207, 2, 10, alarm},
        {AlarmPreset::frequency, "Frequenz außerhalb 49,5 … 50,5 Hz", {19050}, above, 50.5, 0.05, 5, alarm},
        {AlarmPreset::frequency, "", {19050}, below, 49.5, 0.05, 5, alarm},
        {AlarmPreset::thdU, "THD Spannung > 8 % (EN 50160)", {19110, 19112, 19114}, above, 8, 0.5, 60, warning},
        {AlarmPreset::powerFactor, "cos φ < 0,9", {19044, 19046, 19048}, below, 0.9, 0.02, 60, warning},
        {AlarmPreset::overcurrent, "Überstrom (Grenzwert anpassen)", {19012, 19014, 19016}, above, 63, 2, 5, alarm},
        {AlarmPreset::neutral, "N-Leiterstrom > 20 A", {19018}, above, 20, 2, 10, warning},
        {AlarmPreset::starPoint, "Sternpunktverschiebung U0 > 5 V", {802}, above, 5, 1, 5, alarm, "N-Leiter prüfen"},
        {AlarmPreset::unbalance, "Spannungsunsymmetrie > 2 % (EN 50160)", {90000}, above, 2, 0.2, 60, warning},
        {AlarmPreset::rcm, "Differenzstrom (RCM) > 30 mA", {10873, 10875}, above, 0.03, 0.005, 1, alarm},
        {AlarmPreset::power, "Wirkleistung Σ > 50 kW (Grenzwert anpassen)", {19026}, above, 50000, 2000, 10, warning, "", 1000},
    };
    return rows;
}

constexpr std::array all = {AlarmPreset::overvoltage, AlarmPreset::undervoltage, AlarmPreset::frequency, AlarmPreset::thdU,
                            AlarmPreset::powerFactor, AlarmPreset::overcurrent,  AlarmPreset::neutral,   AlarmPreset::starPoint,
                            AlarmPreset::unbalance,   AlarmPreset::rcm,          AlarmPreset::power};

}  // namespace

std::span<const AlarmPreset> allAlarmPresets() { return all; }

std::string_view title(AlarmPreset preset) {
    for (const auto& row : table())
        if (row.preset == preset) return row.title;
    return {};
}

std::vector<AlarmRule> rules(AlarmPreset preset) {
    std::vector<AlarmRule> result;
    for (const auto& row : table()) {
        if (row.preset != preset) continue;
        for (const int address : row.addresses) {
            AlarmRule rule;
            rule.address = address;
            rule.condition = row.condition;
            rule.threshold = row.threshold;
            rule.hysteresis = row.hysteresis;
            rule.delay = row.delay;
            rule.severity = row.severity;
            rule.note = row.note;
            rule.displayScale = row.displayScale;
            result.push_back(std::move(rule));
        }
    }
    return result;
}

}  // namespace kestrelyne
