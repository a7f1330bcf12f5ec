#pragma once
// Which groups a socket wants on which adapters, and whether a received datagram belongs to them.

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "Base/Mutex.hpp"
#include "NetCore/GroupCarriers.hpp"

namespace netcore {

/// The wanted pairs of group and adapter index at one moment; looked at for each datagram of a group.
class WantedGroups {
public:
    bool contains(std::uint32_t group, std::uint32_t interfaceIndex) const;
    void add(std::uint32_t group, std::uint32_t interfaceIndex);
    void remove(std::uint32_t group, std::uint32_t interfaceIndex);

private:
    std::vector<std::uint64_t> keys_;  // index and group in one number; ascending, each once
};

/// Any thread. Joining and leaving may take the system a while; `wanted()` never waits for it.
class Memberships {
public:
    Memberships();

    /// Joins on the adapter that has the address (both in host order); true when the membership stands. An adapter that came back
    /// under another index is joined anew.
    bool join(std::uint32_t group, std::uint32_t interfaceAddress);
    /// Works as well when the address is gone from the adapter since.
    void leave(std::uint32_t group, std::uint32_t interfaceAddress);
    /// Leaves all; nothing is joined any more.
    void close();
    /// Never null; what it points to never changes.
    std::shared_ptr<const WantedGroups> wanted() const;

private:
    using Asked = std::pair<std::uint32_t, std::uint32_t>;  // group, address of the adapter
    void forget(const Asked& asked) KESTRELYNE_REQUIRES(changing_);
    void setWanted(WantedGroups groups) KESTRELYNE_REQUIRES(changing_);

    // Held over calls of the system. The other one only for the exchange of a pointer: it is taken for each batch of datagrams.
    base::Mutex changing_;
    mutable base::Mutex mutex_;
    GroupCarriers carriers_ KESTRELYNE_GUARDED_BY(changing_);
    // Two addresses of one adapter may ask for the same membership; it stands until both have left.
    std::map<Asked, std::uint32_t> indexOf_ KESTRELYNE_GUARDED_BY(changing_);
    bool closed_ KESTRELYNE_GUARDED_BY(changing_) = false;
    std::shared_ptr<const WantedGroups> wanted_ KESTRELYNE_GUARDED_BY(mutex_);
};

/// Index of the adapter that has this address (host order), the loopback adapter included; absent when none has. Quick: two system
/// calls. Any thread.
std::optional<std::uint32_t> interfaceIndexOf(std::uint32_t address);

}  // namespace netcore
