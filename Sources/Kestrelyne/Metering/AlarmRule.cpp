#include "Kestrelyne/Metering/AlarmRule.hpp"

#include <array>
#include <set>
#include <utility>

#include "Base/JSONFields.hpp"
#include "MeterCore/JanitzaRegisterMap.hpp"
#include "MeterCore/ValueFormatter.hpp"

namespace kestrelyne {

namespace {

template <class Enum, std::size_t count>
using Texts = std::array<std::pair<Enum, std::string_view>, count>;

constexpr Texts<AlarmCondition, 2> conditionTexts = {
    {{AlarmCondition::above, "größer als"}, {AlarmCondition::below, "kleiner als"}}};
constexpr Texts<AlarmSeverity, 2> severityTexts = {{{AlarmSeverity::warning, "Warnung"}, {AlarmSeverity::alarm, "Alarm"}}};
constexpr Texts<AlarmEvent::Kind, 4> kindTexts = {{{AlarmEvent::Kind::raised, "raised"},
                                                   {AlarmEvent::Kind::cleared, "cleared"},
                                                   {AlarmEvent::Kind::commLost, "commLost"},
                                                   {AlarmEvent::Kind::commRestored, "commRestored"}}};

template <class Enum, std::size_t count>
Enum decodeEnum(const Texts<Enum, count>& texts, const base::JSON& value) {
    const auto given = base::asText(value);
    for (const auto& [entry, label] : texts)
        if (label == given) return entry;
    throw base::DecodeError("unknown text " + given);
}

AlarmRule decodeRule(const base::JSON& json) {
    const auto address = base::asInteger(base::required(json, "address"));
    if (!std::in_range<int>(address)) throw base::DecodeError("address out of range");
    AlarmRule rule;
    rule.id = base::asUUID(base::required(json, "id"));
    rule.enabled = base::asBool(base::required(json, "enabled"));
    rule.address = static_cast<int>(address);
    rule.condition = decodeEnum(conditionTexts, base::required(json, "condition"));
    rule.threshold = base::asNumber(base::required(json, "threshold"));
    rule.hysteresis = base::asNumber(base::required(json, "hysteresis"));
    rule.delay = base::asNumber(base::required(json, "delay"));
    rule.severity = decodeEnum(severityTexts, base::required(json, "severity"));
    rule.notify = base::asBool(base::required(json, "notify"));
    rule.sound = base::asBool(base::required(json, "sound"));
    rule.note = base::asText(base::required(json, "note"));
    rule.displayScale = base::asNumber(base::required(json, "displayScale"));
    return rule;
}

base::JSON encodeRule(const AlarmRule& rule) {
    return {{"id", rule.id.text()},        {"enabled", rule.enabled},
            {"address", rule.address},     {"condition", text(rule.condition)},
            {"threshold", rule.threshold}, {"hysteresis", rule.hysteresis},
            {"delay", rule.delay},         {"severity", text(rule.severity)},
            {"notify", rule.notify},       {"sound", rule.sound},
            {"note", rule.note},           {"displayScale", rule.displayScale}};
}

AlarmEvent decodeEvent(const base::JSON& json) {
    AlarmEvent event;
    event.id = base::asUUID(base::required(json, "id"));
    event.date = base::asDate(base::required(json, "date"));
    if (const auto* rule = base::member(json, "ruleID")) event.ruleID = base::asUUID(*rule);
    event.kind = decodeEnum(kindTexts, base::required(json, "kind"));
    event.severity = decodeEnum(severityTexts, base::required(json, "severity"));
    event.text = base::asText(base::required(json, "text"));
    event.acknowledged = base::asBool(base::required(json, "acknowledged"));
    return event;
}

}  // namespace

std::string_view text(AlarmCondition condition) { return conditionTexts[static_cast<std::size_t>(condition)].second; }
std::string_view text(AlarmSeverity severity) { return severityTexts[static_cast<std::size_t>(severity)].second; }

const metercore::MeasuredValue* AlarmRule::measurement() const { return metercore::JanitzaRegisterMap::byAddress(address); }

std::string AlarmRule::summary() const {
    const auto* row = measurement();
    if (row == nullptr) return "Register " + std::to_string(address);
    return row->name() + (condition == AlarmCondition::above ? " > " : " < ") +
           metercore::ValueFormatter::string(threshold, row->unit);
}

std::string_view AlarmEvent::level() const { return isRaise() ? kestrelyne::text(severity) : "Info"; }

std::string AlarmEvent::recordText() const { return isRaise() ? text : "Behoben: " + text; }

AlarmConfig decodeAlarmConfig(std::string_view bytes) {
    const auto json = base::parseJSON(bytes);
    AlarmConfig config;
    const auto& rules = base::required(json, "rules");
    if (!rules.is_array()) throw base::DecodeError("no list of rules");
    std::set<base::UUID> known;
    for (const auto& element : rules) {
        auto rule = decodeRule(element);
        // Two rules with one id would share a state and raise and clear each other at every reading.
        if (known.insert(rule.id).second) config.rules.push_back(std::move(rule));
    }
    config.commLossEnabled = base::asBool(base::required(json, "commLossEnabled"));
    config.commLossDelay = base::asNumber(base::required(json, "commLossDelay"));
    return config;
}

std::string encodeAlarmConfig(const AlarmConfig& config) {
    auto rules = base::JSON::array();
    for (const auto& rule : config.rules) rules.push_back(encodeRule(rule));
    return base::dump(
        base::JSON{{"rules", rules}, {"commLossEnabled", config.commLossEnabled}, {"commLossDelay", config.commLossDelay}});
}

std::vector<AlarmEvent> decodeAlarmLog(std::string_view bytes) {
    const auto json = base::parseJSON(bytes);
    if (!json.is_array()) throw base::DecodeError("no list of events");
    std::vector<AlarmEvent> events;
    for (const auto& event : json) events.push_back(decodeEvent(event));
    return events;
}

std::string encodeAlarmEvent(const AlarmEvent& event) {
    base::JSON json{{"id", event.id.text()},
                    {"date", base::secondsSince2001(event.date)},
                    {"kind", kindTexts[static_cast<std::size_t>(event.kind)].second},
                    {"severity", text(event.severity)},
                    {"text", event.text},
                    {"acknowledged", event.acknowledged}};
    if (event.ruleID) json["ruleID"] = event.ruleID->text();
    return base::dump(json);
}

}  // namespace kestrelyne
