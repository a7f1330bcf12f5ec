#include "NetCore/SystemLinks.hpp"

#include <linux/if_link.h>
#include <linux/if_tun.h>
#include <linux/rtnetlink.h>
#include <net/if.h>

#include "NetCore/Netlink.hpp"

namespace netcore {

namespace {

std::string textOf(const std::optional<base::Bytes>& attribute) { return attribute ? netlink::text(*attribute) : std::string(); }

std::optional<SystemLink> linkOf(base::Bytes body) {
    const auto header = netlink::read<ifinfomsg>(body);
    if (!header) return std::nullopt;
    const auto attribute = [&](std::uint16_t type) { return netlink::attribute(body, sizeof *header, type); };
    SystemLink link{.index = static_cast<std::uint32_t>(header->ifi_index),
                    .device = textOf(attribute(IFLA_IFNAME)),
                    .isLoopback = (header->ifi_flags & IFF_LOOPBACK) != 0,
                    .hasCarrier = (header->ifi_flags & IFF_RUNNING) != 0,
                    .alias = textOf(attribute(IFLA_IFALIAS)),
                    .kind = {}};
    if (const auto address = attribute(IFLA_ADDRESS)) link.address = hardwareAddress(*address);
    if (link.address && !isHost(*link.address)) link.address.reset();
    if (const auto info = attribute(IFLA_LINKINFO)) {
        link.kind = textOf(netlink::nested(*info, IFLA_INFO_KIND));
        const auto details = netlink::nested(*info, IFLA_INFO_DATA);
        const auto type = details && link.kind == "tun" ? netlink::nested(*details, IFLA_TUN_TYPE) : std::nullopt;
        link.isTap = type && netlink::read<std::uint8_t>(*type) == IFF_TAP;
    }
    if (link.device.empty()) return std::nullopt;
    return link;
}

}  // namespace

std::optional<std::vector<SystemLink>> readLinks() {
    std::vector<SystemLink> links;
    const auto entry = [&](base::Bytes body) {
        if (auto link = linkOf(body)) links.push_back(std::move(*link));
    };
    if (!netlink::dump(
            RTM_GETLINK, AF_UNSPEC, [&] { links.clear(); }, entry))
        return std::nullopt;
    return links;
}

}  // namespace netcore
