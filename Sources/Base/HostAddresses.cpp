#include "Base/HostAddresses.hpp"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <array>
#include <cstring>
#include <memory>

namespace base {

std::vector<HostAddress> hostAddresses() {
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) return {};
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(first, &freeifaddrs);
    std::vector<HostAddress> addresses;
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
        if ((entry->ifa_flags & IFF_UP) == 0 || (entry->ifa_flags & IFF_LOOPBACK) != 0) continue;
        sockaddr_in address{};
        std::memcpy(&address, entry->ifa_addr, sizeof address);
        std::array<char, INET_ADDRSTRLEN> text{};
        if (inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size()) == nullptr) continue;
        addresses.push_back({.adapter = entry->ifa_name, .address = text.data()});
    }
    return addresses;
}

}  // namespace base
