#pragma once
// What is read from raw frames: who has which address (ARP, RFC 826), who asks for and who joins multicast groups (IGMP, RFC 2236
// and RFC 3376), and datagrams.

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Base/ByteReader.hpp"

namespace netcore {

struct ARPSeen {
    std::string ip;   // of the sender, dotted
    std::string mac;  // "0A:0B:0C:12:34:56"
    bool isRequest = false;
    bool operator==(const ARPSeen&) const = default;
};
struct IGMPQuery {
    std::string querier;  // dotted
    std::string group;    // 0.0.0.0 in a general query
    int version = 0;      // 1, 2 or 3
    bool operator==(const IGMPQuery&) const = default;
};
struct IGMPReport {
    std::string host;
    std::vector<std::string> groups = {};
    bool leave = false;
    bool operator==(const IGMPReport&) const = default;
};
struct UDPSeen {
    std::string src, dst;
    std::uint16_t srcPort = 0, dstPort = 0;
    std::vector<std::uint8_t> payload = {};
    bool operator==(const UDPSeen&) const = default;
};
using CapturedFrame = std::variant<ARPSeen, IGMPQuery, IGMPReport, UDPSeen>;

/// Reads one frame of a link type as libpcap numbers them (0 and 108: loopback, 1: Ethernet); absent for everything else. Pure; any
/// thread.
std::optional<CapturedFrame> parseFrame(base::Bytes frame, int linkType);

}  // namespace netcore
