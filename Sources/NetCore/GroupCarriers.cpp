#include "NetCore/GroupCarriers.hpp"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace netcore {

namespace {

bool setMembership(int descriptor, int option, std::uint32_t group, std::uint32_t interfaceIndex) {
    ip_mreqn request{};
    request.imr_multiaddr.s_addr = htonl(group);
    request.imr_ifindex = static_cast<int>(interfaceIndex);
    return setsockopt(descriptor, IPPROTO_IP, option, &request, sizeof request) == 0;
}

}  // namespace

GroupCarriers::Outcome GroupCarriers::join(Carrier& carrier, std::uint32_t group, std::uint32_t interfaceIndex) {
    if (carrier.groups.size() >= mostPerSocket) return Outcome::full;
    if (!setMembership(carrier.descriptor.get(), IP_ADD_MEMBERSHIP, group, interfaceIndex) && errno != EADDRINUSE)
        // Fewer than usual are allowed here.
        return errno == ENOBUFS && !carrier.groups.empty() ? Outcome::full : Outcome::refused;
    carrier.groups.push_back(group);
    return Outcome::joined;
}

bool GroupCarriers::add(std::uint32_t group, std::uint32_t interfaceIndex) {
    if (contains(group, interfaceIndex)) return true;
    // Without an index the system would choose an adapter by its routes.
    if (interfaceIndex == 0) return false;
    auto& carriers = byInterface_[interfaceIndex];
    for (auto& carrier : carriers) {
        const auto outcome = join(carrier, group, interfaceIndex);
        if (outcome != Outcome::full) return outcome == Outcome::joined;
    }
    Carrier carrier{.descriptor = base::FileDescriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))};
    const bool joined = carrier.descriptor && join(carrier, group, interfaceIndex) == Outcome::joined;
    if (joined) carriers.push_back(std::move(carrier));
    if (carriers.empty()) byInterface_.erase(interfaceIndex);
    return joined;
}

void GroupCarriers::remove(std::uint32_t group, std::uint32_t interfaceIndex) {
    const auto found = byInterface_.find(interfaceIndex);
    if (found == byInterface_.end()) return;
    auto& carriers = found->second;
    const auto carrier =
        std::ranges::find_if(carriers, [&](const Carrier& each) { return std::ranges::count(each.groups, group) != 0; });
    if (carrier == carriers.end()) return;
    setMembership(carrier->descriptor.get(), IP_DROP_MEMBERSHIP, group, interfaceIndex);
    std::erase(carrier->groups, group);
    if (carrier->groups.empty()) carriers.erase(carrier);
    if (carriers.empty()) byInterface_.erase(found);
}

bool GroupCarriers::contains(std::uint32_t group, std::uint32_t interfaceIndex) const {
    const auto found = byInterface_.find(interfaceIndex);
    return found != byInterface_.end() && std::ranges::any_of(found->second, [&](const Carrier& carrier) {
               return std::ranges::count(carrier.groups, group) != 0;
           });
}

std::size_t GroupCarriers::sockets() const {
    std::size_t count = 0;
    for (const auto& [index, carriers] : byInterface_) count += carriers.size();
    return count;
}

}  // namespace netcore
