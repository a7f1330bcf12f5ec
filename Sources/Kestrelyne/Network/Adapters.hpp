#pragma once
// Which adapters of this computer are used for what.

#include <set>
#include <string>
#include <vector>

#include "Base/Observable.hpp"
#include "Kestrelyne/Network/NetConfig.hpp"
#include "Kestrelyne/Network/NetEvent.hpp"
#include "NetCore/NetInterface.hpp"

namespace kestrelyne {

/// The adapters as they were last seen. Main thread.
class Adapters {
public:
    using List = std::vector<netcore::NetInterface>;

    const base::Observable<List>& interfaces() const { return interfaces_; }

    /// Takes over a new list without a word.
    void set(List list) { interfaces_.set(std::move(list)); }

    struct Change {
        NetFindings findings;        // what came and what went
        bool activeChanged = false;  // of the adapters in use
    };
    /// Takes over a new list and tells how it differs from the last one.
    Change update(List list, const NetConfig& config);

    /// Those in use.
    List active(const NetConfig& config) const;
    /// Those in use for a task: of this task or of every task; when that leaves none, all in use.
    List forRole(AdapterRole role, const NetConfig& config) const;
    static AdapterRole roleOf(const netcore::NetInterface& interface, const NetConfig& config);
    /// The user's label, else the display name.
    static std::string labelOf(const netcore::NetInterface& interface, const NetConfig& config);

    /// "Name (subnet)" of the first adapter with this index; "–" for an unknown one.
    std::string nameOf(std::uint32_t index) const;
    /// The same of the adapter whose subnet holds the address; "geroutet" when none does.
    std::string nameFor(std::string_view ip) const;
    /// Addresses of this computer, dotted.
    std::set<std::string> ownAddresses() const;

private:
    base::Observable<List> interfaces_;
};

}  // namespace kestrelyne
