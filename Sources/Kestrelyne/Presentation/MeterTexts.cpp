#include "Kestrelyne/Presentation/MeterTexts.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "Base/NumberText.hpp"
#include "MeterCore/JanitzaRegisterMap.hpp"
#include "MeterCore/ValueFormatter.hpp"

namespace kestrelyne {

namespace map = metercore::JanitzaRegisterMap;
namespace formatter = metercore::ValueFormatter;

namespace {

constexpr int staleIntervals = 3;
constexpr int activePowerSum = 19026, apparentPowerSum = 19034, frequency = 19050;
constexpr std::array<int, 3> voltages = {19000, 19002, 19004}, currents = {19012, 19014, 19016};

// Volts below 10 kV and amperes are never scaled, so one unit stands for all; an absent value has the plain one.
std::string joined(const metercore::ValueSet& values, std::span<const int> ids, metercore::MeasureUnit unit) {
    std::string text, unitText;
    for (const int id : ids) {
        const auto formatted = formatter::format(values.get(id), unit);
        if (!text.empty()) text += " / ";
        text += formatted.text;
        unitText = std::max(unitText, formatted.unit, [](const auto& a, const auto& b) { return a.size() < b.size(); });
    }
    return unitText.empty() ? text : text + " " + unitText;
}

}  // namespace

std::string statusText(const MonitorStatus& status) {
    switch (status.kind) {
        case MonitorStatus::Kind::error: return "Fehler: " + status.reason;
        case MonitorStatus::Kind::idle: return "getrennt";
        case MonitorStatus::Kind::connecting: return "verbinde …";
        case MonitorStatus::Kind::online: break;
    }
    return "verbunden";
}

std::string stateLine(const DeviceMonitor& monitor) {
    switch (monitor.status()->kind) {
        case MonitorStatus::Kind::error: return "Fehler: " + monitor.status()->reason;
        case MonitorStatus::Kind::idle: return "Getrennt – ⌘R zum Verbinden";
        case MonitorStatus::Kind::connecting: return "Verbinde …";
        case MonitorStatus::Kind::online: break;
    }
    return "Online · Intervall " + base::formatDecimal(monitor.device()->pollInterval, 1) + " s";
}

std::string ageText(base::Seconds age) {
    struct Step {
        double from, seconds;
        const char* unit;
    };
    constexpr std::array<Step, 4> steps = {{{172800, 86400, " d"}, {7200, 3600, " h"}, {120, 60, " min"}, {1, 1, " s"}}};
    for (const auto& step : steps)
        if (age.count() >= step.from)
            return "vor " + std::to_string(static_cast<long long>(age.count() / step.seconds)) + step.unit;
    return "gerade eben";
}

bool isStale(const DeviceMonitor& monitor) {
    if (monitor.status()->kind != MonitorStatus::Kind::online) return true;
    const auto age = monitor.age();
    const auto interval = std::max(base::Seconds(monitor.device()->pollInterval), DeviceMonitor::shortestInterval);
    return !age || *age > interval * staleIntervals;
}

std::optional<double> highestCurrent(const metercore::ValueSet& values) {
    std::optional<double> highest;
    for (const int id : currents)
        if (const auto value = values.get(id); value && std::isfinite(*value))
            highest = highest ? std::max(*highest, *value) : *value;
    return highest;
}

std::vector<KeyFigure> keyFigures(const DeviceMonitor& monitor) {
    using metercore::MeasureUnit;
    const auto& values = *monitor.values();
    const auto powerFactor = [&values]() -> std::optional<double> {
        if (const auto total = values.get(map::totalPowerFactor)) return total;
        const auto p = values.get(activePowerSum), s = values.get(apparentPowerSum);
        if (!p || !s || !(*s > 1)) return std::nullopt;
        return std::min(std::abs(*p) / *s, 1.0);
    }();
    return {{"P", formatter::string(values.get(activePowerSum), MeasureUnit::watt)},
            {"S", formatter::string(values.get(apparentPowerSum), MeasureUnit::voltAmpere)},
            {"I max", formatter::string(highestCurrent(values), MeasureUnit::ampere)},
            {"f", formatter::string(values.get(frequency), MeasureUnit::hertz)},
            {"cos φ", formatter::string(powerFactor, MeasureUnit::none)},
            {"Sternpunkt", formatter::string(values.get(802), MeasureUnit::volt)},
            {"Alarme", std::to_string(monitor.alarms().activeCount())}};
}

std::string valueTable(const DeviceMonitor& monitor) {
    std::string table = "Messwert\tAktuell\tMin\tMax\n";
    for (const auto& row : map::all()) {
        table += row.name();
        for (const auto& value :
             {monitor.values()->get(row.address), monitor.extremes()->min(row.address), monitor.extremes()->max(row.address)}) {
            table += '\t';
            table += formatter::string(value, row.unit, row.channel);
        }
        table += '\n';
    }
    return table;
}

std::vector<MenuRow> menuRows(const metercore::ValueSet& values) {
    using metercore::MeasureUnit;
    return {{"P Σ", joined(values, std::array{activePowerSum}, MeasureUnit::watt)},
            {"U L1 / L2 / L3", joined(values, voltages, MeasureUnit::volt)},
            {"I L1 / L2 / L3", joined(values, currents, MeasureUnit::ampere)},
            {"Frequenz", joined(values, std::array{frequency}, MeasureUnit::hertz)}};
}

std::string_view menuButton(const DeviceMonitor& monitor) { return monitor.isRunning() ? "Trennen" : "Verbinden"; }

std::vector<ActiveAlarm> activeAlarms(const AlarmEngine& alarms) {
    std::vector<ActiveAlarm> active;
    if (*alarms.commLost()) active.push_back({"Kommunikationsausfall", AlarmSeverity::alarm});
    for (const auto& rule : alarms.activeRules()) active.push_back({rule.summary(), rule.severity});
    return active;
}

std::string sidebarLine(std::size_t meters, int alarms) {
    return std::to_string(meters) + (meters == 1 ? " Messgerät · " : " Messgeräte · ") +
           (alarms == 0 ? "keine Alarme" : std::to_string(alarms) + (alarms == 1 ? " Alarm" : " Alarme"));
}

}  // namespace kestrelyne
