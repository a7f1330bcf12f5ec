#include "NetCore/CaptureFrame.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "NetCore/IPv4.hpp"
#include "NetCore/WireFields.hpp"

namespace netcore {

namespace {

using base::Bytes;

// Link types as libpcap numbers them
constexpr int linkNull = 0, linkEthernet = 1, linkLoop = 108;
constexpr std::uint16_t etherIPv4 = 0x0800, etherARP = 0x0806, etherVLAN = 0x8100;

std::string dotted(Bytes bytes, std::size_t at) { return uint32ToIP(wire::big32(bytes, at)); }

/// RFC 826
namespace arp {
constexpr std::size_t opcodeAt = 6, senderMACAt = 8, senderIPAt = 14, length = 28;
constexpr std::size_t macSize = 6;
constexpr std::uint16_t request = 1;

std::optional<CapturedFrame> parse(Bytes packet) {
    if (packet.size() < length) return std::nullopt;
    // A probe (RFC 5227, 1.1): the sender has no address yet.
    if (wire::big32(packet, senderIPAt) == 0) return std::nullopt;
    return ARPSeen{.ip = dotted(packet, senderIPAt),
                   .mac = fmt::format("{:02X}", fmt::join(packet.subspan(senderMACAt, macSize), ":")),
                   .isRequest = wire::big16(packet, opcodeAt) == request};
}
}  // namespace arp

/// RFC 1112, RFC 2236, RFC 3376
namespace igmp {
constexpr std::size_t typeAt = 0, maximumResponseAt = 1, groupAt = 4, recordCountAt = 6, minimumLength = 8;
constexpr std::size_t version3QueryLength = 12;
constexpr std::uint8_t query = 0x11, version1Report = 0x12, version2Report = 0x16, leave = 0x17, version3Report = 0x22;

// A group record of a version 3 report
constexpr std::size_t recordTypeAt = 0, auxiliaryLengthAt = 1, sourceCountAt = 2, recordGroupAt = 4, recordHeader = 8, wordSize = 4;
constexpr std::uint8_t modeIsInclude = 1, changeToInclude = 3;

std::optional<CapturedFrame> parseVersion3Report(Bytes message, std::string host) {
    std::vector<std::string> joined, left;
    auto rest = message.subspan(minimumLength);
    for (int count = wire::big16(message, recordCountAt); count > 0 && rest.size() >= recordHeader; --count) {
        const std::size_t sources = wire::big16(rest, sourceCountAt);
        const auto length = recordHeader + (rest[auxiliaryLengthAt] + sources) * wordSize;
        if (length > rest.size()) break;
        const auto type = rest[recordTypeAt];
        // To include nobody is to leave.
        const bool leaves = (type == modeIsInclude || type == changeToInclude) && sources == 0;
        (leaves ? left : joined).push_back(dotted(rest, recordGroupAt));
        rest = rest.subspan(length);
    }
    if (!joined.empty()) return IGMPReport{.host = std::move(host), .groups = std::move(joined), .leave = false};
    if (!left.empty()) return IGMPReport{.host = std::move(host), .groups = std::move(left), .leave = true};
    return std::nullopt;
}

/// `declared` is the length of the message by the IP header; what was captured may be shorter.
std::optional<CapturedFrame> parse(Bytes message, std::size_t declared, std::string sender) {
    if (message.size() < minimumLength) return std::nullopt;
    switch (message[typeAt]) {
        case query: {
            const int version = declared >= version3QueryLength ? 3 : message[maximumResponseAt] == 0 ? 1 : 2;
            return IGMPQuery{.querier = std::move(sender), .group = dotted(message, groupAt), .version = version};
        }
        case version1Report:
        case version2Report: return IGMPReport{.host = std::move(sender), .groups = {dotted(message, groupAt)}, .leave = false};
        case leave: return IGMPReport{.host = std::move(sender), .groups = {dotted(message, groupAt)}, .leave = true};
        case version3Report: return parseVersion3Report(message, std::move(sender));
        default: return std::nullopt;
    }
}
}  // namespace igmp

/// RFC 768
namespace udp {
constexpr std::size_t sourcePortAt = 0, destinationPortAt = 2, lengthAt = 4, headerLength = 8;

std::optional<CapturedFrame> parse(Bytes datagram, std::string source, std::string destination) {
    if (datagram.size() < headerLength) return std::nullopt;
    const std::size_t length = wire::big16(datagram, lengthAt);
    if (length < headerLength) return std::nullopt;
    const auto payload = datagram.first(std::min(length, datagram.size())).subspan(headerLength);
    return UDPSeen{.src = std::move(source),
                   .dst = std::move(destination),
                   .srcPort = wire::big16(datagram, sourcePortAt),
                   .dstPort = wire::big16(datagram, destinationPortAt),
                   .payload = {payload.begin(), payload.end()}};
}
}  // namespace udp

/// RFC 791
namespace ip {
constexpr std::size_t versionAt = 0, totalLengthAt = 2, fragmentAt = 6, protocolAt = 9, sourceAt = 12, destinationAt = 16,
                      minimumHeader = 20, wordSize = 4;
constexpr std::uint8_t nibble = 0x0F, protocolIGMP = 2, protocolUDP = 17;
constexpr std::uint16_t fragmentOffsetBits = 0x1FFF;

std::optional<CapturedFrame> parse(Bytes packet) {
    if (packet.size() < minimumHeader || packet[versionAt] >> 4 != 4) return std::nullopt;
    const std::size_t header = (packet[versionAt] & nibble) * wordSize, total = wire::big16(packet, totalLengthAt);
    // Behind the packet there may be padding of the frame; its end may be cut off by the capture.
    const auto end = std::min(total, packet.size());
    if (header < minimumHeader || header > end) return std::nullopt;
    // A later fragment has no header of the protocol inside.
    if ((wire::big16(packet, fragmentAt) & fragmentOffsetBits) != 0) return std::nullopt;
    const auto inside = packet.subspan(header, end - header);
    switch (packet[protocolAt]) {
        case protocolIGMP: return igmp::parse(inside, total - header, dotted(packet, sourceAt));
        case protocolUDP: return udp::parse(inside, dotted(packet, sourceAt), dotted(packet, destinationAt));
        default: return std::nullopt;
    }
}
}  // namespace ip

std::optional<CapturedFrame> parseEthernet(Bytes frame) {
    constexpr std::size_t etherTypeAt = 12, header = 14, taggedEtherTypeAt = 16, taggedHeader = 18;
    if (frame.size() < header) return std::nullopt;
    auto etherType = wire::big16(frame, etherTypeAt);
    auto payload = frame.subspan(header);
    if (etherType == etherVLAN && frame.size() >= taggedHeader) {
        etherType = wire::big16(frame, taggedEtherTypeAt);
        payload = frame.subspan(taggedHeader);
    }
    switch (etherType) {
        case etherIPv4: return ip::parse(payload);
        case etherARP: return arp::parse(payload);
        default: return std::nullopt;
    }
}

}  // namespace

std::optional<CapturedFrame> parseFrame(Bytes frame, int linkType) {
    constexpr std::size_t loopbackHeader = 4;
    switch (linkType) {
        case linkNull:
        case linkLoop: return frame.size() < loopbackHeader ? std::nullopt : ip::parse(frame.subspan(loopbackHeader));
        case linkEthernet: return parseEthernet(frame);
        default: return std::nullopt;
    }
}

}  // namespace netcore
