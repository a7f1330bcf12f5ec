#include "NetCore/Memberships.hpp"

#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>

namespace netcore {

namespace {
constexpr std::uint64_t keyOf(std::uint32_t group, std::uint32_t interfaceIndex) {
    return std::uint64_t(interfaceIndex) << 32 | group;
}
}  // namespace

bool WantedGroups::contains(std::uint32_t group, std::uint32_t interfaceIndex) const {
    return std::ranges::binary_search(keys_, keyOf(group, interfaceIndex));
}

void WantedGroups::add(std::uint32_t group, std::uint32_t interfaceIndex) {
    const auto key = keyOf(group, interfaceIndex);
    const auto at = std::ranges::lower_bound(keys_, key);
    if (at == keys_.end() || *at != key) keys_.insert(at, key);
}

void WantedGroups::remove(std::uint32_t group, std::uint32_t interfaceIndex) { std::erase(keys_, keyOf(group, interfaceIndex)); }

Memberships::Memberships() : wanted_(std::make_shared<WantedGroups>()) {}

bool Memberships::join(std::uint32_t group, std::uint32_t interfaceAddress) {
    const auto index = interfaceIndexOf(interfaceAddress);
    if (!IN_MULTICAST(group) || !index) return false;
    base::Lock lock(changing_);
    if (closed_) return false;
    const Asked asked(group, interfaceAddress);
    if (const auto found = indexOf_.find(asked); found != indexOf_.end()) {
        if (found->second == *index) return true;
        forget(asked);
    }
    if (!carriers_.add(group, *index)) return false;
    indexOf_[asked] = *index;
    auto groups = *wanted();
    groups.add(group, *index);
    setWanted(std::move(groups));
    return true;
}

void Memberships::leave(std::uint32_t group, std::uint32_t interfaceAddress) {
    base::Lock lock(changing_);
    forget({group, interfaceAddress});
}

void Memberships::close() {
    base::Lock lock(changing_);
    closed_ = true;
    setWanted({});
    carriers_ = {};
    indexOf_.clear();
}

std::shared_ptr<const WantedGroups> Memberships::wanted() const {
    base::Lock lock(mutex_);
    return wanted_;
}

void Memberships::setWanted(WantedGroups groups) {
    std::shared_ptr<const WantedGroups> next = std::make_shared<WantedGroups>(std::move(groups));
    base::Lock lock(mutex_);
    wanted_.swap(next);
}

void Memberships::forget(const Asked& asked) {
    const auto found = indexOf_.find(asked);
    if (found == indexOf_.end()) return;
    const auto index = found->second;
    indexOf_.erase(found);
    const bool stillWanted =
        std::ranges::any_of(indexOf_, [&](const auto& other) { return other.first.first == asked.first && other.second == index; });
    if (stillWanted) return;
    auto groups = *wanted();
    groups.remove(asked.first, index);
    setWanted(std::move(groups));
    carriers_.remove(asked.first, index);
}

// netdevice(7): SIOCGIFCONF lists one row an address, an address with a label under the label.
std::optional<std::uint32_t> interfaceIndexOf(std::uint32_t address) {
    const base::FileDescriptor descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!descriptor) return std::nullopt;
    std::vector<ifreq> rows(64);
    ifconf list{};
    for (;;) {
        list.ifc_len = static_cast<int>(rows.size() * sizeof(ifreq));
        list.ifc_req = rows.data();
        if (ioctl(descriptor.get(), SIOCGIFCONF, &list) != 0) return std::nullopt;
        // A full table may be a cut one.
        if (static_cast<std::size_t>(list.ifc_len) < rows.size() * sizeof(ifreq)) break;
        rows.resize(rows.size() * 4);
    }
    rows.resize(static_cast<std::size_t>(list.ifc_len) / sizeof(ifreq));
    for (auto& row : rows) {
        sockaddr_in own{};
        std::memcpy(&own, &row.ifr_addr, sizeof own);
        if (own.sin_family != AF_INET || ntohl(own.sin_addr.s_addr) != address) continue;
        if (ioctl(descriptor.get(), SIOCGIFINDEX, &row) == 0 && row.ifr_ifindex > 0)
            return static_cast<std::uint32_t>(row.ifr_ifindex);
    }
    return std::nullopt;
}

}  // namespace netcore
