#include "Kestrelyne/Metering/AlarmEngine.hpp"

#include <algorithm>
#include <cmath>

#include "Base/JSONFields.hpp"
#include "MeterCore/ValueFormatter.hpp"

namespace kestrelyne {

namespace {

// A value equal to the threshold is no violation; the far edge of the hysteresis band clears.
bool callsForChange(const AlarmRule& rule, bool active, double value) {
    if (rule.condition == AlarmCondition::above) return active ? value <= rule.threshold - rule.hysteresis : value > rule.threshold;
    return active ? value >= rule.threshold + rule.hysteresis : value < rule.threshold;
}

std::string_view kindCaption(AlarmEvent::Kind kind) {
    switch (kind) {
        case AlarmEvent::Kind::raised: return "Kommt";
        case AlarmEvent::Kind::cleared: return "Geht";
        case AlarmEvent::Kind::commLost: return "Kommunikation weg";
        case AlarmEvent::Kind::commRestored: return "Kommunikation da";
    }
    return {};
}

template <class Decode>
auto decodedOr(const std::optional<std::string>& bytes, Decode decode, decltype(decode(std::string_view())) fallback) {
    if (!bytes) return fallback;
    try {
        return decode(*bytes);
    } catch (const base::DecodeError&) {
        return fallback;
    }
}

std::vector<AlarmEvent> newest(std::vector<AlarmEvent> events) {
    if (events.size() > AlarmEngine::mostEvents) events.resize(AlarmEngine::mostEvents);
    return events;
}

// A delay that is not a number must not hold a change for ever.
base::Seconds delayOf(double seconds) { return base::Seconds(std::isfinite(seconds) ? seconds : 0); }

}  // namespace

AlarmEngine::AlarmEngine(base::UUID deviceID, std::string name, SettingsStore& settings, const AlarmOutlets& outlets)
    : deviceName(std::move(name)),
      settings_(settings),
      outlets_(outlets),
      configKey_("alarms." + deviceID.text()),
      eventsKey_("alarmlog." + deviceID.text()),
      config_(decodedOr(settings.blob(configKey_), decodeAlarmConfig, {})),
      events_(newest(decodedOr(settings.blob(eventsKey_), decodeAlarmLog, {}))) {
    for (const auto& event : *events_) encodedEvents_.push_back(encodeAlarmEvent(event));
}

RuleState AlarmEngine::state(const base::UUID& rule) const {
    for (const auto& entry : states_)
        if (entry.rule == rule) return entry.state;
    return {};
}

template <class F>
void AlarmEngine::forEachRule(F f) const {
    auto next = states_.begin();
    for (const auto& rule : config_->rules) {
        const bool known = next != states_.end() && next->rule == rule.id;
        f(rule, known ? &next->state : nullptr);
        if (known) ++next;
    }
}

void AlarmEngine::evaluate(const metercore::ValueSet& values, base::Moment at) {
    lastSuccess_ = at.steady;
    if (*commLost_) {
        commLost_.set(false);
        AlarmEvent event;
        event.date = at.wall;
        event.kind = AlarmEvent::Kind::commRestored;
        event.text = "Kommunikation wiederhergestellt";
        log(std::move(event), config_->commLossEnabled, false);
    }
    nextStates_.clear();
    forEachRule([&](const AlarmRule& rule, const RuleState* known) {
        // A rule switched off in the middle of an alarm goes quiet.
        if (!rule.enabled) return;
        const auto value = values.get(rule.address);
        if (!value || !std::isfinite(*value)) {
            if (known != nullptr) nextStates_.push_back({rule.id, *known});
            return;
        }
        auto state = known == nullptr ? RuleState{} : *known;
        if (!callsForChange(rule, state.active, *value)) {
            state.pendingSince.reset();
        } else {
            if (!state.pendingSince) state.pendingSince = at.steady;
            if (at.steady - *state.pendingSince >= delayOf(rule.delay)) {
                state.active = !state.active;
                state.pendingSince.reset();
                state.since = at.wall;
                raiseOrClear(rule, state.active, *value, at.wall);
            }
        }
        nextStates_.push_back({rule.id, state});
    });
    states_.swap(nextStates_);
    changed();
}

void AlarmEngine::raiseOrClear(const AlarmRule& rule, bool active, double value, base::WallTime date) {
    const auto* measurement = rule.measurement();
    // The state has changed, but there is no name to tell it by.
    if (measurement == nullptr) return;
    const auto shown = metercore::ValueFormatter::string(value, measurement->unit, measurement->channel);
    AlarmEvent event;
    event.date = date;
    event.ruleID = rule.id;
    event.kind = active ? AlarmEvent::Kind::raised : AlarmEvent::Kind::cleared;
    event.severity = rule.severity;
    event.text = active ? rule.summary() + " – aktuell " + shown : "Wieder normal: " + measurement->name() + " = " + shown;
    if (!rule.note.empty()) event.text += " (" + rule.note + ")";
    log(std::move(event), rule.notify, rule.sound && active);
}

void AlarmEngine::communicationFailed(base::Moment at) {
    if (!config_->commLossEnabled || *commLost_) return;
    if (!lastSuccess_) lastSuccess_ = at.steady;
    if (at.steady - *lastSuccess_ < delayOf(config_->commLossDelay)) return;
    commLost_.set(true);
    AlarmEvent event;
    event.date = at.wall;
    event.kind = AlarmEvent::Kind::commLost;
    const auto seconds = static_cast<long long>(std::clamp(delayOf(config_->commLossDelay).count(), -1e15, 1e15));
    event.text = "Kommunikationsausfall – keine Antwort seit " + std::to_string(seconds) + " s";
    log(std::move(event), true, true);
    changed();
}

void AlarmEngine::reset() {
    states_.clear();
    commLost_.set(false);
    lastSuccess_.reset();
    changed();
}

void AlarmEngine::changed() {
    statesChanged_.tell();
    if (onChange) onChange();
}

void AlarmEngine::log(AlarmEvent event, bool notify, bool sound) {
    if (!event.isRaise()) event.acknowledged = true;
    encodedEvents_.push_front(encodeAlarmEvent(event));
    if (encodedEvents_.size() > mostEvents) encodedEvents_.resize(mostEvents);
    events_.change([&event](auto& events) {
        events.insert(events.begin(), event);
        if (events.size() > mostEvents) events.resize(mostEvents);
    });
    saveEvents();
    if (outlets_.record) outlets_.record(deviceName, event.level(), event.recordText());
    if (notify) outlets_.notifier.post(event, deviceName);
    if (sound && outlets_.sound) outlets_.sound(event.severity == AlarmSeverity::alarm ? "Sosumi" : "Funk");
}

void AlarmEngine::upsert(AlarmRule rule) {
    config_.change([&rule](auto& config) {
        const auto same =
            std::find_if(config.rules.begin(), config.rules.end(), [&rule](const auto& other) { return other.id == rule.id; });
        if (same == config.rules.end())
            config.rules.push_back(std::move(rule));
        else
            *same = std::move(rule);
    });
    saveConfig();
}

void AlarmEngine::remove(const base::UUID& rule) {
    config_.change([&rule](auto& config) { std::erase_if(config.rules, [&rule](const auto& other) { return other.id == rule; }); });
    std::erase_if(states_, [&rule](const auto& entry) { return entry.rule == rule; });
    saveConfig();
    changed();
}

void AlarmEngine::setCommLoss(bool enabled, double delaySeconds) {
    config_.change([=](auto& config) {
        config.commLossEnabled = enabled;
        config.commLossDelay = delaySeconds;
    });
    saveConfig();
}

void AlarmEngine::acknowledge(const base::UUID& event) {
    events_.change([this, &event](auto& events) {
        for (std::size_t i = 0; i < events.size(); ++i) {
            if (events[i].id != event) continue;
            events[i].acknowledged = true;
            encodedEvents_[i] = encodeAlarmEvent(events[i]);
        }
    });
    saveEvents();
}

void AlarmEngine::acknowledgeAll() {
    events_.change([this](auto& events) {
        for (std::size_t i = 0; i < events.size(); ++i) {
            if (std::exchange(events[i].acknowledged, true)) continue;
            encodedEvents_[i] = encodeAlarmEvent(events[i]);
        }
    });
    saveEvents();
}

void AlarmEngine::clearEvents() {
    events_.set({});
    encodedEvents_.clear();
    saveEvents();
    changed();
}

int AlarmEngine::activeCount() const {
    int count = *commLost_ ? 1 : 0;
    forEachRule([&count](const AlarmRule& rule, const RuleState* state) {
        if (rule.enabled && state != nullptr && state->active) ++count;
    });
    return count;
}

int AlarmEngine::unacknowledgedCount() const {
    return static_cast<int>(
        std::count_if(events_->begin(), events_->end(), [](const auto& event) { return event.isRaise() && !event.acknowledged; }));
}

std::optional<AlarmSeverity> AlarmEngine::severity(int address) const {
    std::optional<AlarmSeverity> highest;
    for (const auto& rule : config_->rules) {
        if (rule.address != address || !state(rule.id).active) continue;
        if (!highest || rule.severity == AlarmSeverity::alarm) highest = rule.severity;
    }
    return highest;
}

std::vector<AlarmRule> AlarmEngine::activeRules() const {
    std::vector<AlarmRule> active;
    forEachRule([&active](const AlarmRule& rule, const RuleState* state) {
        if (rule.enabled && state != nullptr && state->active) active.push_back(rule);
    });
    return active;
}

std::string AlarmEngine::exportCSV() const {
    std::string csv = "Zeitpunkt;Gerät;Art;Stufe;Meldung;Quittiert\n";
    for (const auto& event : *events_) {
        csv += base::formatLocal(event.date, "%Y-%m-%d %H:%M:%S");
        for (const std::string_view cell : {std::string_view(deviceName), kindCaption(event.kind), text(event.severity),
                                            std::string_view(event.text), std::string_view(event.acknowledged ? "ja" : "nein")}) {
            csv += ';';
            csv += cell;
        }
        csv += '\n';
    }
    return csv;
}

std::string AlarmEngine::exportName() const { return deviceName + " Alarmprotokoll.csv"; }

void AlarmEngine::saveConfig() { settings_.setBlob(configKey_, encodeAlarmConfig(*config_)); }

void AlarmEngine::saveEvents() {
    std::string list = "[";
    for (const auto& event : encodedEvents_) {
        if (list.size() > 1) list += ',';
        list += event;
    }
    settings_.setBlob(eventsKey_, list + "]");
}

}  // namespace kestrelyne
