#pragma once
// Which hardware address uses which IPv4 address: conflicts, and devices nobody approved.

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "Base/Clock.hpp"
#include "Base/Observable.hpp"
#include "Kestrelyne/Network/NaturalOrder.hpp"
#include "Kestrelyne/Network/NetConfig.hpp"
#include "Kestrelyne/Network/NetEvent.hpp"

namespace kestrelyne {

struct ARPEntry {
    std::string ip, mac, interface;  // "0A:0B:0C:12:34:56"; device name of the adapter
    base::Moment firstSeen{}, lastSeen{};
};

struct IPConflict {
    std::string ip;
    std::vector<std::string> macs;  // ascending in natural order
    base::Moment since{};
};

/// Main thread; no clock, no socket.
class AddressWatch {
public:
    static constexpr base::Seconds conflictWindow{60};  // short, so that a replaced device does not conflict with itself
    static constexpr base::Seconds entryKept{86400};
    static constexpr base::Seconds sweepEvery{60};
    static constexpr std::size_t mostEntries = 16384;  // pairs of addresses; what comes beyond is counted and dropped

    /// By address in natural order, then hardware address.
    const base::Observable<std::vector<ARPEntry>>& arpTable() const { return arpTable_; }
    const base::Observable<std::vector<IPConflict>>& ipConflicts() const { return ipConflicts_; }

    /// The hardware addresses of this computer, in either case: they take part in conflicts, and are never unknown. Kept by
    /// clear().
    void setOwnMACs(std::set<std::string> macs);
    /// `mac` in either case. Judges the device by the reference in `config`; publishes nothing: see check().
    NetFindings note(const std::string& ip, const std::string& mac, const std::string& interface, base::Moment time,
                     const NetConfig& config);
    /// Judges conflicts, and publishes the table when it has changed.
    NetFindings check(base::Moment now);

    /// What was last seen with this hardware address (upper case); nullptr when there is none. Good until the next call that
    /// changes something.
    const ARPEntry* byMAC(const std::string& mac) const;
    /// A reference was taken, and this hardware address (upper case) is neither in it nor our own.
    bool isUnknown(const std::string& mac, const NetConfig& config) const;
    std::uint64_t refused() const { return refused_; }
    void clear();

private:
    base::Observable<std::vector<ARPEntry>> arpTable_;
    base::Observable<std::vector<IPConflict>> ipConflicts_;
    using ByMAC = std::map<std::string, ARPEntry, NaturalOrder>;
    std::vector<std::string> rivals(const std::string& ip, base::SteadyTime now) const;
    void forgetOld(base::SteadyTime now);

    std::map<std::string, ByMAC, NaturalOrder> arpIndex_;        // by address
    std::size_t entries_ = 0;                                    // in `arpIndex_`
    std::unordered_map<std::string, const ARPEntry*> latest_;    // by hardware address, into `arpIndex_`
    std::set<std::string, NaturalOrder> suspects_;               // noted since the last check, with more than one hardware address
    std::map<std::string, IPConflict, NaturalOrder> conflicts_;  // that stand, by address
    std::set<std::string> announcedMACs_;
    std::set<std::string> ownMACs_;
    bool arpDirty_ = false;     // `arpTable_` is behind
    base::SteadyTime swept_{};  // when old entries were last looked for
    std::uint64_t refused_ = 0;
};

}  // namespace kestrelyne
