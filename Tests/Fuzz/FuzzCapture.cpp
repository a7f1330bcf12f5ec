// Any frame of any link type: addresses are dotted, payloads and groups no more than was captured.

#include <cstdint>

#include "Base/Require.hpp"
#include "NetCore/CaptureFrame.hpp"
#include "NetCore/IPv4.hpp"

using namespace netcore;

namespace {

bool isAddress(const std::string& text) { return ipToUInt32(text).has_value(); }

struct Check {
    std::size_t size;

    void operator()(const ARPSeen& arp) const {
        KESTRELYNE_REQUIRE(isAddress(arp.ip) && arp.ip != "0.0.0.0" && arp.mac.size() == 17, "a sender has an address");
    }
    void operator()(const IGMPQuery& query) const {
        KESTRELYNE_REQUIRE(isAddress(query.querier) && isAddress(query.group), "addresses are dotted");
        KESTRELYNE_REQUIRE(query.version >= 1 && query.version <= 3, "three versions");
    }
    void operator()(const IGMPReport& report) const {
        KESTRELYNE_REQUIRE(isAddress(report.host) && !report.groups.empty(), "a report names groups");
        KESTRELYNE_REQUIRE(report.groups.size() * 8 <= size, "only records that were captured");
        for (const auto& group : report.groups) KESTRELYNE_REQUIRE(isAddress(group), "addresses are dotted");
    }
    void operator()(const UDPSeen& datagram) const {
        KESTRELYNE_REQUIRE(isAddress(datagram.src) && isAddress(datagram.dst), "addresses are dotted");
        KESTRELYNE_REQUIRE(datagram.payload.size() + 28 <= size, "only bytes that were captured");
    }
};

}  // namespace

// The first byte is the link type.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const auto frame = parseFrame({data + 1, size - 1}, data[0]);
    if (frame) std::visit(Check{size - 1}, *frame);
    return 0;
}
