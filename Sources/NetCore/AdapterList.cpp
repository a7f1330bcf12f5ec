#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <set>

#include "NetCore/AdapterEntry.hpp"
#include "NetCore/HardwareAddressCache.hpp"
#include "NetCore/HardwareNames.hpp"
#include "NetCore/IPv4.hpp"
#include "NetCore/NetInterface.hpp"
#include "NetCore/SystemLinks.hpp"

namespace netcore {

namespace {

// Absent when there is no address, or one of another family.
std::optional<std::string> dotted(const sockaddr* address) {
    if (address == nullptr || address->sa_family != AF_INET) return std::nullopt;
    sockaddr_in ipv4{};
    std::memcpy(&ipv4, address, sizeof ipv4);
    return uint32ToIP(ntohl(ipv4.sin_addr.s_addr));
}

// Every IPv4 address of every adapter that has all of `flags` and none of `without`, in the system's order. Absent when the system
// does not say.
std::optional<std::vector<AdapterEntry>> readAddresses(unsigned flags, unsigned without) {
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) return std::nullopt;
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(first, &freeifaddrs);
    std::vector<AdapterEntry> entries;
    for (const ifaddrs* each = first; each != nullptr; each = each->ifa_next) {
        const auto address = dotted(each->ifa_addr);
        if (!address || (each->ifa_flags & flags) != flags || (each->ifa_flags & without) != 0) continue;
        entries.push_back({.device = deviceOfLabel(each->ifa_name),
                           .address = *address,
                           .netmask = dotted(each->ifa_netmask),
                           .broadcast = dotted(each->ifa_broadaddr),
                           .canBroadcast = (each->ifa_flags & IFF_BROADCAST) != 0,
                           .isPointToPoint = (each->ifa_flags & IFF_POINTOPOINT) != 0});
    }
    return entries;
}

HardwareNameCache& nameCache() {
    static HardwareNameCache cache(base::SystemClock::shared(), readHardwareNames);
    return cache;
}

}  // namespace

std::vector<NetInterface> NetInterface::list() { return read().value_or(std::vector<NetInterface>()); }

std::optional<std::vector<NetInterface>> NetInterface::read() {
    const auto entries = readAddresses(IFF_UP, IFF_LOOPBACK);
    if (!entries) return std::nullopt;
    std::vector<NetInterface> interfaces;
    if (entries->empty()) return interfaces;
    // By name, the addresses of one adapter in the system's order.
    std::multimap<std::string, AdapterEntry> byDevice;
    std::set<std::string> devices;
    for (const auto& entry : *entries) {
        devices.insert(entry.device);
        byDevice.emplace(entry.device, entry);
    }
    const auto names = nameCache().names(devices);
    for (const auto& [device, entry] : byDevice) {
        interfaces.push_back(interfaceOf(entry, if_nametoindex(device.c_str())));
        interfaces.back().displayName = uniqueName(device, names);
    }
    return interfaces;
}

std::vector<NetInterface::Adapter> NetInterface::allAdapters() {
    const auto addresses = readAddresses(0, IFF_LOOPBACK).value_or(std::vector<AdapterEntry>());
    auto links = readLinks().value_or(std::vector<SystemLink>());
    std::erase_if(links, &SystemLink::isLoopback);
    std::set<std::string> devices;
    for (const auto& link : links) devices.insert(link.device);
    const auto names = nameCache().names(devices);
    std::vector<Adapter> adapters;
    for (const auto& link : links) {
        const auto first = std::ranges::find(addresses, link.device, &AdapterEntry::device);
        adapters.push_back({.device = link.device,
                            .name = uniqueName(link.device, names),
                            .ipv4 = first == addresses.end() ? std::nullopt : std::optional(first->address),
                            .linkActive = link.hasCarrier});
    }
    sortAdapters(adapters);
    return adapters;
}

std::map<std::string, std::string> NetInterface::hardwareNames() { return nameCache().names({}); }

std::optional<std::array<std::uint8_t, 6>> NetInterface::macAddress(const std::string& name) {
    static HardwareAddressCache cache(base::SystemClock::shared(), readLinks);
    return cache.address(name);
}

}  // namespace netcore
