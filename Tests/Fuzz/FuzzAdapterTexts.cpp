// Any output of the tools that list adapters and neighbours: what is read is text, complete and in order.

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "Base/Require.hpp"
#include "Base/Text.hpp"
#include "NetCore/ARPTable.hpp"
#include "NetCore/HardwareAddress.hpp"
#include "NetCore/IPv4.hpp"
#include "NetCore/NetInterface.hpp"

using namespace netcore;

namespace {

bool isText(const std::string& text) { return base::repairUTF8(text) == text; }

void check(const std::vector<ARPRow>& rows) {
    for (const auto& row : rows) {
        const auto mac = parseHardwareAddress(row.mac);
        KESTRELYNE_REQUIRE(ipToUInt32(row.ip) && row.ip.find("224.") != 0, "each row is of one computer");
        KESTRELYNE_REQUIRE(mac && isHost(*mac) && hardwareAddressText(*mac) == row.mac, "each row has a hardware address");
        KESTRELYNE_REQUIRE(!row.device.empty() && isText(row.device), "each row has a device");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto names = AdapterTexts::parseHardwarePorts(text);
    const auto links = AdapterTexts::parseInterfaces(text);
    for (const auto& [device, name] : names) KESTRELYNE_REQUIRE(isText(device) && isText(name), "names are text");
    for (const auto& [device, link] : links)
        KESTRELYNE_REQUIRE(isText(device) && (!link.ipv4 || isText(*link.ipv4)), "devices are text");
    const auto adapters = AdapterTexts::adapters(names, links);
    KESTRELYNE_REQUIRE(adapters.size() == names.size(), "every named device is listed");
    KESTRELYNE_REQUIRE(std::ranges::is_sorted(adapters,
                                              [](const auto& left, const auto& right) {
                                                  if (left.linkActive != right.linkActive) return left.linkActive;
                                                  return base::naturalLess(left.device, right.device);
                                              }),
                       "in order");
    const auto ether = AdapterTexts::parseEther(text).size();
    KESTRELYNE_REQUIRE(ether == 0 || ether == 6, "six bytes or none");
    check(ARPTexts::parseARP(text));
    check(ARPTexts::parseProc(text));
    return 0;
}
