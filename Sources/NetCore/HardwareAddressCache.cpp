#include "NetCore/HardwareAddressCache.hpp"

namespace netcore {

namespace {

constexpr base::Seconds addressesKeptFor(30);

std::optional<HardwareAddress> addressIn(const std::map<std::string, HardwareAddress>& addresses, const std::string& device) {
    const auto found = addresses.find(device);
    return found == addresses.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace

std::optional<HardwareAddress> HardwareAddressCache::address(const std::string& device) {
    {
        base::Lock lock(mutex_);
        if (readAt_ && clock_.steadyNow() - *readAt_ < addressesKeptFor)
            if (const auto known = addressIn(addresses_, device)) return known;
    }
    const auto links = read_();
    base::Lock lock(mutex_);
    if (links) {
        addresses_.clear();
        for (const auto& link : *links)
            if (link.address) addresses_.emplace(link.device, *link.address);
        readAt_ = clock_.steadyNow();
    }
    return addressIn(addresses_, device);
}

}  // namespace netcore
