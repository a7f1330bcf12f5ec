#pragma once
// The timecodes on the network, ten times a second: kept apart, so that only those who show them are woken.

#include <functional>
#include <string>
#include <vector>

#include "Base/Clock.hpp"
#include "Base/Observable.hpp"
#include "Kestrelyne/Network/ExtrasAccumulator.hpp"
#include "Kestrelyne/Network/NetEvent.hpp"

namespace kestrelyne {

struct TimecodeState {
    std::string ip, name;
    netcore::ArtNet::TimeCode code;
    base::Moment lastSeen{}, lastChange{};

    static constexpr base::Seconds standsAfter{1.0};
    /// The frame has changed within the last second.
    bool running(base::SteadyTime now) const { return now - lastChange.steady < standsAfter; }
};

/// Main thread; no clock, no socket.
class TimecodeStore {
public:
    static constexpr base::Seconds lostAfter{30};

    /// By address in natural order.
    const base::Observable<std::vector<TimecodeState>>& list() const { return list_; }

    /// Publishes when something has changed: one that was heard again, a name, one that comes or goes, one that now stands.
    NetFindings refresh(const std::vector<ExtrasAccumulator::Timecode>& codes, base::Moment now,
                        const std::function<std::string(const std::string& ip)>& displayName);
    /// Forgets all without a word.
    void clear();

private:
    base::Observable<std::vector<TimecodeState>> list_;
    base::SteadyTime refreshed_{};
};

}  // namespace kestrelyne
