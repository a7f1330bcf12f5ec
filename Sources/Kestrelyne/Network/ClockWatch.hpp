#pragma once
// The clocks of the show network by domain, and whether each domain has one grandmaster.

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Base/Clock.hpp"
#include "Base/Observable.hpp"
#include "Kestrelyne/Network/ExtrasAccumulator.hpp"
#include "Kestrelyne/Network/NaturalOrder.hpp"
#include "Kestrelyne/Network/NetEvent.hpp"

namespace kestrelyne {

struct PTPClock {
    std::string sender;       // clock identity, lower-case hexadecimal
    std::string grandmaster;  // the same
    int version = 0;
    std::string domain;
    std::optional<int> priority1{}, priority2{}, clockClass{}, stratum{}, stepsRemoved{};
    double packetsPerSecond = 0;
    base::Moment lastSeen{};
    std::string interface;
};

struct PTPDomainState {
    int version = 0;
    std::string domain;
    std::vector<PTPClock> clocks;  // by sender

    /// "v2/Domäne 0"
    std::string key() const;
    /// "PTPv1 (Dante) · _DFLT", "PTPv2 · Domäne 0"
    std::string label() const;
    /// Distinct, ascending in natural order.
    std::vector<std::string> grandmasters() const;
};

/// Main thread; no clock of its own, no socket.
class ClockWatch {
public:
    /// By version, then domain in natural order.
    const base::Observable<std::vector<PTPDomainState>>& domains() const { return domains_; }

    /// `entries` are the clocks of the last minute: a domain that is in none of them has gone.
    NetFindings refresh(const std::vector<ExtrasAccumulator::PTPEntry>& entries, base::Seconds elapsed,
                        const std::function<std::string(std::uint32_t index)>& interfaceName,
                        const std::function<std::string(const std::string& identity)>& clockName);
    void clear();

    /// The hardware address ("0A:0B:0C:12:34:56") inside a clock identity: six bytes, or an EUI-64 with FF:FE in its middle; absent
    /// otherwise.
    static std::optional<std::string> macOf(const std::string& identity);

private:
    struct Known {
        std::string label;
        std::vector<std::string> grandmasters;
    };
    base::Observable<std::vector<PTPDomainState>> domains_;
    std::map<std::string, Known, NaturalOrder> known_;  // by key of the domain, as last seen
};

}  // namespace kestrelyne
