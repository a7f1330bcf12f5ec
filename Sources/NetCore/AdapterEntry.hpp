#pragma once
// What the system says of one IPv4 address of an adapter, and what follows from it. Pure; any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "NetCore/NetInterface.hpp"

namespace netcore {

struct AdapterEntry {
    std::string device;
    std::string address;                        // dotted
    std::optional<std::string> netmask = {};    // dotted
    std::optional<std::string> broadcast = {};  // as reported; counts only with `canBroadcast`
    bool canBroadcast = false;
    bool isPointToPoint = false;
};

/// With the device name as display name.
NetInterface interfaceOf(const AdapterEntry& entry, std::uint32_t index);
/// The device of an address label: "eth0:1" belongs to "eth0".
std::string deviceOfLabel(std::string_view label);
/// Those with a link first, then by device in natural order.
void sortAdapters(std::vector<NetInterface::Adapter>& adapters);

}  // namespace netcore
