#pragma once
// Which watched devices answer: from the answers of each round of pings to states and findings.

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Base/Clock.hpp"
#include "Base/Observable.hpp"
#include "Base/UUID.hpp"
#include "Kestrelyne/Network/NetDevice.hpp"
#include "Kestrelyne/Network/NetEvent.hpp"
#include "NetCore/Ping.hpp"

namespace kestrelyne {

/// What is known of one watched device.
struct DeviceState {
    std::optional<bool> online{};            // none until the first verdict
    std::optional<double> latency{};         // s, of the last round
    std::optional<base::Moment> lastSeen{};  // last answer
    std::optional<base::Moment> since{};     // when `online` last changed
    int failures = 0;                        // rounds without an answer in a row
    std::optional<base::Moment> offlineSince{};
};
using DeviceStates = std::map<base::UUID, DeviceState>;

/// A finding of several devices at once stands for a while: lists of problems show it.
struct PassingFinding {
    NetEvent::Level level = NetEvent::Level::info;
    std::string text;
    base::SteadyTime at{};
    std::vector<base::UUID> devices{};  // of an outage: who went offline together
};

/// Main thread; no clock, no socket.
class Reachability {
public:
    static constexpr base::Seconds passingKept{60};

    const base::Observable<DeviceStates>& states() const { return states_; }
    /// nullptr before the first round with this device.
    const DeviceState* state(const base::UUID& id) const;
    /// Findings of several devices at once, of the last minute; an outage only as long as at least two of its devices are offline.
    std::vector<PassingFinding> passing(base::SteadyTime now) const;

    /// Judges one round. Several outages in one round are one alarm. `asked` are the addresses that were pinged in this round:
    /// a device with another one keeps its state; nullptr means all of them. Publishes last: what observers do to the list of
    /// devices is no matter.
    NetFindings judge(const std::vector<NetDevice>& devices, const netcore::Ping::Answers& answers, int offlineAfter,
                      base::Moment now, const std::set<std::string>* asked = nullptr);

    /// The device's state starts anew.
    void forget(const base::UUID& id);
    void clear();

    /// The time limit of a round at this interval between rounds.
    static base::Seconds timeout(double pingInterval);

private:
    base::Observable<DeviceStates> states_;
    std::vector<PassingFinding> passing_;
};

}  // namespace kestrelyne
