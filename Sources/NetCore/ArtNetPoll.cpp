#include "NetCore/ArtNetPoll.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "Base/Text.hpp"
#include "NetCore/ArtNetHeader.hpp"
#include "NetCore/WireFields.hpp"

namespace netcore::ArtNet {

namespace {

// ArtPoll
constexpr std::size_t talkToMeAt = 12;
constexpr std::uint8_t replyOnChange = 0x02;

// ArtPollReply
constexpr std::size_t ipAt = 10, portAt = 14, versInfoAt = 16, netSwitchAt = 18, subSwitchAt = 19, oemAt = 20, status1At = 23,
                      estaManAt = 24, shortNameAt = 26, longNameAt = 44, nodeReportAt = 108, numPortsLoAt = 173, portTypesAt = 174,
                      goodInputAt = 178, goodOutputAt = 182, swInAt = 186, swOutAt = 190, styleAt = 200, macAt = 201,
                      bindIpAt = 207, bindIndexAt = 211, status2At = 212;
constexpr std::size_t ipSize = 4, shortNameSize = 18, longNameSize = 64, nodeReportSize = 64, macSize = 6, maximumPorts = 4;

constexpr std::uint8_t canOutput = 0x80, canInput = 0x40;  // PortTypes
constexpr std::uint8_t dataFlows = 0x80;                   // GoodInput, GoodOutputA
constexpr int netBits = 0x7F, nibble = 0x0F;

constexpr std::uint16_t ownVersion = 1, ownOem = 0x00FF, ownEstaMan = 0x7FF0;
// Indicators in normal mode, Port-Addresses set from the network or a web page.
constexpr std::uint8_t ownStatus1 = 0xD0;
// 15 bit Port-Addresses are known.
constexpr std::uint8_t ownStatus2 = 0x08;
constexpr std::uint8_t visualiser = 0x06;
constexpr std::string_view ownReport = "#0001 [0000] Brantholme ok";

std::string nameIn(base::Bytes field) { return std::string(base::trimmed(base::repairUTF8(wire::beforeZero(field)))); }

std::vector<PortInfo> portsIn(base::Bytes packet) {
    const int upper = (packet[netSwitchAt] & netBits) << 8 | (packet[subSwitchAt] & nibble) << 4;
    std::vector<PortInfo> ports;
    for (std::size_t i = 0; i < std::min<std::size_t>(packet[numPortsLoAt], maximumPorts); ++i) {
        const auto type = packet[portTypesAt + i];
        if (type & canOutput)
            ports.push_back({.universe = upper | (packet[swOutAt + i] & nibble),
                             .isOutput = true,
                             .active = (packet[goodOutputAt + i] & dataFlows) != 0});
        if (type & canInput)
            ports.push_back({.universe = upper | (packet[swInAt + i] & nibble),
                             .isOutput = false,
                             .active = (packet[goodInputAt + i] & dataFlows) != 0});
    }
    return ports;
}

std::vector<std::uint8_t> addressBytes(std::string_view ip) {
    std::vector<std::uint8_t> bytes;
    for (const auto piece : base::split(ip, '.', false))
        if (const auto value = base::parseInteger(piece); value && *value >= 0 && *value <= 0xFF)
            bytes.push_back(static_cast<std::uint8_t>(*value));
    return bytes;
}

}  // namespace

std::optional<PollReply> parsePollReply(base::Bytes packet) {
    if (opCode(packet) != opPollReply || packet.size() < pollReplyMinimumLength) return std::nullopt;
    return PollReply{.ip = fmt::format("{}", fmt::join(packet.subspan(ipAt, ipSize), ".")),
                     .shortName = nameIn(packet.subspan(shortNameAt, shortNameSize)),
                     .longName = nameIn(packet.subspan(longNameAt, longNameSize)),
                     .nodeReport = nameIn(packet.subspan(nodeReportAt, nodeReportSize)),
                     .firmware = wire::big16(packet, versInfoAt),
                     .oem = wire::big16(packet, oemAt),
                     .estaCode = wire::little16(packet, estaManAt),
                     .mac = fmt::format("{:02X}", fmt::join(packet.subspan(macAt, macSize), ":")),
                     .bindIndex = packet.size() > bindIndexAt ? packet[bindIndexAt] : 0,
                     .ports = portsIn(packet)};
}

std::array<std::uint8_t, 14> pollPacket() {
    std::array<std::uint8_t, 14> packet{};
    putHeaderAndVersion(packet, opPoll);
    packet[talkToMeAt] = replyOnChange;
    return packet;
}

std::array<std::uint8_t, 239> pollReplyPacket(const PollReplyFields& fields) {
    std::array<std::uint8_t, 239> packet{};
    const wire::MutableBytes bytes(packet);
    putHeader(bytes, opPollReply);
    if (const auto address = addressBytes(fields.ip); address.size() == ipSize) {
        wire::put(bytes.subspan(ipAt, ipSize), address);
        wire::put(bytes.subspan(bindIpAt, ipSize), address);
    }
    wire::putLittle16(bytes, portAt, port);
    wire::putBig16(bytes, versInfoAt, ownVersion);
    packet[netSwitchAt] = static_cast<std::uint8_t>(fields.net & netBits);
    packet[subSwitchAt] = static_cast<std::uint8_t>(fields.subNet & nibble);
    wire::putBig16(bytes, oemAt, ownOem);
    packet[status1At] = ownStatus1;
    wire::putLittle16(bytes, estaManAt, ownEstaMan);
    wire::putText(bytes.subspan(shortNameAt, shortNameSize), fields.shortName);
    wire::putText(bytes.subspan(longNameAt, longNameSize), fields.longName);
    wire::putText(bytes.subspan(nodeReportAt, nodeReportSize), ownReport);
    const auto told = fields.universes.first(std::min(fields.universes.size(), maximumPorts));
    packet[numPortsLoAt] = static_cast<std::uint8_t>(told.size());
    for (std::size_t i = 0; i < told.size(); ++i) {
        packet[portTypesAt + i] = canOutput;
        packet[goodOutputAt + i] = dataFlows;
        packet[swOutAt + i] = static_cast<std::uint8_t>(told[i] & nibble);
    }
    packet[styleAt] = visualiser;
    if (fields.mac.size() == macSize) wire::put(bytes.subspan(macAt, macSize), fields.mac);
    packet[bindIndexAt] = static_cast<std::uint8_t>(std::clamp(fields.bindIndex, 0, 0xFF));
    packet[status2At] = ownStatus2;
    return packet;
}

}  // namespace netcore::ArtNet
