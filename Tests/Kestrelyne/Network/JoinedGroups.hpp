#pragma once
// Which groups this computer is a member of, as the system itself tells it. Only behind NetworkNamespace::enter(): else it is
// everybody's.

#include <arpa/inet.h>

#include <cstdio>
#include <fstream>
#include <set>
#include <string>

#include "NetCore/IPv4.hpp"

namespace kestrelyne {

/// "<device> <group>", dotted. proc(5), /proc/net/igmp: the line of an adapter, then an indented line for each of its groups, which
/// begins with the four bytes of the group as one number of this processor.
inline std::set<std::string> joinedGroups() {
    std::ifstream file("/proc/net/igmp");
    std::set<std::string> groups;
    std::string line, device;
    while (std::getline(file, line)) {
        char name[32] = {};
        unsigned number = 0;
        if (line.starts_with('\t') && std::sscanf(line.c_str(), "%x", &number) == 1)
            groups.insert(device + " " + netcore::uint32ToIP(ntohl(number)));
        else if (std::sscanf(line.c_str(), "%u %31s", &number, name) == 2)
            device = name;
    }
    return groups;
}

/// sACN universes whose groups are joined on that adapter (ANSI E1.31-2018, 9.3.1: 239.255.x.y).
inline std::set<int> joinedUniverses(const std::string& device = "lo") {
    std::set<int> universes;
    const auto start = device + " 239.255.";
    for (const auto& group : joinedGroups()) {
        int high = 0, low = 0;
        if (group.starts_with(start) && std::sscanf(group.c_str() + start.size(), "%d.%d", &high, &low) == 2)
            universes.insert(high << 8 | low);
    }
    return universes;
}

}  // namespace kestrelyne
