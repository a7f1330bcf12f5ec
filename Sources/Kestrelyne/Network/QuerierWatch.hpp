#pragma once
// Who asks for group memberships on each adapter, and who has which: without a querier switches forget the groups.

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Base/Clock.hpp"
#include "Base/Observable.hpp"
#include "Kestrelyne/Network/NaturalOrder.hpp"
#include "Kestrelyne/Network/NetEvent.hpp"
#include "NetCore/CaptureFrame.hpp"

namespace kestrelyne {

struct IGMPInterfaceState {
    struct Querier {
        int version = 0;
        base::Moment last{};
    };
    std::string interface;  // device name
    std::string displayName;
    base::Moment captureStart{};
    std::optional<std::string> error{};  // why nothing is seen there
    std::map<std::string, Querier> queriers;
    std::map<std::string, std::map<std::string, base::Moment>> groups;  // group to members with their last report
    bool missing = false;  // no querier although groups are in use that need one: stands as a problem
};

/// Main thread; no clock, no socket.
class QuerierWatch {
public:
    /// How much is kept at most an adapter; what comes beyond is counted.
    struct Limits {
        std::size_t queriers = 64;
        std::size_t memberships = 32768;
    };
    static constexpr base::Seconds defaultTimeout{260};  // two query intervals of 125 s (RFC 3376, 8.2) and ten seconds
    static constexpr base::Seconds querierKept{3600};    // the last one heard stays beyond
    static constexpr int unansweredTimeouts = 3;         // so long a host may leave queries unanswered and stays a member
    static constexpr base::Seconds memberKept{86400};    // one that nobody asks
    static constexpr base::Seconds sweepEvery{10};

    explicit QuerierWatch(Limits limits) : limits_(limits) {}
    QuerierWatch() : QuerierWatch(Limits{}) {}

    const base::Observable<std::vector<IGMPInterfaceState>>& igmp() const { return igmp_; }

    /// A capture of this adapter begins, or could not (then with the reason). What is known of the adapter is kept.
    void begin(const std::string& interface, const std::string& displayName, base::Moment now, std::optional<std::string> error);
    /// The adapters that are no longer captured go.
    void keepOnly(const std::set<std::string>& interfaces);

    /// `name` gives what people call an address. Publishes nothing: see check().
    NetFindings noteQuery(const std::string& interface, const netcore::IGMPQuery& query, base::Moment now,
                          const std::function<std::string(const std::string& ip)>& name);
    void noteReport(const std::string& interface, const netcore::IGMPReport& report, base::Moment now);
    /// Ages all and publishes.
    NetFindings check(base::Moment now, base::Seconds timeout);

    /// Members of a group on all adapters; sorted in natural order, no duplicates.
    std::vector<std::string> members(const std::string& group) const;
    std::uint64_t refused() const { return refused_; }
    /// Forgets the findings that stand, without a word; what was heard stays.
    void clear();

private:
    const Limits limits_;
    struct Adapter {
        IGMPInterfaceState state;
        std::size_t memberships = 0;
        // The last general query, and the first from which on they came without a break.
        std::optional<base::SteadyTime> asked{}, askedSince{};
        bool several = false;  // more than one querier: told
        bool missed = false;   // no querier: told; its return is not yet
    };
    void show(IGMPInterfaceState& state, bool missing);
    NetFindings judge(Adapter& adapter, base::SteadyTime now, base::Seconds timeout);
    void forgetSilent(Adapter& adapter, base::SteadyTime now, base::Seconds timeout);

    base::Observable<std::vector<IGMPInterfaceState>> igmp_;  // by device name in natural order
    std::map<std::string, Adapter, NaturalOrder> adapters_;   // by device name
    bool dirty_ = false;                                      // `igmp_` is behind
    base::SteadyTime swept_{};                                // when what is silent was last looked for
    std::uint64_t refused_ = 0;
};

}  // namespace kestrelyne
