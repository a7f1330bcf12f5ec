#pragma once
// Multicast memberships beyond what one socket may hold.
//
// Linux lets a socket hold 20 memberships (net.ipv4.igmp_max_memberships), counted per group and adapter, but delivers a group that
// any socket of the computer has joined to every wildcard socket of the port (ip(7), IP_MULTICAST_ALL). So the memberships hang on
// sockets that are never bound and never read.

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "Base/FileDescriptor.hpp"

namespace netcore {

/// Not guarded: the owner holds its lock. Destroying it leaves all groups.
class GroupCarriers {
public:
    static constexpr std::size_t mostPerSocket = 20;

    /// True when the membership stands, also when it stood before. Addresses in host order.
    bool add(std::uint32_t group, std::uint32_t interfaceIndex);
    void remove(std::uint32_t group, std::uint32_t interfaceIndex);
    bool contains(std::uint32_t group, std::uint32_t interfaceIndex) const;
    /// How many descriptors it costs.
    std::size_t sockets() const;

private:
    struct Carrier {
        base::FileDescriptor descriptor;
        std::vector<std::uint32_t> groups = {};
    };
    enum class Outcome { joined, full, refused };
    static Outcome join(Carrier& carrier, std::uint32_t group, std::uint32_t interfaceIndex);

    std::map<std::uint32_t, std::vector<Carrier>> byInterface_;  // by adapter, so that leaving one frees whole sockets
};

}  // namespace netcore
