#pragma once
// What every face says of a meter: state lines, key figures, the table as text, rows of the menu panel, ages.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Base/Clock.hpp"
#include "Kestrelyne/Metering/AlarmRule.hpp"
#include "Kestrelyne/Metering/DeviceMonitor.hpp"

namespace kestrelyne {

/// "verbunden", "verbinde …", "getrennt", "Fehler: <reason>".
std::string statusText(const MonitorStatus& status);
/// The line under a meter's name: "Online · Intervall 1,0 s", "Verbinde …", "Getrennt – ⌘R zum Verbinden", "Fehler: <reason>".
std::string stateLine(const DeviceMonitor& monitor);
/// "vor 12 s", "vor 3 min", "vor 2 h", "vor 4 d"; "gerade eben" below one second.
std::string ageText(base::Seconds age);
/// A reading older than three intervals is shown as stale; so is everything of a meter that is not online.
bool isStale(const DeviceMonitor& monitor);

/// One figure of the strip above the live view.
struct KeyFigure {
    std::string_view caption;
    std::string text;  // with its unit; "–" when there is none
};
/// P, S, I max, f, cos φ, star point, alarms.
std::vector<KeyFigure> keyFigures(const DeviceMonitor& monitor);
/// The largest of the three phase currents; absent when none is finite.
std::optional<double> highestCurrent(const metercore::ValueSet& values);

/// All values of the register table with current, lowest and highest value: lines of cells divided by tabs, to be copied.
std::string valueTable(const DeviceMonitor& monitor);

/// A line of the menu panel: caption and values.
struct MenuRow {
    std::string_view caption;
    std::string text;
};
/// "P Σ", "U L1 / L2 / L3", "I L1 / L2 / L3", "Frequenz": several values joined by " / ", the unit once at the end.
std::vector<MenuRow> menuRows(const metercore::ValueSet& values);
/// "Trennen" while the meter is polled, else "Verbinden".
std::string_view menuButton(const DeviceMonitor& monitor);

/// What is wrong with a meter now.
struct ActiveAlarm {
    std::string text;
    AlarmSeverity severity;
};
/// "Kommunikationsausfall" first, then the active rules in their order.
std::vector<ActiveAlarm> activeAlarms(const AlarmEngine& alarms);

/// "<n> Messgeräte · <alarms>" for the side bar: "2 Messgeräte · 1 Alarm", "1 Messgerät · keine Alarme".
std::string sidebarLine(std::size_t meters, int alarms);

}  // namespace kestrelyne
