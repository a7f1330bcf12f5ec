#include "NetCore/ARPTable.hpp"

#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <netinet/in.h>

#include <array>
#include <map>

#include "Base/File.hpp"
#include "NetCore/HardwareAddress.hpp"
#include "NetCore/IPv4.hpp"
#include "NetCore/Netlink.hpp"

namespace netcore {

namespace {

// Entries that the system made by itself (groups), is still asking for, or got no answer for.
constexpr std::uint16_t withoutAnswer = NUD_INCOMPLETE | NUD_FAILED | NUD_NOARP;

std::string deviceName(std::uint32_t index) {
    std::array<char, IF_NAMESIZE> name{};
    return if_indextoname(index, name.data()) == nullptr ? std::string() : std::string(name.data());
}

std::optional<std::vector<ARPRow>> fromNetlink() {
    std::vector<ARPRow> rows;
    std::map<std::uint32_t, std::string> names;
    const auto entry = [&](base::Bytes body) {
        const auto header = netlink::read<ndmsg>(body);
        if (!header || header->ndm_family != AF_INET) return;
        if (header->ndm_state == NUD_NONE || (header->ndm_state & withoutAnswer) != 0) return;
        const auto address = netlink::attribute(body, sizeof *header, NDA_DST);
        const auto hardware = netlink::attribute(body, sizeof *header, NDA_LLADDR);
        if (!address || !hardware) return;
        const auto ip = base::ByteReader(*address).u32();
        const auto mac = hardwareAddress(*hardware);
        if (!ip || !mac || !isHost(*mac) || IN_MULTICAST(*ip) || *ip == INADDR_BROADCAST) return;
        const auto index = static_cast<std::uint32_t>(header->ndm_ifindex);
        const auto [name, isNew] = names.try_emplace(index);
        if (isNew) name->second = deviceName(index);
        rows.push_back({.ip = uint32ToIP(*ip), .mac = hardwareAddressText(*mac), .device = name->second});
    };
    if (!netlink::dump(
            RTM_GETNEIGH, AF_INET, [&] { rows.clear(); }, entry))
        return std::nullopt;
    return rows;
}

}  // namespace

std::optional<std::vector<ARPRow>> readARPTable() {
    if (auto rows = fromNetlink()) return rows;
    const auto text = base::readFile("/proc/net/arp");
    if (!text) return std::nullopt;
    return ARPTexts::parseProc(*text);
}

}  // namespace netcore
