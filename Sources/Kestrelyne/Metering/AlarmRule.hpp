#pragma once
// A threshold rule of a meter, the settings it belongs to, and an entry of the meter's alarm log; with their stored forms.

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Base/Clock.hpp"
#include "Base/UUID.hpp"
#include "MeterCore/MeasuredValue.hpp"

namespace kestrelyne {

enum class AlarmCondition { above, below };
/// "größer als", "kleiner als": the caption, and the stored form.
std::string_view text(AlarmCondition condition);

enum class AlarmSeverity { warning, alarm };
/// "Warnung", "Alarm": the caption, and the stored form.
std::string_view text(AlarmSeverity severity);

struct AlarmRule {
    base::UUID id = base::UUID::random();
    bool enabled = true;
    int address = 19026;  // measurement id
    AlarmCondition condition = AlarmCondition::above;
    double threshold = 0;   // in the base unit of the measurement
    double hysteresis = 0;  // distance back from the limit
    double delay = 5;       // seconds for which a change must stand, coming and going
    AlarmSeverity severity = AlarmSeverity::alarm;
    bool notify = true;       // post a notice and push
    bool sound = true;        // be heard when it comes
    std::string note;         // added to the texts in brackets
    double displayScale = 1;  // the editor shows threshold and hysteresis divided by it: 1000 shows kW for W

    bool operator==(const AlarmRule&) const = default;

    /// The row of the register table; nullptr for an address outside it.
    const metercore::MeasuredValue* measurement() const;
    /// "Frequenz … > 50,500 Hz"; "Register <address>" for an address outside the table.
    std::string summary() const;
};

struct AlarmConfig {
    std::vector<AlarmRule> rules;
    bool commLossEnabled = true;
    double commLossDelay = 10;  // s

    bool operator==(const AlarmConfig&) const = default;
};

struct AlarmEvent {
    enum class Kind { raised, cleared, commLost, commRestored };

    base::UUID id = base::UUID::random();
    base::WallTime date;
    std::optional<base::UUID> ruleID;  // none for events of the communication
    Kind kind = Kind::raised;
    AlarmSeverity severity = AlarmSeverity::alarm;
    std::string text;
    bool acknowledged = false;

    bool operator==(const AlarmEvent&) const = default;

    bool isRaise() const { return kind == Kind::raised || kind == Kind::commLost; }
    /// "Info" for an ending, else "Alarm" or "Warnung".
    std::string_view level() const;
    /// The text, with "Behoben: " before that of an ending: as records and lists show it.
    std::string recordText() const;
};

/// Every key is required; throws base::DecodeError otherwise. Of several rules with one id the first counts.
AlarmConfig decodeAlarmConfig(std::string_view bytes);
std::string encodeAlarmConfig(const AlarmConfig& config);
/// The stored log, newest first.
std::vector<AlarmEvent> decodeAlarmLog(std::string_view bytes);
/// One entry as it stands in the stored log.
std::string encodeAlarmEvent(const AlarmEvent& event);

}  // namespace kestrelyne
