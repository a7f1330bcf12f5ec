#pragma once
// The alarms of one meter: threshold rules with delay and hysteresis, loss of communication, and the log of what came and went.
//
// There is no timer in here: time passes when the poll loop calls. Delays run on the steady clock; events carry the wall clock.

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "Base/Clock.hpp"
#include "Base/Observable.hpp"
#include "Base/UUID.hpp"
#include "Kestrelyne/App/SettingsStore.hpp"
#include "Kestrelyne/Metering/AlarmRule.hpp"
#include "Kestrelyne/Metering/Notifier.hpp"
#include "MeterCore/ValueSet.hpp"

namespace kestrelyne {

/// In memory only.
struct RuleState {
    bool active = false;
    std::optional<base::SteadyTime> pendingSince;  // since when the value has called for a change without a break
    std::optional<base::WallTime> since;           // the last change
};

/// Main thread. Loads its settings ("alarms." and "alarmlog." with the meter's id) when made and saves each change at once.
class AlarmEngine {
public:
    static constexpr std::size_t mostEvents = 1000;

    AlarmEngine(base::UUID deviceID, std::string deviceName, SettingsStore& settings, const AlarmOutlets& outlets);

    const base::Observable<AlarmConfig>& config() const { return config_; }
    /// Newest first.
    const base::Observable<std::vector<AlarmEvent>>& events() const { return events_; }
    const base::Observable<bool>& commLost() const { return commLost_; }
    /// Tells after each evaluation.
    const base::Signal& statesChanged() const { return statesChanged_; }
    /// A rule that was never evaluated has a fresh state.
    RuleState state(const base::UUID& rule) const;

    std::string deviceName;           // set again when the meter is renamed
    base::Function<void()> onChange;  // after each evaluation, whether anything changed or not

    /// After every good reading.
    void evaluate(const metercore::ValueSet& values, base::Moment at);
    /// After every failed reading.
    void communicationFailed(base::Moment at);
    /// When the monitor stops: the alarms end silently.
    void reset();

    /// Replaces the rule with the same id, or appends it.
    void upsert(AlarmRule rule);
    void remove(const base::UUID& rule);
    void setCommLoss(bool enabled, double delaySeconds);

    void acknowledge(const base::UUID& event);
    void acknowledgeAll();
    /// Empties the log.
    void clearEvents();

    /// Active enabled rules, and one more while communication is lost.
    int activeCount() const;
    int unacknowledgedCount() const;
    /// The highest severity among active rules on the measurement.
    std::optional<AlarmSeverity> severity(int address) const;
    bool isPending(const base::UUID& rule) const { return state(rule).pendingSince.has_value(); }
    /// Active enabled rules, in the order of the rules.
    std::vector<AlarmRule> activeRules() const;

    /// The log as CSV, newest first.
    std::string exportCSV() const;
    /// "<name> Alarmprotokoll.csv".
    std::string exportName() const;

private:
    struct Entry {
        base::UUID rule;
        RuleState state;
    };
    /// Calls f(rule, its state or nullptr). One walk through both lists, as both are in the order of the rules.
    template <class F>
    void forEachRule(F f) const;
    void raiseOrClear(const AlarmRule& rule, bool active, double value, base::WallTime date);
    void log(AlarmEvent event, bool notify, bool sound);
    void changed();
    void saveConfig();
    void saveEvents();

    SettingsStore& settings_;
    const AlarmOutlets& outlets_;
    const std::string configKey_, eventsKey_;
    base::Observable<AlarmConfig> config_;
    std::vector<Entry> states_, nextStates_;  // in the order of the rules; the second is room for the next evaluation
    base::Signal statesChanged_;
    base::Observable<std::vector<AlarmEvent>> events_;
    std::deque<std::string> encodedEvents_;  // beside events_, so that a new event does not cost the encoding of the old ones
    base::Observable<bool> commLost_{false};
    std::optional<base::SteadyTime> lastSuccess_;
};

}  // namespace kestrelyne
