#include "NetCore/NetInterface.hpp"

#include <algorithm>
#include <bit>

#include "Base/Text.hpp"
#include "NetCore/AdapterEntry.hpp"
#include "NetCore/IPv4.hpp"

namespace netcore {

bool NetInterface::contains(std::string_view ip) const {
    const auto own = ipToUInt32(address), mask = ipToUInt32(netmask), other = ipToUInt32(ip);
    return own && mask && other && ((*other ^ *own) & *mask) == 0;
}

std::string NetInterface::subnet() const {
    const auto own = ipToUInt32(address), mask = ipToUInt32(netmask);
    if (!own || !mask) return address;
    return uint32ToIP(*own & *mask) + "/" + std::to_string(std::popcount(*mask));
}

const NetInterface* NetInterface::interfaceFor(std::string_view ip, const std::vector<NetInterface>& list) {
    const auto found = std::ranges::find_if(list, [&](const NetInterface& each) { return each.contains(ip); });
    return found == list.end() ? nullptr : &*found;
}

std::string NetInterface::uniqueName(const std::string& device, const std::map<std::string, std::string>& names) {
    const auto found = names.find(device);
    if (found == names.end()) return device;
    const auto alike = std::ranges::count_if(names, [&](const auto& each) { return each.second == found->second; });
    return alike < 2 ? found->second : found->second + " (" + device + ")";
}

namespace {

// Prefixes this long have no broadcast address (RFC 3021 for 31 bits).
constexpr int shortestWithoutBroadcast = 31;

std::string broadcastOf(const AdapterEntry& entry, const std::string& netmask) {
    // An address that was added without one reports itself.
    if (entry.canBroadcast && entry.broadcast && *entry.broadcast != entry.address) return *entry.broadcast;
    const auto own = ipToUInt32(entry.address), mask = ipToUInt32(netmask);
    if (!own || !mask || std::popcount(*mask) >= shortestWithoutBroadcast) return {};
    return uint32ToIP(*own | ~*mask);
}

}  // namespace

NetInterface interfaceOf(const AdapterEntry& entry, std::uint32_t index) {
    const auto netmask = entry.netmask.value_or("255.255.255.0");
    return {.name = entry.device,
            .index = index,
            .address = entry.address,
            .netmask = netmask,
            .broadcast = broadcastOf(entry, netmask),
            .isPointToPoint = entry.isPointToPoint,
            .displayName = entry.device};
}

std::string deviceOfLabel(std::string_view label) { return std::string(label.substr(0, label.find(':'))); }

void sortAdapters(std::vector<NetInterface::Adapter>& adapters) {
    std::ranges::sort(adapters, [](const auto& left, const auto& right) {
        if (left.linkActive != right.linkActive) return left.linkActive;
        return base::naturalLess(left.device, right.device);
    });
}

}  // namespace netcore
