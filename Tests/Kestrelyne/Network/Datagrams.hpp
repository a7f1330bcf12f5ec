#pragma once
// Datagrams as a socket hands them over: bytes, where from, where to and when.

#include <string>
#include <string_view>
#include <vector>

#include "Base/Clock.hpp"
#include "Kestrelyne/Network/PacketAccumulator.hpp"
#include "NetCore/ArtNetVectors.hpp"
#include "NetCore/IPv4.hpp"
#include "NetCore/SACNVectors.hpp"

namespace kestrelyne::datagrams {

using netcore::vectors::Bytes;

/// So many seconds after some instant.
inline base::Moment at(double seconds) {
    const auto span = base::nanoseconds(base::Seconds(seconds));
    return {base::WallTime(std::chrono::seconds(1781978400)) + span, base::SteadyTime(std::chrono::seconds(1000)) + span};
}

struct Way {
    std::string from = "10.0.0.5";
    double time = 0;
    std::uint32_t adapter = 2;
    std::uint16_t sourcePort = 6454;
    std::string to = {};
};

/// Valid as long as the bytes.
inline netcore::UDPView view(const Bytes& bytes, const Way& way) {
    return {.data = bytes,
            .source = netcore::ipToUInt32(way.from).value(),
            .sourcePort = way.sourcePort,
            .interfaceIndex = way.adapter,
            .time = at(way.time),
            .destination = netcore::ipToUInt32(way.to).value_or(0)};
}

inline Bytes artDmx(int universe, const Bytes& slots) {
    return netcore::vectors::copyOf(netcore::DMXPackets::artDmx(universe, 1, slots));
}

inline Bytes pollReply(std::string_view shortName, int bindIndex, const std::vector<int>& universes = {0}) {
    return netcore::vectors::copyOf(netcore::ArtNet::pollReplyPacket(
        {.ip = "10.0.0.5", .shortName = shortName, .universes = universes, .bindIndex = bindIndex}));
}

inline Bytes cidOf(std::uint32_t number) {
    return netcore::vectors::packetOf(16, {{12,
                                            {static_cast<std::uint8_t>(number >> 24), static_cast<std::uint8_t>(number >> 16),
                                             static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)}}});
}

struct Stream {
    int universe = 1;
    std::uint32_t cid = 1;
    std::string_view name = "Pult";
    std::uint8_t priority = 100;
    bool terminated = false;
    Bytes slots = Bytes(512, 7);
};

inline Bytes sacn(const Stream& stream) {
    const auto cid = cidOf(stream.cid);
    return netcore::vectors::copyOf(netcore::DMXPackets::sacn({.universe = stream.universe,
                                                               .sequence = 1,
                                                               .data = stream.slots,
                                                               .cid = cid,
                                                               .sourceName = stream.name,
                                                               .priority = stream.priority,
                                                               .terminated = stream.terminated}));
}

inline Bytes discovery(std::uint32_t cid, std::string_view name, std::uint8_t page, const std::vector<int>& universes) {
    const auto cidBytes = cidOf(cid);
    auto packet = netcore::vectors::extendedPacket(
        120, 2, {{22, netcore::vectors::textOf(cidBytes)}, {44, name}, {112, {0x70, 0x08, 0, 0, 0, 1, page, 9}}});
    for (const int universe : universes) {
        packet.push_back(static_cast<std::uint8_t>(universe >> 8));
        packet.push_back(static_cast<std::uint8_t>(universe));
    }
    return packet;
}

/// Words as a console's traffic has them, apart from each other.
inline Bytes words(const std::vector<std::string>& texts) {
    Bytes bytes;
    for (const auto& text : texts) {
        bytes.push_back(0);
        bytes.insert(bytes.end(), text.begin(), text.end());
    }
    return bytes;
}

/// An accumulator with what it hands on to.
struct Intake {
    Intake() = default;
    explicit Intake(PacketAccumulator::Limits limits) : packets(extras, responder, nullptr, limits) {}

    ExtrasAccumulator extras;
    ArtNetResponder responder;
    PacketAccumulator packets{extras, responder};

    void artNet(const Bytes& bytes, const Way& way = {}) { packets.handleArtNet(view(bytes, way)); }
    void sACN(const Bytes& bytes, const Way& way = {}) { packets.handleSACN(view(bytes, way)); }
    void maNet(const Bytes& bytes, const Way& way = {}, netcore::MANet::Version version = netcore::MANet::Version::ma3) {
        packets.handleMANet(view(bytes, way), version);
    }
    PacketAccumulator::Drained drain(double time) { return packets.drain(at(time).steady); }
};

}  // namespace kestrelyne::datagrams
